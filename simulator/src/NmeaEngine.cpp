// The plain engine: a receiver that talks and doesn't listen.
#include "simulator/ProtocolEngine.h"

namespace simulator {

namespace {

class NmeaEngine : public ProtocolEngine {
public:
    explicit NmeaEngine(const EngineOptions& options) : options_(options) {}

    Reaction receive(std::string_view, TimePoint) override { return {}; }
    Reaction reset(ResetCause, TimePoint) override { return {}; }
    Reaction epoch(const Epoch&, TimePoint) override { return {}; }
    uint32_t baudRate() const override { return options_.baudRate; }
    const OutputConfiguration& output() const override { return options_.factory; }
    Duration timeToFirstFix(const FixTimes& times) const override { return times.cold; }
    CommandReply command(const std::vector<std::string>&, TimePoint) override { return {}; }

private:
    const EngineOptions options_;
};

} // namespace

std::unique_ptr<ProtocolEngine> makeNmeaEngine(const EngineOptions& options) {
    return std::make_unique<NmeaEngine>(options);
}

} // namespace simulator
