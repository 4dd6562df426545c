#ifndef LINE_H
#define LINE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Time.h"

/// The serial line between receiver and host: bytes leave one after the other at the line's pace, and two
/// ends that disagree about the speed read rubbish. No clock and no device: callers pass the time.

namespace simulator {

/// How bytes reach the host: each when the line has carried it, or frame by frame once the last byte has
/// arrived, as a driver with large buffers delivers them.
enum class Delivery { Paced, Burst };

/// Start bit, eight data bits, stop bit.
constexpr uint32_t kBitsPerByte = 10;

/// How long a line needs for so many bytes; `baudRate` in bits per second, 0 counts as 1.
Duration transmissionTime(std::size_t bytes, uint32_t baudRate);

/// The line from the receiver to the host with what waits for it. Times must not go back from call to call.
class Line {
public:
    /// Bytes that have arrived at the host's end, with the speed they were sent at.
    struct Piece {
        std::string bytes;
        uint32_t baudRate = 0;
    };

    /// Bytes that leave without a pause between them.
    struct Frame {
        std::string bytes;
        TimePoint notBefore{};
        uint32_t baudRate = 0; // 0: the receiver's speed when it leaves
        bool yields = false;   // frames queued with `mayOvertake` may go ahead of it
    };

    explicit Line(Delivery delivery = Delivery::Paced) : delivery_(delivery) {}

    /// Joins the end of the queue, but goes ahead of frames that begin later. With `mayOvertake` it also goes
    /// ahead of the first frame that yields, though never of the one that is on the line already.
    void queue(Frame frame, bool mayOvertake = false);

    /// Goes ahead of all that isn't on the line yet when it is due.
    void queueBetween(Frame frame, uint32_t receiverBaud);

    /// What arrived up to `now` since the last call, in order. `receiverBaud` is the speed of frames without
    /// one of their own.
    std::vector<Piece> advance(TimePoint now, uint32_t receiverBaud);

    /// Time until all that is queued has left, frames that yield and frames with a later start not counted.
    Duration backlog(TimePoint now, uint32_t receiverBaud) const;

    /// When `advance` has something again; TimePoint::max() while nothing is queued.
    TimePoint nextArrival(uint32_t receiverBaud) const;

    /// Drops what is queued and the rest of what is on the line.
    void clear();

    /// From the next piece on, also for frames that are queued already.
    void setDelivery(Delivery delivery) { delivery_ = delivery; }

private:
    TimePoint startOf(const Frame& frame) const;
    void begin(Frame& frame, uint32_t receiverBaud);
    void end(const Frame& frame);

    Delivery delivery_;
    std::deque<Frame> frames_;
    TimePoint freeAt_{};      // the line is busy until then
    std::size_t carried_ = 0; // bytes of the first frame that have arrived already
    bool started_ = false;    // the first frame is on the line
    TimePoint startedAt_{};
};

/// What a UART that listens at `reader` bits per second reads when `sender` is the speed on the line: the
/// bits are drawn at the sender's pace and sampled at the reader's, missing stop bits read as zero bytes.
/// Equal speeds (within 2 %) bring the bytes unchanged; a speed of 0 brings nothing.
std::string readAtSpeed(std::string_view bytes, uint32_t sender, uint32_t reader);

} // namespace simulator

#endif
