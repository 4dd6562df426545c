#ifndef ONCEOUTPUT_H
#define ONCEOUTPUT_H

#include <optional>

#include "StreamOutput.h"

namespace monitor {

/// `--once`: the readings of the first whole status interval after the service is up, and then it is done.
/// Where they have no fix it waits for one, so many seconds and no longer.
class OnceOutput final : public StreamOutput {
public:
    OnceOutput(int descriptor, bool json, double waitS)
        : StreamOutput(descriptor), json_(json), waitS_(waitS) {}

    State state() const override;

private:
    std::string textOf(const telemetry::Line& line) override;
    bool isDue(const telemetry::Line& line, const telemetry::Readings& readings) const;

    bool json_;
    double waitS_;
    telemetry::Settings settings_;
    std::optional<std::int64_t> upMs_;
    bool isDone_ = false;
};

} // namespace monitor

#endif
