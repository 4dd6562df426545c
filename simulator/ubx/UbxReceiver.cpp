#include "UbxReceiver.h"

#include <algorithm>
#include <array>

#include "UbxConfigurationBlocks.h"
#include "UbxDescription.h"
#include "UbxIds.h"
#include "UbxNavigation.h"
#include "UbxPayload.h"
#include "simulator/Constants.h"
#include "simulator/Line.h"
#include "simulator/Nmea.h"
#include "simulator/NmeaWriter.h"
#include "simulator/Numbers.h"

namespace simulator {

namespace {

// After a change of speed it waits, so that the host's port can follow before the acknowledgement.
constexpr Duration kSpeedChangeDelay = std::chrono::milliseconds(100);
constexpr std::size_t kEphemeridesForFix = 4;
constexpr uint32_t kMostRecords = 2000;

struct VersionText {
    const char* text;
    std::size_t width;
};
constexpr VersionText kVersion[] = {
    {kSoftwareVersion, 30}, {kHardwareVersion, 10}, {kFirmwareVersion, 30},
    {kProtocolVersion, 30}, {kMajorSystems, 30},    {kAugmentingSystems, 30},
};

Bytes versionPayload() {
    PayloadWriter payload;
    for (const VersionText& field : kVersion)
        payload.text(field.text, field.width);
    return payload.bytes();
}

// Bits of UBX-MON-GNSS.
uint32_t monGnssBits(const std::set<Constellation>& systems) {
    const std::pair<Constellation, uint32_t> bits[] = {{Constellation::Gps, 1},
                                                       {Constellation::Glonass, 2},
                                                       {Constellation::BeiDou, 4},
                                                       {Constellation::Galileo, 8}};
    uint32_t result = 0;
    for (const auto& [system, bit] : bits)
        result |= systems.count(system) != 0 ? bit : 0;
    return result;
}

Bytes monGnssPayload(const OutputConfiguration& output) {
    constexpr uint32_t kSupported = 0x0F;
    constexpr uint32_t kFactory = 0x03;
    constexpr uint32_t kAtOnce = 3;
    return PayloadWriter()
        .u1(1)
        .u1(kSupported)
        .u1(kFactory)
        .u1(monGnssBits(output.enabled))
        .u1(kAtOnce)
        .zeros(3)
        .bytes();
}

Bytes monHwPayload() {
    constexpr uint32_t kAntennaInOrder = 2;
    constexpr uint32_t kAntennaPowered = 1;
    return PayloadWriter()
        .zeros(16)
        .u2(90)
        .u2(4200)
        .u1(kAntennaInOrder)
        .u1(kAntennaPowered)
        .zeros(38)
        .bytes();
}

// Which records UBX-CFG-RST's bits clear; position and clock are told apart by the caller.
std::set<RecordKind> recordsCleared(uint32_t mask) {
    const std::pair<uint32_t, RecordKind> bits[] = {
        {0, RecordKind::Ephemeris},     {1, RecordKind::Almanac},  {2, RecordKind::Health},
        {3, RecordKind::Ionosphere},    {4, RecordKind::Position}, {5, RecordKind::Clock},
        {7, RecordKind::UtcParameters}, {8, RecordKind::Time}};
    std::set<RecordKind> kinds;
    for (const auto& [bit, kind] : bits)
        if ((mask & (1u << bit)) != 0)
            kinds.insert(kind);
    return kinds;
}

std::string asText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

void useUp(uint32_t& count) { count -= count != 0 && count != UbxFaults::kForEver ? 1 : 0; }

} // namespace

std::unique_ptr<ProtocolEngine> makeUbxEngine(const EngineOptions& options) {
    return std::make_unique<UbxReceiver>(options);
}

UbxReceiver::UbxReceiver(const EngineOptions& options)
    : configuration_(options), assistance_(options.seed, options.database, options.emptyDatabase),
      inputOptions_(options.input), input_(options.input.bufferBytes),
      cutsFirstEpoch_(options.cutsFirstEpoch) {}

// --- Life cycle -----------------------------------------------------------------------------------------

// There is no backup battery in this design: the reset line loses as much as a loss of power does.
Reaction UbxReceiver::reset(ResetCause cause, TimePoint now) {
    resets_ += cause == ResetCause::ResetLine ? 1 : 0;
    configuration_.resetToFactory();
    assistance_.reset();
    counters_ = {};
    timeKept_ = false;
    timeHeard_ = false;
    navigates_ = true;
    parser_.reset();
    sentences_.clear();
    input_.clear();
    freeFrom_ = now;
    unexplained_.clear();
    lossNoted_ = 0;
    restart(now);
    return {};
}

void UbxReceiver::restart(TimePoint now) {
    startedAt_ = now;
    timeToFirstFixMs_ = 0;
    firstEpochCut_ = cutsFirstEpoch_;
}

uint32_t UbxReceiver::sinceStartMs(TimePoint now) const {
    return static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now - startedAt_).count());
}

