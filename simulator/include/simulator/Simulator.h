#ifndef SIMULATOR_H
#define SIMULATOR_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Faults.h"
#include "simulator/Line.h"
#include "simulator/Navigation.h"
#include "simulator/NmeaWriter.h"
#include "simulator/ProtocolEngine.h"
#include "simulator/Recording.h"
#include "simulator/Route.h"
#include "simulator/Sky.h"

/// The receiver as a whole: world, navigation, protocol engine, faults and line, without any operating
/// system.
///
/// It is driven from outside in any time the caller likes: advance() brings what has left the receiver,
/// fromHost() hands it what the host wrote, nextEvent() says when to come back. One thread; nothing blocks.

namespace simulator {

struct SimulatorSettings {
    uint64_t seed = 1;
    Route route{GeoPosition{}};
    FixTimes fixTimes;
    int quality = 2;                     ///< of a fix: 1 autonomous, 2 corrected
    double noiseM = 0;                   ///< how far reported positions wander from the true one
    DriftSettings drift;                 ///< what they drift besides
    std::size_t unhealthySatellites = 0; ///< so many in the sky say that they are
    Delivery delivery = Delivery::Paced;
    std::optional<Recording> recording; ///< played in place of the sentences
    bool restamp = false;               ///< the recording's times become those of the simulator
    double playbackSpeed = 1;           ///< of the recording, above 0
    bool repeatRecording = false;       ///< begins it again at its end
    bool hold = false;                  ///< route or recording wait for the command "go"
    /// After power-up and after each pulse of the reset line the receiver starts, and takes nothing in for so
    /// long. An assumption: no measurement of a real receiver is behind it.
    Duration deafTime{0};
    /// After a start without GLONASS the leap seconds are those of the firmware for so long: GPS tells the
    /// right ones every twelve and a half minutes.
    Duration timeToLeapSeconds = std::chrono::seconds(750);
    /// What waits on its way to the line, in bytes; what doesn't fit is left out, whole messages at a time.
    /// What the line carries between two epochs always fits. An assumption: no source gives the size.
    std::size_t outputBufferBytes = 4096;
};

class Simulator {
public:
    using LogSink = std::function<void(const std::string& line)>;

    /// Powers the receiver up at `now`, which is `utc` on the calendar.
    Simulator(SimulatorSettings settings, std::unique_ptr<ProtocolEngine> engine, TimePoint now, UtcTime utc);

    /// Everything that is due up to `now`; returns what has left the receiver since the last call, in order.
    std::vector<Line::Piece> advance(TimePoint now);
    /// The next time at which advance() has something to do.
    TimePoint nextEvent() const;

    /// The host wrote `bytes` while its port ran at `portBaud`. They are lost while the receiver is held in
    /// reset or deaf after its start.
    void fromHost(std::string_view bytes, uint32_t portBaud, TimePoint now);
    /// What the receiver makes up to `now` of bytes that it was too busy for; advance() does it as well.
    void listen(TimePoint now);
    /// The level of the reset line: while it is asserted nothing is sent or heard, its release starts the
    /// receiver anew.
    void setResetLine(bool asserted, TimePoint now);

    /// One line of the control channel; an empty one does nothing. Returns an empty text when it was carried
    /// out, else one sentence that says why not; nothing has happened then.
    std::string command(const std::string& line, TimePoint now);
    /// The core's commands with their arguments and meaning; the engine has its own list.
    static std::vector<KeyValue> commandHelp();

    /// What is true now, as lines for the state file. Fix and position are those of a recording where one is
    /// played.
    std::vector<KeyValue> state(TimePoint now) const;

    /// Gets a line, without its end, for each thing the host said and for each pulse of the reset line.
    void setLog(LogSink sink) { log_ = std::move(sink); }
    /// The last one; without satellites before the first.
    const Epoch& lastEpoch() const { return epoch_; }
    /// Of the receiver's UART, bits per second.
    uint32_t baudRate() const { return engine_->baudRate(); }
    /// Since the start.
    uint64_t epochs() const { return epochs_; }
    /// The route has been driven or the recording played, and all of it has left.
    bool ended(TimePoint now) const;
    /// By the command "quit".
    bool quitRequested() const { return quitRequested_; }

private:
    struct CommandRow;
    using Words = std::vector<std::string>;

    static const std::vector<CommandRow>& commandTable();

