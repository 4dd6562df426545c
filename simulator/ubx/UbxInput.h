#ifndef UBXINPUT_H
#define UBXINPUT_H

#include <cstddef>
#include <deque>
#include <optional>
#include <string_view>

#include "simulator/ProtocolEngine.h"

/// What the host has written and the receiver has not looked at yet: bytes on the line, and bytes that wait
/// in the receiver's input buffer while it is busy. What doesn't fit there is lost, as on the real one.

namespace simulator {

class UbxInput {
public:
    /// `capacity` of the buffer in bytes.
    explicit UbxInput(std::size_t capacity) : capacity_(capacity) {}

    /// `bytes` were written at `now`; each takes `perByte` on the line, 0: they are there at once.
    void arrive(std::string_view bytes, TimePoint now, Duration perByte);

    /// A byte and when the receiver took it.
    struct Taken {
        char byte;
        TimePoint at;
    };
    /// The next byte for a receiver that has other work until `freeFrom`. None where nothing has arrived, and
    /// while it is busy; what arrives meanwhile fills the buffer.
    std::optional<Taken> next(TimePoint freeFrom, TimePoint now);
    /// When next() has something again; what the host wrote in one go is waited for as a whole.
    TimePoint nextAt(TimePoint freeFrom) const;

    /// Nothing waits and nothing is on the line.
    bool isEmpty() const { return waiting_.empty() && line_.empty(); }
    std::size_t waiting() const { return waiting_.size(); }
    /// Bytes that found no room, since construction or clear().
    std::size_t lost() const { return lost_; }
    void clear();

private:
    struct OnLine {
        char byte;
        TimePoint arrival;
        TimePoint lastOfPiece; ///< arrival of the last byte that was written together with this one
    };

    void carry(TimePoint until);

    std::size_t capacity_;
    std::deque<OnLine> line_;
    std::deque<char> waiting_;
    TimePoint lineFreeAt_{};
    std::size_t lost_ = 0;
};

} // namespace simulator

#endif