Duration UbxReceiver::timeToFirstFix(const FixTimes& times) const {
    const auto utc = lastEpoch_ ? std::optional<UtcTime>(lastEpoch_->utc) : std::nullopt;
    if (assistance_.database().usableEphemerides(utc, output().enabled) >= kEphemeridesForFix)
        return times.warm;
    const bool aided = assistance_.positionKnown() && (assistance_.timeKnown() || timeKept_);
    return aided ? times.aided : times.cold;
}

Knowledge UbxReceiver::knowledge() const {
    const NavigationDatabase& database = assistance_.database();
    const LeapSource kept =
        database.holds(RecordKind::UtcParameters) ? LeapSource::Gps : LeapSource::Firmware;
    return {assistance_.leapSecondsKnown() ? LeapSource::Host : kept,
            assistance_.positionKnown() && database.holds(RecordKind::Ephemeris)};
}

// --- From the host --------------------------------------------------------------------------------------

Reaction UbxReceiver::receive(std::string_view bytes, TimePoint now) {
    input_.arrive(bytes, now, inputOptions_.linePaced ? transmissionTime(1, baudRate()) : Duration(0));
    return work(now);
}

// One message after the other; each keeps it busy for a while, and what comes meanwhile waits.
Reaction UbxReceiver::work(TimePoint now) {
    constexpr const char* kLineEnds = "\r\n";
    Reaction reaction;
    while (const std::optional<UbxInput::Taken> taken = input_.next(freeFrom_, now)) {
        unexplained_ += taken->byte;
        for (const UbxEvent& event : parser_.feed({&taken->byte, 1}))
            hear(event, taken->at, reaction);
        if (const auto sentence = sentences_.feed(taken->byte))
            hearSentence(*sentence, taken->at, reaction);
    }
    noteLoss(reaction);
    const bool settled = input_.isEmpty() && !parser_.isMidFrame();
    const bool worthALine = unexplained_.find_first_not_of(kLineEnds) != std::string::npos;
    reaction.unexplained = settled && worthALine ? unexplained_ : "";
    if (settled)
        unexplained_.clear();
    return reaction;
}

void UbxReceiver::hear(const UbxEvent& event, TimePoint now, Reaction& reaction) {
    const std::string name = ubx::name(event.frame.messageClass, event.frame.id);
    const bool sound = event.kind == UbxEventKind::Frame;
    ++(sound ? counters_.framesReceived : counters_.framesBad);
    unexplained_.clear();
    freeFrom_ = std::max(freeFrom_, now) + inputOptions_.messageTime;
    if (sound)
        reaction.log.push_back(describe(event.frame) + take(event.frame, now, reaction));
    else if (event.kind == UbxEventKind::BadChecksum)
        reaction.log.push_back(name + " with a wrong checksum, ignored");
    else
        reaction.log.push_back(name + " of an impossible length, ignored");
}

void UbxReceiver::hearSentence(const std::string& sentence, TimePoint now, Reaction& reaction) {
    constexpr uint8_t kWarning = 1;
    const std::optional<std::string> complaint = complaintAbout(sentence);
    if (!complaint)
        return;
    unexplained_.clear();
    freeFrom_ = std::max(freeFrom_, now) + inputOptions_.messageTime;
    reaction.log.push_back(sentence + ": " + *complaint);
    inform(kWarning, *complaint, reaction);
}

void UbxReceiver::noteLoss(Reaction& reaction) {
    if (input_.lost() == lossNoted_)
        return;
    reaction.log.push_back("input buffer full, lost " + std::to_string(input_.lost() - lossNoted_) +
                           " bytes");
    lossNoted_ = input_.lost();
}

