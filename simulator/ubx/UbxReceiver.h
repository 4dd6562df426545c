#ifndef UBXRECEIVER_H
#define UBXRECEIVER_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HostSentences.h"
#include "UbxAssistance.h"
#include "UbxConfiguration.h"
#include "UbxFaults.h"
#include "UbxFrame.h"
#include "UbxInput.h"
#include "simulator/ProtocolEngine.h"

/// The protocol engine of a u-blox M8 (firmware 3.01, protocol 18): what the host can say to it over UBX and
/// what it answers. Pure logic on the caller's time and thread.

namespace simulator {

class UbxReceiver : public ProtocolEngine {
public:
    explicit UbxReceiver(const EngineOptions& options);

    Reaction receive(std::string_view bytes, TimePoint now) override;
    Reaction work(TimePoint now) override;
    TimePoint nextWork() const override { return input_.nextAt(freeFrom_); }
    Reaction reset(ResetCause cause, TimePoint now) override;
    Reaction epoch(const Epoch& epoch, TimePoint now) override;
    uint32_t baudRate() const override { return configuration_.baudRate(); }
    const OutputConfiguration& output() const override { return configuration_.output(); }
    Reaction outputOverrun() override;
    bool navigates() const override { return navigates_; }
    Duration timeToFirstFix(const FixTimes& times) const override;
    Knowledge knowledge() const override;
    CommandReply command(const std::vector<std::string>& words, TimePoint now) override;
    std::vector<KeyValue> commandHelp() const override;
    std::vector<KeyValue> state() const override;

    const UbxConfiguration& configuration() const { return configuration_; }
    const UbxAssistance& assistance() const { return assistance_; }

private:
    /// Since power-up or the last reset.
    struct Counters {
        uint32_t framesReceived = 0;
        uint32_t framesBad = 0;
        uint32_t acknowledged = 0;
        uint32_t refused = 0;
        std::size_t answers = 0;
    };

    /// What the parser found at `now`: counted, logged, and carried out where it is a sound frame.
    void hear(const UbxEvent& event, TimePoint now, Reaction& reaction);
    void hearSentence(const std::string& sentence, TimePoint now, Reaction& reaction);
    void noteLoss(Reaction& reaction);

    /// Each carries a frame out, adds its answers to `reaction`, and returns what the log says behind it.
    std::string take(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    std::string takeConfiguration(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    Duration beBusyWithGnss(TimePoint now);
    std::string takeRestart(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    /// What bits of UBX-CFG-RST's navBbrMask clear.
    void forget(uint32_t mask);
    std::string takeAssistance(const UbxFrame& frame, Reaction& reaction);
    std::string takePoll(const UbxFrame& frame, TimePoint now, Reaction& reaction);
    std::optional<Bytes> polled(const UbxFrame& frame, TimePoint now) const;

    void acknowledge(const UbxFrame& frame, bool accepted, Reaction& reaction, Outgoing manner);
    /// `manner` gives delay and speed; the faults of answers come on top.
    void answer(const UbxFrame& frame, Reaction& reaction, Outgoing manner = {});
    /// A text of INF: a sentence and a frame, as CFG-INF wants them; level 0 error, 1 warning, 2 notice.
    void inform(uint8_t level, const std::string& text, Reaction& reaction) const;
    MgaHindrance hindranceOf(const UbxFrame& frame);
    void sendDatabase(const MgaOutcome& outcome, Reaction& reaction);
    void sendForeignTraffic(std::size_t number, Reaction& reaction);

    void restart(TimePoint now);
    uint32_t sinceStartMs(TimePoint now) const;
    CommandReply setFault(const UbxFaultRow& row, const std::vector<std::string>& words);
    CommandReply say(const std::vector<std::string>& words) const;
    CommandReply setDatabase(const std::vector<std::string>& words);
    /// The state's lines on what it was told and has learnt since the last reset.
    std::vector<KeyValue> experience() const;

    UbxConfiguration configuration_;
    UbxAssistance assistance_;
    UbxFaults faults_;
    const InputOptions inputOptions_;
    UbxInput input_;
    TimePoint freeFrom_{};      ///< busy until then
    std::string unexplained_;   ///< bytes taken in since the last frame
    std::size_t lossNoted_ = 0; ///< bytes for which the input buffer was too small, as far as logged
    HostSentences sentences_;
    UbxParser parser_;
    Counters counters_;
    uint32_t resets_ = 0;           ///< pulses of the reset line since construction
    bool navigates_ = true;         ///< not stopped by UBX-CFG-RST
    bool timeHeard_ = false;        ///< the satellites have told the time since the last reset
    bool timeKept_ = false;         ///< the clock kept running through the last restart
    bool silent_ = false;           ///< the frame at hand gets no answer
    TimePoint startedAt_{};         ///< the last start of the navigation
    uint32_t timeToFirstFixMs_ = 0; ///< 0: no fix since startedAt_
    uint64_t epochCount_ = 0;
    bool cutsFirstEpoch_ = false; ///< constant after construction
    bool firstEpochCut_ = false;  ///< the next epoch that has messages is the first, and begins in its middle
    std::optional<Epoch> lastEpoch_; ///< also of the time before a reset
};

} // namespace simulator

#endif
