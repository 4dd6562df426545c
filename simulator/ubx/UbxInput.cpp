#include "UbxInput.h"

#include <algorithm>

namespace simulator {

void UbxInput::arrive(std::string_view bytes, TimePoint now, Duration perByte) {
    const TimePoint start = std::max(now, lineFreeAt_);
    lineFreeAt_ = start + perByte * static_cast<Duration::rep>(bytes.size());
    TimePoint arrival = start;
    for (const char byte : bytes)
        line_.push_back({byte, arrival += perByte, lineFreeAt_});
}

// What arrives at the very moment at which the receiver looks needs no room.
void UbxInput::carry(TimePoint until) {
    for (; !line_.empty() && line_.front().arrival < until; line_.pop_front()) {
        if (waiting_.size() < capacity_)
            waiting_.push_back(line_.front().byte);
        else
            ++lost_;
    }
}

std::optional<UbxInput::Taken> UbxInput::next(TimePoint freeFrom, TimePoint now) {
    carry(std::min(freeFrom, now));
    if (now < freeFrom)
        return std::nullopt;
    if (!waiting_.empty()) {
        const Taken taken{waiting_.front(), freeFrom};
        waiting_.pop_front();
        return taken;
    }
    if (line_.empty() || line_.front().arrival > now)
        return std::nullopt;
    const Taken taken{line_.front().byte, line_.front().arrival};
    line_.pop_front();
    return taken;
}

TimePoint UbxInput::nextAt(TimePoint freeFrom) const {
    if (!waiting_.empty())
        return freeFrom;
    return line_.empty() ? TimePoint::max() : std::max(freeFrom, line_.front().lastOfPiece);
}

void UbxInput::clear() {
    line_.clear();
    waiting_.clear();
    lineFreeAt_ = {};
    lost_ = 0;
}

} // namespace simulator