std::string UbxReceiver::take(const UbxFrame& frame, TimePoint now, Reaction& reaction) {
    if (!configuration_.acceptsUbx())
        return ", ignored: UBX input is off";
    silent_ = faults_.silences != 0;
    useUp(faults_.silences);
    std::string outcome;
    if (frame.messageClass == ubx::kCfg && frame.id == ubx::kCfgRst)
        outcome = takeRestart(frame, now, reaction);
    else if (frame.messageClass == ubx::kCfg)
        outcome = takeConfiguration(frame, now, reaction);
    else if (frame.messageClass == ubx::kMga)
        outcome = takeAssistance(frame, reaction);
    else
        outcome = takePoll(frame, now, reaction);
    const std::string silence = silent_ ? " (kept silent)" : "";
    silent_ = false;
    return outcome + silence;
}

std::string UbxReceiver::takeConfiguration(const UbxFrame& frame, TimePoint now, Reaction& reaction) {
    if (faults_.refusals != 0 || faults_.refusedId == frame.id) {
        useUp(faults_.refusals);
        acknowledge(frame, false, reaction, {});
        return ": ACK-NAK";
    }
    const uint32_t speedBefore = baudRate();
    const std::set<Constellation> systemsBefore = output().enabled;
    const CfgOutcome outcome = configuration_.handle(frame);
    // Other systems mean another start of the signal processing.
    reaction.navigationRestarted |= output().enabled != systemsBefore;
    for (const UbxFrame& reply : outcome.answers)
        answer(reply, reaction);
    Outgoing manner;
    if (baudRate() != speedBefore) {
        manner.delay = kSpeedChangeDelay;
        manner.baudRate = faults_.oldSpeed ? speedBefore : 0;
    }
    if (frame.id == ubx::kCfgGnss && outcome.accepted && outcome.answers.empty())
        manner.delay = beBusyWithGnss(now);
    acknowledge(frame, outcome.accepted, reaction, manner);
    return outcome.accepted ? ": ACK-ACK" : ": ACK-NAK";
}

// When its acknowledgement comes.
Duration UbxReceiver::beBusyWithGnss(TimePoint now) {
    const Duration untilAcknowledged =
        inputOptions_.acknowledgesGnssFirst ? inputOptions_.messageTime : Duration(0);
    freeFrom_ = now + untilAcknowledged + inputOptions_.gnssBusyTime;
    return inputOptions_.acknowledgesGnssFirst ? untilAcknowledged : inputOptions_.gnssBusyTime;
}

namespace {

// resetMode of UBX-CFG-RST, with what each does.
struct RestartRow {
    uint8_t mode;
    bool reloads;   ///< what was saved comes into force, factory values for the rest
    bool navigates; ///< what the navigation does afterwards
    const char* outcome;
};

constexpr RestartRow kRestarts[] = {
    {0x00, true, true, ": restarted"},  // watchdog, at once
    {0x01, true, true, ": restarted"},  // software
    {0x02, false, true, ": restarted"}, // software, navigation alone
    {0x04, true, true, ": restarted"},  // watchdog, after a shutdown
    {0x08, false, false, ": navigation stopped"},
    {0x09, false, true, ": navigation started"},
};

const RestartRow* findRestartRow(uint8_t mode) {
    for (const RestartRow& row : kRestarts)
        if (row.mode == mode)
            return &row;
    return nullptr;
}

} // namespace

// UBX-CFG-RST is never acknowledged.
std::string UbxReceiver::takeRestart(const UbxFrame& frame, TimePoint now, Reaction& reaction) {
    if (frame.payload.size() != 4) {
        acknowledge(frame, false, reaction, {});
        return ": ACK-NAK";
    }
    const PayloadReader fields(frame.payload);
    const RestartRow* row = findRestartRow(fields.u1(2));
    if (row == nullptr)
        return ": no such mode, ignored";
    forget(fields.u2(0));
    if (row->reloads)
        configuration_.reloadSaved();
    navigates_ = row->navigates;
    restart(now);
    reaction.navigationRestarted = true;
    return row->outcome;
}

