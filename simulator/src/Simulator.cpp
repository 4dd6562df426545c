#include "simulator/Simulator.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "simulator/Numbers.h"
#include "simulator/ReceiverClock.h"

namespace simulator {

namespace {

// A suspended process doesn't send the epochs that it slept through.
constexpr Duration kLongestCatchUp = std::chrono::seconds(5);

// "2 bytes: b5 62".
std::string listed(std::string_view bytes) {
    std::string text = std::to_string(bytes.size()) + " bytes:";
    for (const char c : bytes)
        text += formatted(" %02x", static_cast<uint32_t>(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

// --- Life cycle -----------------------------------------------------------------------------------------

Simulator::Simulator(SimulatorSettings settings, std::unique_ptr<ProtocolEngine> engine, TimePoint now,
                     UtcTime utc)
    : startedAt_(now), utcAtStart_(utc), engine_(std::move(engine)), sky_(settings.seed),
      settings_(std::move(settings)), drift_(settings_.drift, settings_.seed), line_(settings_.delivery),
      skyBlockedAt_(now - std::chrono::hours(1)) {
    if (!settings_.hold)
        departure_ = now;
    powerUp(ResetCause::PowerUp, now);
}

void Simulator::powerUp(ResetCause cause, TimePoint now) {
    line_.clear();
    hearsFrom_ = now + settings_.deafTime;
    poweredUpAt_ = now;
    restartNavigation(now);
    apply(engine_->reset(cause, now), 0, now);
    if (!settings_.recording)
        for (std::string& sentence : powerUpBanner(engine_->output()))
            sendFrame(std::move(sentence), now, false);
    scheduleNextEpoch(now);
}

void Simulator::restartNavigation(TimePoint now) {
    navigationStart_ = now;
    firstFix_.reset();
    leapSource_ = LeapSource::Firmware;
}

void Simulator::setResetLine(bool asserted, TimePoint now) {
    const bool released = inReset_ && !asserted;
    inReset_ = asserted;
    if (asserted)
        line_.clear();
    if (!released)
        return;
    writeLog("reset line pulsed", 0, now);
    powerUp(ResetCause::ResetLine, now);
}

std::vector<Line::Piece> Simulator::advance(TimePoint now) {
    if (now - nextEpoch_ > kLongestCatchUp)
        scheduleNextEpoch(now - std::chrono::milliseconds(1));
    for (; nextEpoch_ <= now; scheduleNextEpoch(nextEpoch_)) {
        listen(nextEpoch_);
        if (engine_->navigates())
            runEpoch(nextEpoch_);
        else
            epoch_.fix = FixType::None;
    }
    listen(now);
    for (; playbackTime(nextRecorded_) <= now; ++nextRecorded_) {
        if (nextRecorded_ == recordedEpochs())
            beginRecordingAgain();
        runPlayback(playbackTime(nextRecorded_));
    }
    std::vector<Line::Piece> pieces = line_.advance(now, engine_->baudRate());
    for (const Line::Piece& piece : pieces)
        bytesToHost_ += piece.bytes.size();
    return pieces;
}

TimePoint Simulator::nextEvent() const {
    const TimePoint work = inReset_ ? TimePoint::max() : engine_->nextWork();
    return std::min({nextEpoch_, playbackTime(nextRecorded_), line_.nextArrival(engine_->baudRate()), work});
}

bool Simulator::ended(TimePoint now) const {
    const bool lineEmpty = line_.nextArrival(engine_->baudRate()) == TimePoint::max();
    if (!settings_.recording)
        return motionAt(now).arrived && departure_ && settings_.route.lengthM() > 0;
    return departure_ && lineEmpty && !settings_.repeatRecording && nextRecorded_ >= recordedEpochs() &&
           now >= *departure_ + playedAfter(settings_.recording->duration());
}

// --- Epochs ---------------------------------------------------------------------------------------------

std::chrono::milliseconds Simulator::epochPeriod() const {
    const auto period = forcedPeriod_.value_or(engine_->output().epochPeriod);
    return std::max(period, std::chrono::milliseconds(25));
}

// Epochs stand at whole multiples of the period on the calendar, as those of a receiver do.
void Simulator::scheduleNextEpoch(TimePoint after) {
    const Duration period = epochPeriod();
    const Duration sinceEpoch = utcAt(after).time_since_epoch() % period;
    nextEpoch_ = after + (period - sinceEpoch);
}

MotionState Simulator::motionAt(TimePoint at) const {
    MotionState motion = settings_.route.at(departure_ ? at - *departure_ : Duration(-1));
    motion.travelledM += travelledBeforeM_;
    return motion;
}

Reception Simulator::receptionAt(TimePoint at, const MotionState& motion) {
    Reception reception;
    reception.skyBlocked = motion.skyBlocked;
    faults_.dampen(reception, at);
    if (reception.skyBlocked)
        skyBlockedAt_ = at;
    reception.sinceStart = at - navigationStart_;
    // Once it had a fix it doesn't start anew, whatever it is told or forgets afterwards.
    reception.timeToFirstFix =
        firstFix_ ? Duration(*firstFix_ - navigationStart_) : engine_->timeToFirstFix(settings_.fixTimes);
    reception.sinceSkyBack = at - skyBlockedAt_;
    reception.corrected = settings_.quality == 2 && engine_->output().enabled.count(Constellation::Sbas) != 0;
    if (!firstFix_)
        knownAtStart_ = engine_->knowledge();
    reception.orbitsKnown = knownAtStart_.orbits;
    reception.leapSource = leapSource_ != LeapSource::Firmware ? leapSource_ : knownAtStart_.leapSource;
    reception.unhealthySatellites = settings_.unhealthySatellites;
    reception.timeToLeapSeconds = settings_.timeToLeapSeconds;
    reception.noiseM = settings_.noiseM;
    if (settings_.drift.sigmaM > 0)
        reception.drift = drift_.at(at);
    return reception;
}

void Simulator::runEpoch(TimePoint at) {
    motion_ = motionAt(at);
    const Reception reception = receptionAt(at, motion_);
    auto satellites = sky_.above(motion_.position, utcAt(at), engine_->output().enabled);
    epoch_ = navigate(motion_, std::move(satellites), utcAt(at), reception, settings_.seed);
    epoch_.clockRest = clockRest(at - poweredUpAt_);
    leapSource_ = isUtcResolved(epoch_) ? epoch_.leapSource : LeapSource::Firmware;
    if (epoch_.fix != FixType::None && !firstFix_)
        firstFix_ = at;
    Reaction messages = engine_->epoch(epoch_, at);
    if (!settings_.recording) {
        beginOutput(at);
        sendSentences(epoch_, at);
        applyMessages(messages, at);
        if (overrun_)
            apply(engine_->outputOverrun(), 0, at);
    }
    ++epochs_;
}

// A line that is too slow lags by what the buffer holds, and only then is something left out: a whole epoch,
// where the last one's length tells that it won't fit, or else the end of each would be left out for ever.
void Simulator::beginOutput(TimePoint at) {
    const bool isBehind = line_.backlog(at, engine_->baudRate()) > Duration(0);
    leavesEpochOut_ = isBehind && !fits(epochBytes_, at);
    overrun_ = false;
    epochBytes_ = 0;
}

bool Simulator::hasRoomFor(std::size_t bytes, TimePoint at) {
    epochBytes_ += bytes;
    const bool hasRoom = !leavesEpochOut_ && fits(bytes, at);
    overrun_ = overrun_ || !hasRoom;
    return hasRoom;
}

bool Simulator::fits(std::size_t bytes, TimePoint at) const {
    const uint32_t baud = engine_->baudRate();
    const Duration room =
        std::max<Duration>(transmissionTime(settings_.outputBufferBytes, baud), epochPeriod());
    return line_.backlog(at, baud) + transmissionTime(bytes, baud) <= room;
}

void Simulator::sendSentences(const Epoch& epoch, TimePoint at) {
    for (SentenceGroup& group : writeSentences(epoch, engine_->output(), epochs_)) {
        std::size_t bytes = 0;
        for (const std::string& sentence : group)
            bytes += sentence.size();
        const bool fits = hasRoomFor(bytes, at);
        (fits ? sentences_ : dropped_) += group.size();
        for (std::string& sentence : group)
            if (fits)
                sendFrame(spoiled(std::move(sentence), at), at, true);
    }
}

std::size_t Simulator::recordedEpochs() const {
    return settings_.recording ? settings_.recording->epochs().size() : 0;
}

Duration Simulator::playedAfter(Duration sinceStart) const {
    return fromSeconds(inSeconds(sinceStart) / settings_.playbackSpeed);
}

// The index behind the last epoch stands for the end of a recording that repeats.
TimePoint Simulator::playbackTime(std::size_t index) const {
    const std::size_t count = recordedEpochs();
    const bool repeats =
        settings_.repeatRecording && count > 0 && settings_.recording->duration().count() > 0;
    if (!departure_ || index >= count + (repeats ? 1 : 0))
        return TimePoint::max();
    return *departure_ + playedAfter(index < count ? settings_.recording->epochs()[index].sinceStart
                                                   : settings_.recording->duration());
}

void Simulator::beginRecordingAgain() {
    departure_ = playbackTime(nextRecorded_);
    nextRecorded_ = 0;
}

void Simulator::runPlayback(TimePoint at) {
    const RecordedEpoch& recorded = settings_.recording->epochs()[nextRecorded_];
    const UtcTime start = std::chrono::floor<std::chrono::seconds>(utcAt(*departure_));
    const UtcTime utc = start + playedAfter(recorded.sinceStart);
    for (const std::string& frame : recorded.frames) {
        recordedFix_ = recordedFix(frame).value_or(recordedFix_);
        sendFrame(spoiled(settings_.restamp ? restamped(frame, recorded, utc) : frame, at), at, true);
        ++sentences_;
    }
}

// --- Output ---------------------------------------------------------------------------------------------

void Simulator::sendFrame(std::string frame, TimePoint at, bool mayOvertake) {
    if (frame.empty() || isSilent(at))
        return;
    line_.queue({std::move(frame), at, 0, false}, mayOvertake);
}

void Simulator::apply(const Reaction& reaction, uint32_t portBaud, TimePoint now) {
    for (const std::string& text : reaction.log)
        writeLog(text, portBaud, now);
    if (reaction.navigationRestarted)
        restartNavigation(now);
    for (const Outgoing& outgoing : reaction.outgoing)
        if (!outgoing.bytes.empty() && !isSilent(now))
            send(outgoing, now);
}

void Simulator::send(const Outgoing& outgoing, TimePoint now) {
    Line::Frame frame{outgoing.bytes, now + outgoing.delay, outgoing.baudRate, outgoing.yields};
    if (outgoing.urgent)
        line_.queueBetween(std::move(frame), engine_->baudRate());
    else
        line_.queue(std::move(frame));
}

// Periodic messages suffer the same faults and the same lack of room as sentences.
void Simulator::applyMessages(const Reaction& reaction, TimePoint now) {
    for (const Outgoing& outgoing : reaction.outgoing)
        if (hasRoomFor(outgoing.bytes.size(), now))
            sendFrame(spoiled(outgoing.bytes, now), now, true);
        else
            ++dropped_;
    for (const std::string& text : reaction.log)
        writeLog(text, 0, now);
}

std::string Simulator::spoiled(std::string frame, TimePoint at) const {
    const auto moment = static_cast<uint64_t>(at.time_since_epoch().count());
    return faults_.spoiled(std::move(frame), settings_.seed, moment + sentences_, at);
}

void Simulator::fromHost(std::string_view bytes, uint32_t portBaud, TimePoint now) {
    bytesFromHost_ += bytes.size();
    if (inReset_)
        return;
    const std::string received = readAtSpeed(bytes, portBaud, engine_->baudRate());
    if (now < hearsFrom_) {
        writeLog("deaf after its start, lost " + listed(received), portBaud, now);
        return;
    }
    hostBaud_ = portBaud;
    applyHeard(engine_->receive(received, now), received, now);
}

void Simulator::listen(TimePoint now) {
    if (inReset_)
        return;
    for (TimePoint at = engine_->nextWork(); at <= now; at = engine_->nextWork())
        applyHeard(engine_->work(at), "", at);
}

void Simulator::applyHeard(const Reaction& reaction, std::string_view handedOver, TimePoint now) {
    const std::string_view unexplained = reaction.unexplained ? *reaction.unexplained : handedOver;
    if (reaction.log.empty() && !unexplained.empty())
        writeLog("received " + listed(unexplained), hostBaud_, now);
    apply(reaction, hostBaud_, now);
}

// Calendar time, seconds since the start, the speed of the host's port and that of the receiver, what
// happened.
void Simulator::writeLog(const std::string& text, uint32_t portBaud, TimePoint now) const {
    if (!log_)
        return;
    const CalendarTime c = calendarOf(utcAt(now));
    std::string line = formatted("%04d-%02d-%02dT%02d:%02d:%02d.%03dZ %.3f", c.year, c.month, c.day, c.hour,
                                 c.minute, c.second, c.nanosecond / 1'000'000, inSeconds(now - startedAt_));
    if (portBaud != 0)
        line += formatted(" port=%u", portBaud);
    log_(line + formatted(" receiver=%u ", engine_->baudRate()) + text);
}

// --- Commands -------------------------------------------------------------------------------------------

namespace {

constexpr const char* kFaultArguments = "[SECONDS]";

// Thrown by a command that can't be carried out; the text reaches whoever sent it.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

double numberOf(const std::string& word, double lowest, double highest) {
    const std::optional<double> value = parseNumber(word, lowest, highest);
    if (!value)
        throw CommandError(formatted("'%.40s' is no number from %g to %g", word.c_str(), lowest, highest));
    return *value;
}

// Two digits a byte, nothing between them.
std::string bytesOf(const std::string& word) {
    std::string bytes;
    for (std::size_t i = 0; i < word.size(); i += 2) {
        const char* const begin = word.data() + i;
        const char* const end = word.data() + std::min(i + 2, word.size());
        uint8_t byte = 0;
        const auto [stop, error] = std::from_chars(begin, end, byte, 16);
        if (error != std::errc() || stop != begin + 2)
            throw CommandError(
                formatted("'%.40s' is no row of bytes of two hexadecimal digits", word.c_str()));
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

// `words` holds the name and its arguments.
void checkCount(const std::vector<std::string>& words, std::size_t fewest, std::size_t most,
                const char* arguments) {
    const std::size_t count = words.size() - 1;
    if (count < fewest || count > most)
        throw CommandError("'" + words[0] + "' wants: " + words[0] + " " + arguments);
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

} // namespace

struct Simulator::CommandRow {
    const char* name;
    const char* arguments;
    std::size_t fewest;
    std::size_t most;
    void (Simulator::*run)(const Words& words, TimePoint now);
    const char* help;
};

const std::vector<Simulator::CommandRow>& Simulator::commandTable() {
    static const std::vector<CommandRow> table{
        {"clear", "", 0, 0, &Simulator::clearFaults, "ends all faults above"},
        {"goto", "LAT,LON[,ALT]", 1, 1, &Simulator::setPlace, "stands at this point from now on"},
        {"go", "", 0, 0, &Simulator::depart, "starts a route or recording that --hold keeps waiting"},
        {"quality", "1|2", 1, 1, &Simulator::setQuality, "fixes are autonomous (1) or corrected (2)"},
        {"hz", "RATE", 1, 1, &Simulator::setRate, "epochs per second, 1 to 10; 0: as configured"},
        {"noise", "METRES", 1, 1, &Simulator::setNoise, "how far positions wander from the true one"},
        {"drift", "METRES [SECONDS]", 1, 2, &Simulator::setDrift,
         "deviation and correlation time of the positions' drift"},
        {"unhealthy", "COUNT", 1, 1, &Simulator::setUnhealthy, "so many satellites in the sky are unhealthy"},
        {"delivery", "paced|burst", 1, 1, &Simulator::setDelivery,
         "bytes at the line's pace, or whole frames"},
        {"raw", "HEX", 1, 1, &Simulator::sendRaw, "puts these bytes on the line, also in silence"},
        {"ttff", "SECONDS", 1, 1, &Simulator::setColdStart, "time to first fix of a cold start"},
        {"powercycle", "", 0, 0, &Simulator::powerCycle, "power off and on"},
        {"reset", "", 0, 0, &Simulator::pulseReset, "a pulse of the reset line"},
        {"quit", "", 0, 0, &Simulator::quit, "ends the program"},
    };
    return table;
}

std::vector<KeyValue> Simulator::commandHelp() {
    Lines help;
    for (const FaultRow& row : faultRows())
        help.push_back({std::string(row.name) + " " + kFaultArguments, row.help});
    for (const CommandRow& row : commandTable())
        help.push_back(
            {std::string(row.name) + (*row.arguments != '\0' ? " " : "") + row.arguments, row.help});
    return help;
}

std::string Simulator::command(const std::string& line, TimePoint now) {
    const Words words = wordsOf(line);
    try {
        if (!words.empty())
            carryOut(words, now);
    } catch (const std::runtime_error& problem) {
        lastCommandError_ = problem.what();
        return lastCommandError_;
    }
    return "";
}

// Throws CommandError, and RouteError for a place that is none.
void Simulator::carryOut(const Words& words, TimePoint now) {
    const FaultRow* fault = findFaultRow(words[0]);
    const auto& table = commandTable();
    const auto row = std::find_if(table.begin(), table.end(),
                                  [&](const CommandRow& candidate) { return candidate.name == words[0]; });
    if (fault != nullptr) {
        checkCount(words, 0, 1, kFaultArguments);
        beginFault(*fault, words, now);
    } else if (row != table.end()) {
        checkCount(words, row->fewest, row->most, row->arguments);
        (this->*row->run)(words, now);
    } else {
        engineCommand(words, now);
    }
}

void Simulator::engineCommand(const Words& words, TimePoint now) {
    const ProtocolEngine::CommandReply reply = engine_->command(words, now);
    if (reply.result == ProtocolEngine::CommandResult::Unknown)
        throw CommandError("unknown command '" + words[0] + "'");
    if (reply.result == ProtocolEngine::CommandResult::Bad)
        throw CommandError(reply.error);
    apply(reply.reaction, 0, now);
}

void Simulator::beginFault(const FaultRow& row, const Words& words, TimePoint now) {
    constexpr double kLongestS = 1e6;
    const double seconds = words.size() > 1 ? numberOf(words[1], 0, kLongestS) : kLongestS;
    faults_.begin(row, now + fromSeconds(seconds));
}

void Simulator::clearFaults(const Words&, TimePoint) { faults_.clear(); }

void Simulator::setPlace(const Words& words, TimePoint now) {
    const MotionState here = motionAt(now);
    const GeoPosition place = parsePosition(words[1], here.position);
    travelledBeforeM_ = here.travelledM;
    settings_.route = Route(place);
}

void Simulator::depart(const Words&, TimePoint now) {
    if (departure_)
        throw CommandError("nothing is held");
    departure_ = now;
}

void Simulator::setQuality(const Words& words, TimePoint) {
    settings_.quality = static_cast<int>(std::lround(numberOf(words[1], 1, 2)));
}

void Simulator::setRate(const Words& words, TimePoint now) {
    const double rate = numberOf(words[1], 0, 10);
    if (rate > 0 && rate < 1)
        throw CommandError("'" + words[1] + "' is no rate from 1 to 10, and not 0");
    forcedPeriod_.reset();
    if (rate > 0)
        forcedPeriod_ = std::chrono::milliseconds(std::lround(1000 / rate));
    scheduleNextEpoch(now);
}

void Simulator::setNoise(const Words& words, TimePoint) { settings_.noiseM = numberOf(words[1], 0, 1000); }

void Simulator::setDrift(const Words& words, TimePoint) {
    settings_.drift.sigmaM = numberOf(words[1], 0, 1000);
    if (words.size() > 2)
        settings_.drift.correlation = fromSeconds(numberOf(words[2], 1, 1e6));
    drift_ = PositionDrift(settings_.drift, settings_.seed);
}

void Simulator::setUnhealthy(const Words& words, TimePoint) {
    settings_.unhealthySatellites = static_cast<std::size_t>(std::lround(numberOf(words[1], 0, 100)));
}

void Simulator::setDelivery(const Words& words, TimePoint) {
    if (words[1] != "paced" && words[1] != "burst")
        throw CommandError("'" + words[1] + "' is neither paced nor burst");
    line_.setDelivery(words[1] == "burst" ? Delivery::Burst : Delivery::Paced);
}

void Simulator::sendRaw(const Words& words, TimePoint now) {
    line_.queue({bytesOf(words[1]), now, 0, false});
}

void Simulator::setColdStart(const Words& words, TimePoint) {
    settings_.fixTimes.cold = fromSeconds(numberOf(words[1], 0, 3600));
}

void Simulator::powerCycle(const Words&, TimePoint now) { powerUp(ResetCause::PowerUp, now); }

void Simulator::pulseReset(const Words&, TimePoint now) {
    setResetLine(true, now);
    setResetLine(false, now);
}

void Simulator::quit(const Words&, TimePoint) { quitRequested_ = true; }

// --- State ----------------------------------------------------------------------------------------------

std::vector<KeyValue> Simulator::state(TimePoint now) const {
    Lines lines;
    addProgress(lines, now);
    addFix(lines);
    addMotion(lines);
    addSky(lines);
    addTraffic(lines, now);
    for (KeyValue& line : engine_->state())
        lines.push_back(std::move(line));
    return lines;
}

void Simulator::addProgress(Lines& lines, TimePoint now) const {
    lines.insert(lines.end(), {
                                  {"uptime_s", formatted("%.3f", inSeconds(now - startedAt_))},
                                  {"utc_s", formatted("%.3f", inSeconds(utcAt(now).time_since_epoch()))},
                                  {"epochs", std::to_string(epochs_)},
                                  {"sentences", std::to_string(sentences_)},
                                  {"sentences_dropped", std::to_string(dropped_)},
                              });
}

void Simulator::addFix(Lines& lines) const {
    const bool played = settings_.recording.has_value();
    const bool fixed = played ? recordedFix_.valid : epoch_.fix != FixType::None;
    const double latitude = played ? recordedFix_.latitudeDeg : motion_.position.latitudeDeg;
    const double longitude = played ? recordedFix_.longitudeDeg : motion_.position.longitudeDeg;
    lines.insert(lines.end(), {
                                  {"fix", fixed ? "1" : "0"},
                                  {"fix_type", std::to_string(static_cast<int>(epoch_.fix))},
                                  {"quality", std::to_string(epoch_.quality)},
                                  {"latitude", formatted("%.8f", latitude)},
                                  {"longitude", formatted("%.8f", longitude)},
                              });
}

void Simulator::addMotion(Lines& lines) const {
    lines.insert(lines.end(),
                 {
                     {"altitude_m", formatted("%.2f", motion_.position.altitudeMslM)},
                     {"speed_mps", formatted("%.3f", motion_.speedMps)},
                     {"course_deg", formatted("%.2f", motion_.courseDeg)},
                     {"travelled_m", formatted("%.3f", motion_.travelledM)},
                     {"route_length_m", formatted("%.3f", settings_.route.lengthM())},
                     {"route_duration_s", formatted("%.1f", inSeconds(settings_.route.duration()))},
                     {"arrived", motion_.arrived ? "1" : "0"},
                     {"held", departure_ ? "0" : "1"},
                 });
}

void Simulator::addSky(Lines& lines) const {
    const auto tracked =
        std::count_if(epoch_.satellites.begin(), epoch_.satellites.end(),
                      [](const Satellite& satellite) { return satellite.carrierToNoiseDbHz > 0; });
    lines.insert(lines.end(), {
                                  {"satellites", std::to_string(epoch_.satellites.size())},
                                  {"satellites_tracked", std::to_string(tracked)},
                                  {"satellites_used", std::to_string(usedSatellites(epoch_))},
                                  {"pdop", formatted("%.2f", epoch_.dops.position)},
                                  {"hdop", formatted("%.2f", epoch_.dops.horizontal)},
                              });
}

void Simulator::addTraffic(Lines& lines, TimePoint now) const {
    lines.insert(
        lines.end(),
        {
            {"baud", std::to_string(engine_->baudRate())},
            {"bytes_to_host", std::to_string(bytesToHost_)},
            {"bytes_from_host", std::to_string(bytesFromHost_)},
            {"fault", faults_.names(now)},
            {"ttff_s", formatted("%.1f", inSeconds(engine_->timeToFirstFix(settings_.fixTimes)))},
            {"first_fix_s", firstFix_ ? formatted("%.3f", inSeconds(*firstFix_ - navigationStart_)) : "none"},
            {"recorded_epochs_played", std::to_string(nextRecorded_)},
            {"last_command_error", lastCommandError_.empty() ? "none" : lastCommandError_},
        });
}

} // namespace simulator
