// The serial line between receiver and host: bytes leave one after the other at the line's pace, and two ends
// that disagree about the speed read rubbish.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Epoch.h"

namespace simulator {

// How bytes reach the host: each when the line has carried it, or frame by frame once the last byte has
// arrived, as a driver with large buffers delivers them.
enum class Delivery { Paced, Burst };

// Start bit, eight data bits, stop bit.
constexpr int kBitsPerByte = 10;

// How long the line needs for so many bytes.
Duration transmissionTime(std::size_t bytes, unsigned baudRate);

class Line {
public:
    // A piece that has arrived at the host's end, with the speed it was sent at.
    struct Piece {
        std::string bytes;
        unsigned baudRate = 0;
    };
    struct Frame {
        std::string bytes;
        TimePoint notBefore{};
        unsigned baudRate = 0; // 0: the receiver's speed when it leaves
        bool yields = false;   // frames queued with `mayOvertake` may go ahead of it
    };

    explicit Line(Delivery delivery = Delivery::Paced) : delivery_(delivery) {}

    void queue(Frame frame, bool mayOvertake = false);
    // What arrived up to `now`. `receiverBaud` is the speed of frames without one of their own.
    std::vector<Piece> advance(TimePoint now, unsigned receiverBaud);
    // Time until all that is queued has left, frames that yield and frames with a later start not counted.
    Duration backlog(TimePoint now, unsigned receiverBaud) const;
    // When advance() has something again; TimePoint::max() while nothing is queued.
    TimePoint nextArrival(unsigned receiverBaud) const;
    void clear();
    void setDelivery(Delivery delivery) { delivery_ = delivery; }

private:
    TimePoint startOf(const Frame& frame) const;

    Delivery delivery_;
    std::deque<Frame> frames_;
    TimePoint freeAt_{};      // the line is busy until then
    std::size_t carried_ = 0; // bytes of the first frame that have arrived already
    bool started_ = false;    // the first frame is on the line
    TimePoint startedAt_{};
};

// What a UART that listens at `reader` bits per second reads when `sender` is the speed on the line: the bits
// are drawn at the sender's pace and sampled at the reader's, missing stop bits read as zero bytes. Equal
// speeds (within 2 %) bring the bytes unchanged.
std::string readAtSpeed(std::string_view bytes, unsigned sender, unsigned reader);

} // namespace simulator