void UbxReceiver::forget(uint32_t mask) {
    constexpr uint32_t kClockBit = 1u << 8u;
    constexpr uint32_t kPositionBit = 1u << 4u;
    assistance_.database().forget(recordsCleared(mask));
    if ((mask & kPositionBit) != 0)
        assistance_.forgetPosition();
    timeKept_ = (mask & kClockBit) == 0 && (timeKept_ || (lastEpoch_ && lastEpoch_->timeKnown));
    timeHeard_ = timeHeard_ && timeKept_;
    if ((mask & kClockBit) != 0)
        assistance_.forgetTime();
}

std::string UbxReceiver::takeAssistance(const UbxFrame& frame, Reaction& reaction) {
    const MgaOutcome outcome = assistance_.handle(frame, hindranceOf(frame));
    if (frame.id == ubx::kMgaDbd && frame.payload.empty()) {
        sendDatabase(outcome, reaction);
        return ": " + std::to_string(outcome.database.size()) + " records";
    }
    const bool used = outcome.acknowledgement->payload[0] == 1;
    const std::string verdict =
        used ? ": used" : ": not used, info " + std::to_string(outcome.acknowledgement->payload[2]);
    if (!configuration_.acknowledgesAiding())
        return verdict + ", not acknowledged";
    answer(*outcome.acknowledgement, reaction);
    return verdict;
}

MgaHindrance UbxReceiver::hindranceOf(const UbxFrame& frame) {
    if (frame.payload.empty())
        return MgaHindrance::None;
    if (faults_.notReady != 0) {
        useUp(faults_.notReady);
        return MgaHindrance::NotReady;
    }
    const bool timeKnown = assistance_.timeKnown() || timeKept_ || timeHeard_;
    return faults_.needsTime && !timeKnown ? MgaHindrance::NoTime : MgaHindrance::None;
}

std::string UbxReceiver::takePoll(const UbxFrame& frame, TimePoint now, Reaction& reaction) {
    const std::optional<Bytes> payload = frame.payload.empty() ? polled(frame, now) : std::nullopt;
    if (!payload)
        return ": no answer";
    answer({frame.messageClass, frame.id, *payload}, reaction);
    return ": answered";
}

std::optional<Bytes> UbxReceiver::polled(const UbxFrame& frame, TimePoint now) const {
    if (frame.messageClass == ubx::kMon && frame.id == ubx::kMonVer)
        return versionPayload();
    if (frame.messageClass == ubx::kMon && frame.id == ubx::kMonGnss)
        return monGnssPayload(output());
    if (frame.messageClass == ubx::kMon && frame.id == ubx::kMonHw)
        return monHwPayload();
    if (frame.messageClass != ubx::kNav || !lastEpoch_)
        return std::nullopt;
    for (const NavMessageRow& row : navMessageRows())
        if (row.id == frame.id)
            return row.build({*lastEpoch_, sinceStartMs(now), timeToFirstFixMs_, output().utcToHundredths});
    return std::nullopt;
}

// --- To the host ----------------------------------------------------------------------------------------

void UbxReceiver::acknowledge(const UbxFrame& frame, bool accepted, Reaction& reaction, Outgoing manner) {
    ++(accepted ? counters_.acknowledged : counters_.refused);
    const uint8_t id = accepted ? ubx::kAckAck : ubx::kAckNak;
    answer({ubx::kAck, id, {frame.messageClass, frame.id}}, reaction, std::move(manner));
}

// Every answer goes through here, so every fault of answers has this one place.
void UbxReceiver::answer(const UbxFrame& frame, Reaction& reaction, Outgoing manner) {
    if (silent_ || !output().ubxOut)
        return;
    manner.delay = std::max(manner.delay, inputOptions_.messageTime) + faults_.lateness;
    manner.urgent = faults_.between && !manner.yields;
    const std::string bytes = asText(damaged(faults_, encodeUbx(frame), ++counters_.answers));
    if (faults_.splitAt == 0 || faults_.splitAt >= bytes.size()) {
        manner.bytes = bytes;
        reaction.outgoing.push_back(manner);
        return;
    }
    Outgoing rest = manner;
    manner.bytes = bytes.substr(0, faults_.splitAt);
    rest.bytes = bytes.substr(faults_.splitAt);
    rest.delay += faults_.splitGap;
    reaction.outgoing.push_back(std::move(manner));
    reaction.outgoing.push_back(std::move(rest));
}