    // --- Epochs
    void runEpoch(TimePoint at);
    void runPlayback(TimePoint at);
    void sendSentences(const Epoch& epoch, TimePoint at);
    Reception receptionAt(TimePoint at, const MotionState& motion);
    MotionState motionAt(TimePoint at) const;
    TimePoint playbackTime(std::size_t index) const;
    Duration playedAfter(Duration sinceStart) const;
    std::size_t recordedEpochs() const;
    void beginRecordingAgain();
    std::chrono::milliseconds epochPeriod() const;
    void scheduleNextEpoch(TimePoint after);
    UtcTime utcAt(TimePoint at) const { return utcAtStart_ + (at - startedAt_); }

    // --- Output
    void powerUp(ResetCause cause, TimePoint now);
    void restartNavigation(TimePoint now);
    void apply(const Reaction& reaction, uint32_t portBaud, TimePoint now);
    void send(const Outgoing& outgoing, TimePoint now);
    void applyMessages(const Reaction& reaction, TimePoint now);
    void applyHeard(const Reaction& reaction, std::string_view handedOver, TimePoint now);
    void sendFrame(std::string frame, TimePoint at, bool mayOvertake);
    std::string spoiled(std::string frame, TimePoint at) const;
    void beginOutput(TimePoint at);
    bool hasRoomFor(std::size_t bytes, TimePoint at);
    bool fits(std::size_t bytes, TimePoint at) const;
    void writeLog(const std::string& text, uint32_t portBaud, TimePoint now) const;

    // --- Faults and commands
    bool isSilent(TimePoint now) const { return inReset_ || faults_.silent(now); }
    void carryOut(const Words& words, TimePoint now);
    void engineCommand(const Words& words, TimePoint now);
    void beginFault(const FaultRow& row, const Words& words, TimePoint now);
    void clearFaults(const Words& words, TimePoint now);
    void setPlace(const Words& words, TimePoint now);
    void depart(const Words& words, TimePoint now);
    void setQuality(const Words& words, TimePoint now);
    void setRate(const Words& words, TimePoint now);
    void setNoise(const Words& words, TimePoint now);
    void setDrift(const Words& words, TimePoint now);
    void setUnhealthy(const Words& words, TimePoint now);
    void setDelivery(const Words& words, TimePoint now);
    void sendRaw(const Words& words, TimePoint now);
    void setColdStart(const Words& words, TimePoint now);
    void powerCycle(const Words& words, TimePoint now);
    void pulseReset(const Words& words, TimePoint now);
    void quit(const Words& words, TimePoint now);

    // --- State: each adds its lines
    using Lines = std::vector<KeyValue>;
    void addProgress(Lines& lines, TimePoint now) const;
    void addFix(Lines& lines) const;
    void addMotion(Lines& lines) const;
    void addSky(Lines& lines) const;
    void addTraffic(Lines& lines, TimePoint now) const;

    // --- Constant after construction
    const TimePoint startedAt_;
    const UtcTime utcAtStart_;
    const std::unique_ptr<ProtocolEngine> engine_;
    const Sky sky_;
    LogSink log_;

    // --- World
    SimulatorSettings settings_;
    std::optional<TimePoint> departure_; ///< none while route or recording are held
    PositionDrift drift_;
    double travelledBeforeM_ = 0; ///< on routes left by "goto"
    Faults faults_;

    // --- Receiver
    Line line_;
    TimePoint hearsFrom_{}; ///< deaf until then
    TimePoint poweredUpAt_{};
    uint32_t hostBaud_ = 0; ///< of the host's port, when it wrote last
    TimePoint navigationStart_{};
    Knowledge knownAtStart_;
    LeapSource leapSource_ = LeapSource::Firmware; ///< what told them since navigationStart_
    std::optional<TimePoint> firstFix_;            ///< the first since navigationStart_
    TimePoint skyBlockedAt_{};                     ///< last time at which no satellite could be heard
    TimePoint nextEpoch_{};
    std::size_t nextRecorded_ = 0;                          ///< index of the epoch to be played next
    std::optional<std::chrono::milliseconds> forcedPeriod_; ///< of the command "hz"
    RecordedFix recordedFix_;                               ///< the last one played
    Epoch epoch_;
    MotionState motion_;

    // --- Counters
    uint64_t epochs_ = 0;
    uint64_t sentences_ = 0;
    uint64_t dropped_ = 0;
    std::size_t epochBytes_ = 0;  ///< the output of the epoch at hand, or of the last one
    bool leavesEpochOut_ = false; ///< all of the epoch at hand
    bool overrun_ = false;        ///< something of the epoch at hand didn't fit
    uint64_t bytesToHost_ = 0;
    uint64_t bytesFromHost_ = 0;
    bool inReset_ = false;
    std::string lastCommandError_;
    bool quitRequested_ = false;
};

} // namespace simulator

#endif
