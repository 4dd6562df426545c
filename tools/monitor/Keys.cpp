#include "Keys.h"

#include <utility>

namespace monitor {

namespace {

constexpr char kEscape = '\x1b';
constexpr char kDelete = '\x7f';
constexpr std::size_t kLongestSequence = 16;

struct Sequence {
    const char* rest; ///< behind "ESC [" or "ESC O"
    Key::Kind kind;
};

constexpr Sequence kSequences[] = {
    {"A", Key::Kind::Up},
    {"B", Key::Kind::Down},
    {"5~", Key::Kind::PageUp},
    {"6~", Key::Kind::PageDown},
};

Key keyOf(char byte) {
    switch (byte) {
    case '\r':
    case '\n':
        return {Key::Kind::Enter, 0};
    case '\t':
        return {Key::Kind::Tab, 0};
    case '\b':
    case kDelete:
        return {Key::Kind::Backspace, 0};
    default:
        return {Key::Kind::Character, byte};
    }
}

bool isEnd(char byte) { return byte >= '@' && byte <= '~'; }

} // namespace

std::vector<Key> Keys::take(const std::string& bytes) {
    std::vector<Key> keys;
    for (const char byte : bytes) {
        if (left_.empty() && byte != kEscape) {
            keys.push_back(keyOf(byte));
            continue;
        }
        left_ += byte;
        if (takeSequence(keys))
            left_.clear();
    }
    return keys;
}

/// True where the sequence is over.
bool Keys::takeSequence(std::vector<Key>& keys) {
    if (left_.size() == 1)
        return false;
    if (left_[1] != '[' && left_[1] != 'O') {
        keys.push_back({Key::Kind::Escape, 0});
        if (left_[1] != kEscape)
            keys.push_back(keyOf(left_[1]));
        return true;
    }
    if (left_.size() == 2 || !isEnd(left_.back()))
        return left_.size() > kLongestSequence;
    for (const Sequence& sequence : kSequences)
        if (left_.substr(2) == sequence.rest)
            keys.push_back({sequence.kind, 0});
    return true;
}

std::vector<Key> Keys::pause() {
    if (std::exchange(left_, "").empty())
        return {};
    return {{Key::Kind::Escape, 0}};
}

} // namespace monitor