void UbxReceiver::sendDatabase(const MgaOutcome& outcome, Reaction& reaction) {
    Outgoing patient;
    patient.yields = true;
    if (faults_.earlyAck)
        answer(*outcome.acknowledgement, reaction, patient);
    std::size_t number = 0;
    for (const UbxFrame& record : outcome.database) {
        answer(record, reaction, patient);
        if (faults_.mixedBurst)
            sendForeignTraffic(++number, reaction);
    }
    if (!faults_.earlyAck && !faults_.noClosingAck)
        answer(*outcome.acknowledgement, reaction, patient);
}

void UbxReceiver::inform(uint8_t level, const std::string& text, Reaction& reaction) const {
    constexpr uint8_t kUbxProtocol = 0;
    constexpr uint8_t kNmeaProtocol = 1;
    Outgoing message;
    message.delay = inputOptions_.messageTime;
    if (output().nmeaOut && configuration_.informs(kNmeaProtocol, level)) {
        NmeaSentence sentence(mainTalker(output()) + "TXT");
        message.bytes = sentence.field("01").field("01").padded(level, 2).field(text).text();
        reaction.outgoing.push_back(message);
    }
    if (output().ubxOut && configuration_.informs(kUbxProtocol, level)) {
        message.bytes = asText(encodeUbx({ubx::kInf, level, Bytes(text.begin(), text.end())}));
        reaction.outgoing.push_back(message);
    }
}

Reaction UbxReceiver::outputOverrun() {
    constexpr uint8_t kError = 0;
    Reaction reaction;
    inform(kError, "txbuf alloc", reaction);
    return reaction;
}

// What else may come while a database is on its way.
void UbxReceiver::sendForeignTraffic(std::size_t number, Reaction& reaction) {
    Outgoing patient;
    patient.yields = true;
    if (number % 2 == 0) {
        answer({ubx::kAck, ubx::kAckAck, {ubx::kCfg, ubx::kCfgMsg}}, reaction, patient);
        return;
    }
    if (silent_ || !output().nmeaOut)
        return;
    patient.bytes = "$GNTXT,01,01,02,ANTSTATUS=OK*25\r\n";
    patient.delay = inputOptions_.messageTime + faults_.lateness;
    reaction.outgoing.push_back(patient);
}

// --- Epochs ---------------------------------------------------------------------------------------------

Reaction UbxReceiver::epoch(const Epoch& epoch, TimePoint now) {
    Reaction reaction;
    lastEpoch_ = epoch;
    timeHeard_ = timeHeard_ || epoch.timeKnown;
    assistance_.database().learn(epoch);
    if (timeToFirstFixMs_ == 0 && epoch.fix != FixType::None)
        timeToFirstFixMs_ = std::max<uint32_t>(sinceStartMs(now), 1);
    ++epochCount_;
    if (!output().ubxOut)
        return reaction;
    const NavContext context{epoch, sinceStartMs(now), timeToFirstFixMs_, output().utcToHundredths};
    bool isDue = !firstEpochCut_;
    for (const NavMessageRow& row : navMessageRows()) {
        isDue = isDue || row.id == kLeadsFirstEpoch;
        const uint32_t rate = configuration_.rateOf(ubx::kNav, row.id);
        if (isDue && rate != 0 && epochCount_ % rate == 0) {
            Outgoing message;
            message.bytes = asText(encodeUbx({ubx::kNav, row.id, row.build(context)}));
            reaction.outgoing.push_back(std::move(message));
        }
    }
    firstEpochCut_ = firstEpochCut_ && reaction.outgoing.empty();
    return reaction;
}

// --- Commands and state ---------------------------------------------------------------------------------

ProtocolEngine::CommandReply UbxReceiver::command(const std::vector<std::string>& words, TimePoint) {
    if (words.empty())
        return {};
    if (words[0] == "database")
        return setDatabase(words);
    if (words[0] == "inform")
        return say(words);
    for (const UbxFaultRow& row : ubxFaultRows())
        if (words[0] == row.name)
            return setFault(row, words);
    return {};
}

