#include "simulator/Line.h"

#include <algorithm>
#include <cmath>

#include "simulator/Constants.h"

namespace simulator {

Duration transmissionTime(std::size_t bytes, uint32_t baudRate) {
    const double seconds = static_cast<double>(bytes) * kBitsPerByte / std::max<uint32_t>(1, baudRate);
    return Duration(std::llround(seconds * static_cast<double>(kNanosecondsPerSecond)));
}

// --- Queue ----------------------------------------------------------------------------------------------

namespace {

uint32_t speedOf(const Line::Frame& frame, uint32_t receiverBaud) {
    return frame.baudRate != 0 ? frame.baudRate : receiverBaud;
}

// How many bytes of the frame have arrived after so long.
std::size_t carriedAfter(Duration elapsed, std::size_t size, uint32_t baudRate) {
    const double bytes = std::chrono::duration<double>(elapsed).count() * baudRate / kBitsPerByte;
    return std::min(size, static_cast<std::size_t>(std::max(0.0, bytes + 1e-6)));
}

} // namespace

void Line::queue(Frame frame, bool mayOvertake) {
    auto place = frames_.end();
    if (mayOvertake) {
        const auto first = frames_.begin() + (started_ ? 1 : 0);
        place = std::find_if(first, frames_.end(), [&](const Frame& queued) {
            return queued.yields || queued.notBefore > frame.notBefore;
        });
    } else {
        // A delayed frame doesn't hold up what is due before it.
        while (place != frames_.begin() && std::prev(place)->notBefore > frame.notBefore &&
               !(started_ && std::prev(place) == frames_.begin()))
            --place;
    }
    frames_.insert(place, std::move(frame));
}

void Line::queueBetween(Frame frame, uint32_t receiverBaud) {
    auto place = frames_.begin();
    for (TimePoint start = frames_.empty() ? TimePoint{} : startOf(frames_.front());
         place != frames_.end() && (start < frame.notBefore || (started_ && place == frames_.begin()));
         ++place)
        start = std::max(start, place->notBefore) +
                transmissionTime(place->bytes.size(), speedOf(*place, receiverBaud));
    frames_.insert(place, std::move(frame));
}

TimePoint Line::startOf(const Frame& frame) const {
    return started_ ? startedAt_ : std::max(freeAt_, frame.notBefore);
}

void Line::begin(Frame& frame, uint32_t receiverBaud) {
    startedAt_ = startOf(frame);
    started_ = true;
    frame.baudRate = speedOf(frame, receiverBaud); // a frame on the line keeps its speed
}

void Line::end(const Frame& frame) {
    freeAt_ = startedAt_ + transmissionTime(frame.bytes.size(), frame.baudRate);
    carried_ = 0;
    started_ = false;
}

std::vector<Line::Piece> Line::advance(TimePoint now, uint32_t receiverBaud) {
    std::vector<Piece> pieces;
    while (!frames_.empty() && startOf(frames_.front()) <= now) {
        Frame& frame = frames_.front();
        begin(frame, receiverBaud);
        const std::size_t arrived = carriedAfter(now - startedAt_, frame.bytes.size(), frame.baudRate);
        const bool complete = arrived == frame.bytes.size();
        const std::size_t fresh = delivery_ == Delivery::Paced || complete ? arrived - carried_ : 0;
        if (fresh > 0)
            pieces.push_back({frame.bytes.substr(carried_, fresh), frame.baudRate});
        carried_ += fresh;
        if (!complete)
            break;
        end(frame);
        frames_.pop_front();
    }
    return pieces;
}

Duration Line::backlog(TimePoint now, uint32_t receiverBaud) const {
    Duration busy = std::max(Duration(0), Duration(freeAt_ - now));
    for (const Frame& frame : frames_)
        if (frame.notBefore <= now && (!frame.yields || &frame == &frames_.front()))
            busy += transmissionTime(frame.bytes.size(), speedOf(frame, receiverBaud));
    return started_ ? std::max(Duration(0), busy - (now - startedAt_)) : busy;
}

// Bytes are fetched in pieces, as a UART's interrupt brings them: a few milliseconds or sixteen bytes at a
// time.
TimePoint Line::nextArrival(uint32_t receiverBaud) const {
    constexpr std::size_t kFifoBytes = 16;
    constexpr Duration kInterruptPeriod = std::chrono::milliseconds(8);
    if (frames_.empty())
        return TimePoint::max();
    const Frame& frame = frames_.front();
    const uint32_t speed = speedOf(frame, receiverBaud);
    const TimePoint end = startOf(frame) + transmissionTime(frame.bytes.size(), speed);
    if (delivery_ == Delivery::Burst)
        return end;
    const Duration piece = std::max(kInterruptPeriod, transmissionTime(kFifoBytes, speed));
    return std::min(end, startOf(frame) + transmissionTime(carried_, speed) + piece);
}

void Line::clear() {
    frames_.clear();
    started_ = false;
    carried_ = 0;
}

// --- Wrong speed ----------------------------------------------------------------------------------------

namespace {

// The line as levels over time, measured in bits of the sender. Idle is high.
class Waveform {
public:
    explicit Waveform(std::string_view bytes) : bytes_(bytes) {}

    double length() const { return static_cast<double>(bytes_.size()) * kBitsPerByte; }

    bool high(double bitTime) const {
        if (bitTime < 0 || bitTime >= length())
            return true;
        const auto bit = static_cast<std::size_t>(bitTime);
        const std::size_t inByte = bit % kBitsPerByte;
        if (inByte == 0)
            return false; // start bit
        const auto value = static_cast<uint8_t>(bytes_[bit / kBitsPerByte]);
        return inByte == kBitsPerByte - 1 || ((value >> (inByte - 1)) & 1U) != 0;
    }

    // The next moment from `from` on at which the line is low; length() where it stays high.
    double nextLow(double from) const {
        double time = from;
        while (time < length() && high(time))
            time = std::floor(time) + 1;
        return std::min(time, length());
    }

private:
    std::string_view bytes_;
};

bool sameSpeed(uint32_t sender, uint32_t reader) {
    return std::fabs(static_cast<double>(sender) - reader) <= 0.02 * sender;
}

} // namespace

std::string readAtSpeed(std::string_view bytes, uint32_t sender, uint32_t reader) {
    if (sameSpeed(sender, reader))
        return std::string(bytes);
    if (reader == 0 || sender == 0)
        return "";
    const Waveform line(bytes);
    const double step = static_cast<double>(sender) / reader; // one bit of the reader in bits of the sender
    std::string read;
    for (double start = line.nextLow(0); start < line.length(); start = line.nextLow(start)) {
        uint32_t value = 0;
        for (uint32_t bit = 0; bit < 8; ++bit)
            value |= line.high(start + (bit + 1.5) * step) ? 1U << bit : 0U;
        const bool stopBit = line.high(start + 9.5 * step);
        read += static_cast<char>(stopBit ? value : 0U);
        start += 9.5 * step;
        while (!stopBit && start < line.length() && !line.high(start))
            start = std::floor(start) + 1; // a break: wait for the line to rise
    }
    return read;
}

} // namespace simulator
