#ifndef STREAMOUTPUT_H
#define STREAMOUTPUT_H

#include <cstdint>
#include <string>

#include "Output.h"
#include "Stream.h"

namespace monitor {

/// An output of text on a descriptor, the standard output as a rule. Where nobody reads, the latest readings
/// are left out first; lost events are counted and told as soon as there is room again.
class StreamOutput : public Output {
public:
    struct Bounds {
        std::size_t room = Stream::kRoom;
        double patienceS = 5; ///< how long the end waits for a reader
    };

    explicit StreamOutput(int descriptor) : StreamOutput(descriptor, Bounds()) {}
    StreamOutput(int descriptor, const Bounds& bounds)
        : stream_(descriptor, bounds.room), patienceS_(bounds.patienceS) {}

    void take(const telemetry::Line& line) override;
    State state() const override { return stream_.error() != 0 || !isWhole_ ? State::Broken : State::Going; }
    bool essential() const override { return true; }
    std::string problem() const override;
    bool finish() override;

protected:
    /// With its line feed; empty where nothing is to be said.
    virtual std::string textOf(const telemetry::Line& line) = 0;

private:
    bool tellOfLost(const telemetry::Moment& at);

    Stream stream_;
    double patienceS_;
    telemetry::Moment last_;
    std::uint64_t lost_ = 0;
    bool isWhole_ = true;
};

} // namespace monitor

#endif