ProtocolEngine::CommandReply UbxReceiver::setFault(const UbxFaultRow& row,
                                                   const std::vector<std::string>& words) {
    UbxFaults changed = faults_;
    CommandReply reply;
    reply.error = row.apply(changed, words);
    reply.result = reply.error.empty() ? CommandResult::Done : CommandResult::Bad;
    if (reply.result == CommandResult::Done)
        faults_ = changed;
    return reply;
}

ProtocolEngine::CommandReply UbxReceiver::say(const std::vector<std::string>& words) const {
    const std::array<std::string, 3> levels = {"error", "warning", "notice"};
    CommandReply reply;
    const auto level = words.size() < 3 ? levels.end() : std::find(levels.begin(), levels.end(), words[1]);
    if (level == levels.end()) {
        reply.result = CommandResult::Bad;
        reply.error = "inform takes error, warning or notice, and a text.";
        return reply;
    }
    std::string text = words[2];
    for (std::size_t i = 3; i < words.size(); ++i)
        text += " " + words[i];
    inform(static_cast<uint8_t>(level - levels.begin()), text, reply.reaction);
    reply.result = CommandResult::Done;
    return reply;
}

ProtocolEngine::CommandReply UbxReceiver::setDatabase(const std::vector<std::string>& words) {
    CommandReply reply;
    const std::string number = words.size() != 2 ? "" : words[1] == "lost" ? "0" : words[1];
    const std::optional<uint32_t> count = parseWhole(number, 0, kMostRecords);
    if (!count) {
        reply.result = CommandResult::Bad;
        reply.error = "database takes a number of records from 0 to 2000, or lost.";
        return reply;
    }
    assistance_.database().fill(*count, lastEpoch_ ? std::optional<UtcTime>(lastEpoch_->utc) : std::nullopt);
    reply.result = CommandResult::Done;
    return reply;
}

std::vector<KeyValue> UbxReceiver::commandHelp() const {
    std::vector<KeyValue> help = {
        {"database RECORDS|lost", "give the navigation database this many made-up records, or none"},
        {"inform error|warning|notice TEXT", "say this in a TXT sentence or an INF frame, as configured"}};
    for (const UbxFaultRow& row : ubxFaultRows()) {
        const std::string arguments = row.arguments;
        help.push_back({row.name + (arguments.empty() ? "" : " " + arguments), row.help});
    }
    return help;
}

std::vector<KeyValue> UbxReceiver::state() const {
    const OutputConfiguration& out = output();
    const uint32_t antenna = PayloadReader(configuration_.block(ubx::kCfgAnt)).u2(0);
    std::vector<KeyValue> lines{
        {"nmea_out", out.nmeaOut ? "on" : "off"},
        {"ubx_out", out.ubxOut ? "on" : "off"},
        {"nmea_version", nmeaVersionName(static_cast<uint32_t>(out.nmeaVersion))},
        {"sv_numbering", out.extendedNumbering ? "extended" : "strict"},
        {"gnss", systemNames(out.enabled)},
        {"ack_aiding", configuration_.acknowledgesAiding() ? "on" : "off"},
        {"antenna_svcs", (antenna & 1u) != 0 ? "on" : "off"},
        {"antenna_flags", formatted("0x%04x", antenna)},
        {"epoch_ms", std::to_string(out.epochPeriod.count())},
    };
    for (KeyValue& line : experience())
        lines.push_back(std::move(line));
    return lines;
}

std::vector<KeyValue> UbxReceiver::experience() const {
    const auto orNone = [](const std::string& text) { return text.empty() ? "none" : text; };
    return {
        {"database_frames", std::to_string(assistance_.database().size())},
        {"mga_taken", std::to_string(assistance_.taken())},
        {"mga_refused", std::to_string(assistance_.refused())},
        {"mga_ini_position", orNone(assistance_.position())},
        {"mga_ini_time", orNone(assistance_.time())},
        {"frames_received", std::to_string(counters_.framesReceived)},
        {"frames_bad", std::to_string(counters_.framesBad)},
        {"input_lost", std::to_string(input_.lost())},
        {"acks_sent", std::to_string(counters_.acknowledged)},
        {"naks_sent", std::to_string(counters_.refused)},
        {"resets", std::to_string(resets_)},
        {"ubx_faults", describeFaults(faults_)},
    };
}

} // namespace simulator
