// The protocol engine of a u-blox M8 (firmware 3.01, protocol 18): what the host can say to it over UBX and
// what it answers. Pure logic on the caller's time and thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "UbxAssistance.h"
#include "UbxConfiguration.h"
#include "UbxFaults.h"
#include "UbxFrame.h"
#include "simulator/ProtocolEngine.h"

namespace simulator {

class UbxReceiver : public ProtocolEngine {
public:
    explicit UbxReceiver(const EngineOptions& options);

    Reaction receive(std::string_view bytes, TimePoint now) override;
    Reaction reset(ResetCause cause, TimePoint now) override;
    Reaction epoch(const Epoch& epoch, TimePoint now) override;
    unsigned baudRate() const override { return configuration_.baudRate(); }
    const OutputConfiguration& output() const override { return configuration_.output(); }
    Duration timeToFirstFix(const FixTimes& times) const override;
    CommandReply command(const std::vector<std::string>& words, TimePoint now) override;
    std::vector<KeyValue> commandHelp() const override;
    std::vector<KeyValue> state() const override;

    const UbxConfiguration& configuration() const { return configuration_; }
    const UbxAssistance& assistance() const { return assistance_; }

private:
    // Since power-up or the last reset.
    struct Counters {
        unsigned framesReceived = 0;
        unsigned framesBad = 0;
        unsigned acknowledged = 0;
        unsigned refused = 0;
        std::size_t answers = 0;
    };

    // What one frame brought: the words behind it in the log, and whether answers are still wanted.
    std::string take(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    std::string takeConfiguration(const UbxFrame& frame, Reaction& reaction);
    std::string takeRestart(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    std::string takeAssistance(const UbxFrame& frame, Reaction& reaction);
    std::string takePoll(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    std::optional<Bytes> polled(const UbxFrame& frame, TimePoint now) const;

    void acknowledge(const UbxFrame& frame, bool accepted, Reaction& reaction, Outgoing manner);
    void answer(const UbxFrame& frame, Reaction& reaction, Outgoing manner = {});
    void sendDatabase(const MgaOutcome& outcome, Reaction& reaction);
    void sendForeignTraffic(std::size_t number, Reaction& reaction);

    void restart(TimePoint now);
    std::uint32_t sinceStartMs(TimePoint now) const;
    CommandReply setDatabase(const std::vector<std::string>& words);

    UbxConfiguration configuration_;
    UbxAssistance assistance_;
    UbxFaults faults_;
    UbxParser parser_;
    Counters counters_;
    unsigned resets_ = 0;
    bool timeKept_ = false; // the clock kept running through the last restart
    bool silent_ = false;   // the frame at hand gets no answer
    TimePoint startedAt_{};
    std::uint32_t timeToFirstFixMs_ = 0;
    std::uint64_t epochCount_ = 0;
    std::optional<Epoch> lastEpoch_;
};

} // namespace simulator
