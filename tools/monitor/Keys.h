#ifndef KEYS_H
#define KEYS_H

#include <string>
#include <vector>

namespace monitor {

/// What was pressed.
struct Key {
    enum class Kind { Character, Enter, Escape, Backspace, Tab, Up, Down, PageUp, PageDown };
    Kind kind = Kind::Character;
    char character = 0; ///< of a Character; a control character where Control was held
};

/// The character of a key that is pressed with Control.
constexpr char control(char letter) { return static_cast<char>(letter & 0x1f); }

/// Makes keys of the bytes that a terminal sends. What it doesn't know is passed over.
class Keys {
public:
    std::vector<Key> take(const std::string& bytes);

    /// No more bytes came for a moment: an escape that was left is the key and no sequence's begin.
    std::vector<Key> pause();

private:
    bool takeSequence(std::vector<Key>& keys);

    std::string left_; ///< the begin of a sequence
};

} // namespace monitor

#endif
