// The u-blox receiver behind gpsd, and its configuration.
//
// UbxConfigHandler speaks UBX to the receiver, through shell commands on the serial port, while gpsd is down:
// it configures the receiver when the driver is constructed and when the watchdog restarts gpsd, saves the
// receiver's navigation database when the driver is destroyed and sends it back to the next one.
//
// gpsd owns the serial port while the service runs; the driver starts and kills it through the shell and
// takes its reports through libgps. One reader thread per Start copies each report into the snapshot
// (`reader`), value by value with its arrival time, under `semaphore`. The queries run on the caller's thread
// and read the snapshot without the semaphore: they judge every value by its own age.
//
// When gpsd falls silent the reader counts the empty cycles and in the end gives up; the next GetData then
// stops everything, has the receiver configured again while gpsd is down, and starts anew.

#include "GPSHAL_RUXO_3.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "AntennaValues.h"
#include "DatabaseFile.h"
#include "GpsReport.h"
#include "GpsdSession.h"
#include "HexText.h"
#include "LibraryThread.h"
#include "Log.h"
#include "Pause.h"
#include "ReaderCycle.h"
#include "ReceiverPort.h"
#include "SatelliteTexts.h"
#include "Saturate.h"
#include "Shell.h"
#include "Snapshot.h"
#include "UbxReplies.h"

namespace {

constexpr char kLogSource[] = "src/GPSHAL_RUXO_3.cpp";

// --- UbxConfigHandler: constants ------------------------------------------------------------------------

constexpr char kDevice[] = "/dev/ttymxc1";
constexpr char kReceiverBaudRate[] = "9600"; // after a reset
constexpr char kServiceBaudRate[] = "115200";
constexpr uint32_t kReadBufferSize = 5000;
constexpr uint32_t kReadsPerBuffer = 2; // a pause lasts half as long as a byte a baud would fill the buffer
constexpr uint32_t kReadBudgetSeconds = 6;
constexpr double kMicrosPerSecond = 1000000.0;

constexpr useconds_t kResetSettleUs = 1000000;
constexpr int kResetCycles = 2;
constexpr int kPortTriesAfterReset = 2;
constexpr int kPortTriesInService = 3;
constexpr unsigned int kPauseAfterPortFailureSeconds = 1;

constexpr int kLastYearWithoutTime = 116; // tm_year of 2016: an older clock was never set
constexpr unsigned int kTimeAccuracySeconds = 10;

// UBX message names.
constexpr unsigned char kClassMga = 0x13;
constexpr unsigned char kIdMgaDbd = 0x80;
constexpr unsigned char kIdMgaIni = 0x40;

// Shell commands.
constexpr char kKillAllGpsd[] = "killall -9 gpsd";

// Log texts.
constexpr char kText[] = "%s";
constexpr char kAcknowledged[] = "UBXConfig: Acknowledgment has been received for the command: \"%s\"";
constexpr char kAllAcknowledged[] = "UBXConfig: All commands have been acknowledged by positioning chip";
constexpr char kDumpNotWritable[] = "Failed to open device for storing navigation database dump";
constexpr char kDumpNotReadable[] = "Failed to open navigation database dump file";
constexpr char kDumpEmpty[] = "Navigation database dump file is empty";
constexpr char kDumpChecksum[] = "Checksum error: Failed to restore one part of the navigation database";
constexpr char kRestored[] =
    "UBXConfig: Restoring navigation database completed, %d MGA messages used, %d MGA messages not used, "
    "%d MGA messages received in total";
constexpr char kPositionSent[] =
    "UBXConfig: Initial position assistance completed, %d MGA messages used, %d MGA messages not used, "
    "%d MGA messages received in total";
constexpr char kTimeSent[] =
    "UBXConfig: Initial time assistance completed, %d MGA messages used, %d MGA messages not used, "
    "%d MGA messages received in total";

// --- UbxConfigHandler: commands to the receiver ---------------------------------------------------------

constexpr char kPollDescription[] = "UBXConfig: Polling navigation database";
constexpr char kPollFrame[] = R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)";
constexpr char kPositionDescription[] = "UBXConfig: Initial position assistance (UBX-MGA-INI-POS_LLH)";
constexpr char kPositionPrefix[] = "b5621340140001000000"; // length 20, type 1 (latitude, longitude, height)
constexpr char kTimeDescription[] = "UBXConfig: Initial time assistance";
constexpr char kTimePrefix[] = "b5621340180010000012"; // length 24, type 0x10 (UTC), 18 leap seconds

struct Configuration {
    const char* description;
    const char* frame;
    unsigned char msgClass;
    unsigned char msgId;
};

// The port command stays first: sendConfig knows it by its index.
constexpr Configuration kConfiguration[] = {
    // UART1, 8N1, 115200 baud; takes UBX, NMEA and RTCM2, sends UBX and NMEA
    {"UBXConfig: Setting baud rate to 115200",
     R"(\xb5\x62\x06\x00\x14\x00\x01\x00\x00\x00\xC0\x08\x00\x00\x00\xC2\x01\x00\x07\x00\x03\x00)"
     R"(\x00\x00\x00\x00\xb0\x7e)",
     0x06, 0x00}, // CFG-PRT
    // NMEA 4.1, consider mode, extended satellite numbering, a talker for each system
    {"UBXConfig: Setting NMEA version to 4.10 extended",
     R"(\xb5\x62\x06\x17\x14\x00\x00\x41\x00\x02\x00\x00\x00\x00\x01\x00\x00\x01\x00\x00\x00\x00)"
     R"(\x00\x00\x00\x00\x76\x63)",
     0x06, 0x17}, // CFG-NMEA
    // KEEP: SBAS and QZSS are enabled too, though the text names three systems.
    // Pinned by UbxConfigurationFrames.GnssEnablesSbasAndQzssThoughTheTextNamesThreeSystems
    {"UBXConfig: Setting GNSS (GPS, Galileo and Glonass)",
     R"(\xb5\x62\x06\x3E\x3c\x00\x00\x20\x20\x07\x00\x08\x10\x00\x01\x00\x01\x01\x01\x03\x03\x00)"
     R"(\x01\x00\x01\x01\x02\x08\x08\x00\x01\x00\x01\x01\x03\x00\x10\x00\x00\x00\x01\x01\x04\x00)"
     R"(\x08\x00\x00\x00\x01\x03\x05\x03\x03\x00\x01\x00\x01\x05\x06\x08\x0e\x00\x01\x00\x01\x01)"
     R"(\x57\x82)",
     0x06, 0x3E}, // CFG-GNSS
    // only ackAid is applied: every assistance message is acknowledged with an MGA-ACK
    {"UBXConfig: Activating Assisted GPS (NAVX5)",
     R"(\xb5\x62\x06\x23\x28\x00\x00\x00\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00)"
     R"(\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\xD2\x00\x00\x00\x00\x00\x00\x00)"
     R"(\x00\x00\x29\x65)",
     0x06, 0x23}, // CFG-NAVX5
    // supply voltage control on, pins unchanged
    {"UBXConfig: Enable GNSS antenna diagnosis", R"(\xb5\x62\x06\x13\x04\x00\x01\x00\x00\x00\x1e\xd1)", 0x06,
     0x13}, // CFG-ANT
};

// --- UbxConfigHandler: helpers --------------------------------------------------------------------------

/// Runs `sequence`; without memory it ends where it stands. Nothing else is caught: a thread that is
/// cancelled in it unwinds through here.
template <typename Sequence>
void untilMemoryEnds(Sequence sequence) {
    try {
        sequence();
    } catch (const std::bad_alloc&) {
    }
}

std::unique_ptr<unsigned char[]> newReadBuffer(uint32_t size) {
    return std::make_unique<unsigned char[]>(size + kReadBufferSlack);
}

/// Resets the receiver and sets the line to its speed; without a line there is no unit to serve.
void setUpReceiverLine(const std::string& command) {
    for (int cycle = 0; cycle < kResetCycles; ++cycle) {
        runShell(kKillAllGpsd);
        pulseResetLine();
        if (cycle > 0)
            pauseMicroseconds(kResetSettleUs);
        pauseMicroseconds(kResetSettleUs);
        if (setUpPort(command, kPortTriesAfterReset, 0))
            return;
    }
    exit(-1);
}

/// The last record's number as sendConfig takes it.
signed char lastIndex(std::size_t records) {
    // KEEP: 8 bits and signed, so beyond 128 records it names none, all, or an older one.
    // Pinned by RestoreIndex.WrapsAt8Bits
    return static_cast<signed char>(records - 1);
}

/// UBX-MGA-INI-TIME_UTC, plain.
std::string timeFrame(const tm& utc) {
    std::string text = kTimePrefix + hexField(static_cast<unsigned int>(utc.tm_year + 1900)).substr(0, 4);
    for (const int field : {utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec})
        text += hexField(static_cast<unsigned int>(field)).substr(0, 2);
    return text + "0000000000" + hexField(kTimeAccuracySeconds).substr(0, 4) + "000000000000";
}

// Bytes of an MGA-ACK's payload.
enum { MgaAckType = 0, MgaAckVersion = 1, MgaAckInfoCode = 2, MgaAckMsgId = 3, MgaAckPayloadStart = 4 };

bool ackAckNames(const UbxConfigHandler::UbxCommands& record, const unsigned char* payload) {
    return payload[0] == record.msgClass && payload[1] == record.msgId;
}

bool mgaAckNames(const UbxConfigHandler::UbxCommands& record, const unsigned char* payload) {
    // KEEP: the class is not compared. Pinned by WaitForAck.IgnoresTheClassOfAnMgaAck
    return payload[MgaAckVersion] == 0 && payload[MgaAckMsgId] == record.msgId;
}

} // namespace

// --- UbxConfigHandler -----------------------------------------------------------------------------------

UbxConfigHandler::UbxConfigHandler()
    : devicePath(kDevice), baudRate(kReceiverBaudRate), acknowledgedCount(0), serialPort(nullptr),
      readBufferSize(kReadBufferSize), readBuffer(nullptr), readDelayUs(0), maxReads(0), mgaAckPayloadStart{},
      mgaUsedCount(0), mgaNotUsedCount(0) {
    setUpReceiverLine(portSetUpCommand(devicePath, baudRate));
    baudRate = kServiceBaudRate;
    const OpenPort port(serialPort, devicePath);
    std::unique_ptr<unsigned char[]> buffer = newReadBuffer(readBufferSize);
    readBuffer = buffer.get();
    const auto baud = static_cast<uint32_t>(strtol(baudRate.c_str(), nullptr, 10));
    readDelayUs = saturate<uint32_t>(readBufferSize * kMicrosPerSecond / (kReadsPerBuffer * baud));
    maxReads = kReadsPerBuffer * kReadBudgetSeconds * baud / readBufferSize;
    for (const Configuration& row : kConfiguration)
        commandList.push_back({row.description, row.frame, row.msgClass, row.msgId, false});
    send(0, true, false, true);
    send(-1, false, false, true);
    restoreNavigationDatabase();
    static_cast<void>(buffer.release()); // from here on it is the object's own
}

UbxConfigHandler::~UbxConfigHandler() {
    dumpNavigationDatabase();
    freeReadBuffer();
    // Only the local line goes back; the receiver keeps its speed until it is reset.
    baudRate = kReceiverBaudRate;
    untilMemoryEnds([this] { setUpPort(portSetUpCommand(devicePath, baudRate), 1, 0); });
    closePort(serialPort);
}

void UbxConfigHandler::reloadConfig() {
    const OpenPort port(serialPort, devicePath);
    baudRate = kReceiverBaudRate;
    untilMemoryEnds([this] { setUpPort(portSetUpCommand(devicePath, baudRate), 1, 0); });
    baudRate = kServiceBaudRate;
    // KEEP: six differences from the constructor. gpsd is not killed (the caller has), the line is set before
    // the reset, in one try that never ends the process; the list stays, the database is not restored, and
    // each command is waited for by itself. Pinned by ReloadConfig.RunsItsStepsInThisOrder
    pulseResetLine();
    pauseMicroseconds(kResetSettleUs);
    acknowledgedCount = 0;
    for (UbxCommands& record : commandList)
        record.acknowledged = false;
    sendConfig(0, true, false, true);
    // KEEP: an index of 8 bits: records from 128 on are not sent by themselves, 255 stands for all.
    // Pinned by ReloadConfig.EndsWithMoreThan255Records
    for (std::size_t i = 1; i < commandList.size(); ++i)
        sendConfig(static_cast<signed char>(i), false, false, true);
}

void UbxConfigHandler::resetConfig() {
    // KEEP: the counters of MGA-ACKs stay. Pinned by ResetConfig.KeepsTheAssistanceCounters
    acknowledgedCount = 0;
    commandList.clear();
    baudRate = kReceiverBaudRate;
    freeReadBuffer();
    closePort(serialPort);
}

void UbxConfigHandler::freeReadBuffer() {
    delete[] readBuffer;
    readBuffer = nullptr;
}

// --- UbxConfigHandler: sending --------------------------------------------------------------------------

void UbxConfigHandler::sendConfig(signed char index, bool portSetup, bool dump, bool log) {
    untilMemoryEnds([&] { send(index, portSetup, dump, log); });
}

void UbxConfigHandler::send(signed char index, bool portSetup, bool dump, bool log) {
    const auto count = static_cast<int>(commandList.size());
    if (portSetup) {
        if (commandList.empty())
            return;
        // Made first: a receiver at a speed that the line can't follow to would be lost.
        const std::string setUp = portSetUpCommand(devicePath, baudRate);
        writeFrame(commandList.front(), log);
        setUpPort(setUp, kPortTriesInService, kPauseAfterPortFailureSeconds);
        wait(0, dump);
    } else if (index == -1) {
        // KEEP: record 0 is awaited though not sent. Pinned by SendConfig.AwaitsRecordZeroThoughItIsNotSent
        for (int i = 1; i < count; ++i)
            writeFrame(commandList[static_cast<std::size_t>(i)], log);
        wait(-1, dump);
    } else if (index >= 0 && index < count) {
        writeFrame(commandList[static_cast<std::size_t>(index)], log);
        wait(index, dump);
    }
}

void UbxConfigHandler::writeFrame(const UbxCommands& record, bool log) {
    const std::string command = frameCommand(record.frame, devicePath);
    if (log)
        LOG(kLogInfo, kText, record.description.c_str());
    runShell(command.c_str());
}

// --- UbxConfigHandler: replies --------------------------------------------------------------------------

void UbxConfigHandler::waitForAck(signed char index, bool dump) {
    untilMemoryEnds([&] { wait(index, dump); });
}

void UbxConfigHandler::wait(signed char index, bool dump) {
    if (serialPort == nullptr)
        return;
    // KEEP: no wait without a buffer, as after resetConfig, and none is made for it: what was sent is not
    // waited for. Pinned by ResetConfig.LetsATimeBeWrittenWithoutAWait
    if (readBuffer == nullptr)
        return;
    if (!dump) {
        readUntilAcknowledged(index, nullptr);
        return;
    }
    DatabaseWriter file;
    if (!file.isOpen())
        LOG(kLogError, kDumpNotWritable);
    CollectedFrames frames;
    readUntilAcknowledged(index, &frames);
    file.finish(frames.bytes, frames.count);
}

/// The reads of one wait. With `frames` it takes those of the record's class and id.
void UbxConfigHandler::readUntilAcknowledged(signed char index, CollectedFrames* frames) {
    UbxReplies replies(readBuffer, readBufferSize);
    const bool namesARecord = index >= 0 && static_cast<std::size_t>(index) < commandList.size();
    const UbxCommands* polled = namesARecord ? &commandList[static_cast<std::size_t>(index)] : nullptr;
    Wait state = Wait::GoesOn;
    for (uint32_t pass = 1;; ++pass) {
        replies.clear();
        replies.readFrom(serialPort);
        if (frames != nullptr && polled != nullptr)
            replies.collect(polled->msgClass, polled->msgId, *frames);
        state = takeAcknowledgements(replies, index);
        if (state != Wait::GoesOn || pass >= maxReads)
            break;
        pauseMicroseconds(readDelayUs);
    }
    // KEEP: what stays unacknowledged is neither reported nor sent again.
    // Pinned by StartUp.SendsNothingTwiceToASilentReceiver
    if (state == Wait::AllAcknowledged)
        LOG(kLogInfo, kAllAcknowledged);
}

/// Marks the records that this read's acknowledgements name, and looks after each pair of them whether the
/// wait goes on.
UbxConfigHandler::Wait UbxConfigHandler::takeAcknowledgements(const UbxReplies& replies, signed char index) {
    // KEEP: only a reply has the records looked at, though what is awaited may be acknowledged already.
    // Pinned by WaitForAck.WantsSomeReplyEvenForAnAcknowledgedRecord
    for (AcknowledgementPair pair(replies); pair.isThere(); pair.goOn()) {
        markRecords(pair.ackAck(), pair.mgaAck());
        const Wait state = stateOfWait(index);
        if (state != Wait::GoesOn)
            return state;
    }
    return Wait::GoesOn;
}

UbxConfigHandler::Wait UbxConfigHandler::stateOfWait(signed char index) const {
    if (index == -1)
        return acknowledgedCount == commandList.size() ? Wait::AllAcknowledged : Wait::GoesOn;
    const auto number = static_cast<std::size_t>(index); // below -1 it exceeds every list
    // KEEP: one record ends the wait at once and without the summary. Pinned by
    // WaitForAck.EndsWithoutSummaryForOneIndex and WaitForAck.LeavesRepliesBehindTheOneItWaitedForUnseen
    return number < commandList.size() && commandList[number].acknowledged ? Wait::IsOver : Wait::GoesOn;
}

void UbxConfigHandler::markRecords(const unsigned char* ackAck, const unsigned char* mgaAck) {
    acknowledgedCount = 0;
    for (UbxCommands& record : commandList) {
        if (!record.acknowledged && ackAckNames(record, ackAck)) {
            LOG(kLogInfo, kAcknowledged, record.description.c_str());
            record.acknowledged = true;
        }
        // KEEP: an MGA-ACK counts once for each record that it names. Pinned by
        // WaitForAck.CountsOneMgaAckForEachRecordThatItNames
        if (!record.acknowledged && mgaAckNames(record, mgaAck)) {
            countMgaAck(mgaAck);
            record.acknowledged = true;
        }
        if (record.acknowledged)
            ++acknowledgedCount;
    }
}

void UbxConfigHandler::countMgaAck(const unsigned char* payload) {
    const bool used = payload[MgaAckType] == 1 && payload[MgaAckInfoCode] == 0;
    ++(used ? mgaUsedCount : mgaNotUsedCount);
    std::copy_n(payload + MgaAckPayloadStart, sizeof mgaAckPayloadStart, mgaAckPayloadStart);
}

// --- UbxConfigHandler: texts ----------------------------------------------------------------------------

int UbxConfigHandler::findInBinary(unsigned char* haystack, unsigned int haystackLen, unsigned char* needle,
                                   unsigned int needleLen, unsigned int start) {
    return findBytes(haystack, haystackLen, needle, needleLen, start);
}

void UbxConfigHandler::littleEndianInt2BigEndianHex(unsigned int value, std::string& out,
                                                    unsigned int width) {
    untilMemoryEnds([&] { out = hexText(swapBytes(value), width); });
}

bool UbxConfigHandler::prepareUbxCommandString(const std::string& hexIn, std::string& out, unsigned char ckA,
                                               unsigned char ckB) {
    bool result = false;
    untilMemoryEnds([&] { result = appendEscaped(hexIn, out, ckA, ckB); });
    return result;
}

// --- UbxConfigHandler: navigation database --------------------------------------------------------------

void UbxConfigHandler::dumpNavigationDatabase() {
    untilMemoryEnds([this] {
        commandList.push_back({kPollDescription, kPollFrame, kClassMga, kIdMgaDbd, false});
        const OpenPort port(serialPort, devicePath);
        send(lastIndex(commandList.size()), false, true, true);
    });
}

void UbxConfigHandler::restoreNavigationDatabase() {
    DatabaseReader file;
    if (!file.holdsATrailer()) {
        LOG(kLogInfo, kText, file.size() < 0 ? kDumpNotReadable : kDumpEmpty);
        return;
    }
    untilMemoryEnds([&] {
        restoreFrames(file);
        // KEEP: the counters go on from what earlier replies counted. Pinned by
        // Restore.NeverResetsTheCounters
        LOG(kLogInfo, kRestored, mgaUsedCount, mgaNotUsedCount, mgaUsedCount + mgaNotUsedCount);
    });
}

void UbxConfigHandler::restoreFrames(DatabaseReader& file) {
    const std::string total = file.total();
    unsigned char sync1 = 0;
    unsigned char sync2 = 0;
    // KEEP: a pass that finds no frame uses up its number too, and behind the file's end the last pair
    // stands: a file that ends with a frame, without trailer, goes on with empty ones. Pinned by
    // Restore.RepeatsTheSyncOfAFileWithoutTrailer
    for (int64_t number = 1; number <= file.size() - 2; ++number) {
        file.next(sync1);
        file.next(sync2);
        if (sync1 == 0xB5 && sync2 == 0x62)
            restoreFrame(file, std::to_string(number), total);
    }
}

/// Sends the frame whose sync characters have just been read.
void UbxConfigHandler::restoreFrame(DatabaseReader& file, const std::string& number,
                                    const std::string& total) {
    const unsigned char msgClass = file.next();
    const unsigned char msgId = file.next();
    const unsigned char lengthLow = file.next();
    const unsigned int length = lengthLow + 256u * file.next();
    // KEEP: class and id without zero-padding. Pinned by Restore.MisalignsTheTextOfAClassBelow16
    std::string text = "b562" + hexText(msgClass, 0) + hexText(msgId, 0) + hexField(length).substr(0, 4);
    text.reserve(text.size() + 2 * length);
    for (unsigned int i = 0; i < length; ++i)
        appendHexByte(file.next(), text);
    const unsigned char ckA = file.next();
    const unsigned char ckB = file.next();

    std::string scratch;
    // KEEP: a wrong checksum is reported and the frame sent all the same, with the right one.
    // Pinned by Restore.SendsAFrameWithAWrongChecksumAllTheSame
    if (!appendEscaped(text, scratch, ckA, ckB))
        LOG(kLogError, kDumpChecksum);
    std::string frame;
    appendEscaped(text, frame, 0, 0);
    commandList.push_back({"UBXConfig: Restoring navigation database (" + number + " of " + total + ")",
                           std::move(frame), msgClass, msgId, false});
    // KEEP: only the frame numbered like the total is announced. Pinned by Restore.AnnouncesOnlyTheLastFrame
    send(lastIndex(commandList.size()), false, false, number == total);
}

// --- UbxConfigHandler: assistance -----------------------------------------------------------------------

void UbxConfigHandler::addInitialPosition(unsigned int latitude, unsigned int longitude,
                                          unsigned int altitude, unsigned int accuracy) {
    untilMemoryEnds([&] {
        const OpenPort port(serialPort, devicePath);
        if (readBuffer == nullptr)
            readBuffer = newReadBuffer(readBufferSize).release();
        // KEEP: unsigned, so a negative altitude doesn't come out right. Pinned by
        // InitialPosition.DividesTheAltitudeUnsigned
        sendAssistance(kPositionDescription, kPositionPrefix + hexField(latitude * 10) +
                                                 hexField(longitude * 10) + hexField(altitude / 10) +
                                                 hexField(accuracy));
        LOG(kLogInfo, kPositionSent, mgaUsedCount, mgaNotUsedCount, mgaUsedCount + mgaNotUsedCount);
    });
}

void UbxConfigHandler::addInitialTime() {
    untilMemoryEnds([this] {
        const OpenPort port(serialPort, devicePath);
        const time_t now = time(nullptr);
        tm utc = {};
        gmtime_r(&now, &utc);
        if (utc.tm_year > kLastYearWithoutTime)
            sendAssistance(kTimeDescription, timeFrame(utc));
        // KEEP: with an unset clock the counters are those of the operation before.
        // Pinned by InitialTime.KeepsTheCountersWhenTheClockIsNotSet
        LOG(kLogInfo, kTimeSent, mgaUsedCount, mgaNotUsedCount, mgaUsedCount + mgaNotUsedCount);
    });
}

void UbxConfigHandler::sendAssistance(const char* description, const std::string& hexFrame) {
    std::string frame;
    appendEscaped(hexFrame, frame, 0, 0);
    commandList.push_back({description, std::move(frame), kClassMga, kIdMgaIni, false});
    mgaUsedCount = 0;
    mgaNotUsedCount = 0;
    send(lastIndex(commandList.size()), false, false, true);
}

// --- Driver: constants ----------------------------------------------------------------------------------

namespace {

constexpr char kPidFile[] = "/var/run/gpsd.pid";

// KEEP: killing is checked once more than starting, at one check a second. Pinned by
// GpsdControl.GivesUpOnAGpsdThatWillNotDieAfterTenSleeps and
// GpsdControl.GivesUpOnAGpsdThatDoesNotComeUpAfterNineSleeps
constexpr int kKillChecks = 10;
constexpr int kStartChecks = 9;
constexpr uint32_t kGpsdStartUpSeconds = 3; // between Initialize and the first connection
constexpr uint32_t kMillisecondsPerSecond = 1000;

constexpr unsigned int kPauseAfterReloadSeconds = 5;

constexpr double kSatelliteLogSeconds = 1800.0;

constexpr unsigned int kPositionAccuracyCentimetres = 1000;

// Shell commands.
constexpr char kFindGpsd[] = "pidof gpsd";
constexpr char kKillGpsd[] = "kill -9 $(pidof gpsd)";
constexpr char kStartGpsd[] = "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1";

// Log texts.
constexpr char kCheckFailed[] = "GPSD checkgpsd: Failed to check if GPSD is running \"pidof gpsd\"!";
constexpr char kKillFailed[] = "GPSD killgpsd: Failed to kill GPSD \"open\"!";
constexpr char kStartFailed[] = "GPSD startgpsd: Failed to start GPSD \"open\"!";
constexpr char kNoRuxoHal[] = "GPSHAL_RUXO_3 Initialize: RuxoHAL instance not found - bug fix needed!";
constexpr char kStartDelayed[] = "GPSD Start: requires additional start delay.";
constexpr char kThreadFailed[] = "GPSD Start: Failed creating data thread!";
constexpr char kConnectFailed[] = "Failed to connect to GPSD server (errno=%d)";
constexpr char kRestarting[] = "GPSD does not provide any data - restarting GPSD";
constexpr char kSatelliteSummary[] =
    "GPSD GetSatellites: visible satellites: %d, used satellites: %d, mode: %d, PDOP: %f";
constexpr char kSatelliteList[] = "GPSD GetSatellites: %s";

// --- Driver: helpers ------------------------------------------------------------------------------------

/// The platform's answer; `state` stays as it was where it gives none.
unsigned int queryAntenna(GPSAntennaState& state) {
    if (ruxoHal == nullptr)
        return GPS_ERR_NOT_AVAILABLE;
    try {
        return ruxoHal->GetGNSSAntennaState(state);
    } catch (const std::bad_alloc&) {
        return GPS_ERR_FAILED;
    }
}

/// Checks once a second whether gpsd is `up`, or gone, until it is so or `checks` are over. `found` is the
/// driver's finding.
void waitForGpsd(GPSHAL_RUXO_3& driver, const bool& found, bool up, int checks) {
    for (int i = 0; i < checks; ++i) {
        driver.checkgpsd();
        if (found == up)
            return;
        pauseSeconds(1);
    }
}

/// Without memory for it the file stays; the next gpsd writes its own.
void removePidFile() {
    try {
        Util::File::RemoveSingleFile(kPidFile);
    } catch (const std::bad_alloc&) {
    }
}

void restartAfterSilence(GPSHAL& driver, UbxConfigHandler& receiver) {
    LOG(kLogError, kRestarting);
    driver.Stop();
    driver.Finalize();
    receiver.reloadConfig();
    pauseSeconds(kPauseAfterReloadSeconds);
    driver.Initialize();
    driver.Start();
    GPSHAL_RUXO_3::noDataReadCounter = 0;
}

/// Sets `data.valid`; returns the antenna query's result.
unsigned int judgeValidity(const ReaderBlock& reader, time_t now, GPSData& data) {
    // KEEP: a status that came lately makes a fix valid, whatever its value.
    // Pinned by GetData.DoesNotDependOnTheValueOfTheStatus
    if (!isFresh(reader.tsStatus, now))
        return GPS_ERR_NO_CURRENT_DATA;
    GPSAntennaState antenna = kAntennaNotInOrder;
    const unsigned int rc = queryAntenna(antenna);
    data.valid = rc == 0 && antenna == kAntennaInOrder;
    return rc;
}

/// Without memory for its lists, only the first line.
void logSatellites(const ReaderBlock& reader, int32_t count) {
    LOG(kLogInfo, kSatelliteSummary, reader.satellitesVisible, reader.satellitesUsed, reader.mode,
        reader.pdop);
    try {
        const SatelliteTexts texts = describeSatellites(reader, count);
        for (const std::string* list : {&texts.prns, &texts.snrs, &texts.used})
            LOG(kLogInfo, kSatelliteList, list->c_str());
    } catch (const std::bad_alloc&) {
    }
}

} // namespace

sem_t semaphore;

// --- Driver life cycle ----------------------------------------------------------------------------------

unsigned int GPSHAL_RUXO_3::noDataReadCounter = 0;

GPSHAL_RUXO_3::GPSHAL_RUXO_3()
    : GPSHAL(kPidFile), active(false), running(false), gpsdRunning(false), reader(), readerThread(0),
      lastQueryTime(0), lastSatelliteLog(time(nullptr)), initializeTick(0) {}

GPSHAL_RUXO_3::~GPSHAL_RUXO_3() { GPSHAL_RUXO_3::Finalize(); }

bool GPSHAL_RUXO_3::IsActive() { return active; }

bool GPSHAL_RUXO_3::IsRunning() { return running; }

unsigned int GPSHAL_RUXO_3::Initialize() {
    if (active)
        return 0;
    killgpsd();
    const unsigned int rc = startgpsd();
    initializeTick = ruxo_systemtick();
    active = true;
    // KEEP: a HAL that is missing is only logged. Pinned by DriverInitialize.LogsAMissingHalAndSucceeds
    if (RuxoHAL::Instance() == nullptr)
        LOG(kLogCritical, kNoRuxoHal);
    return rc;
}

unsigned int GPSHAL_RUXO_3::Finalize() {
    const unsigned int rc = running ? Stop() : 0;
    killgpsd();
    active = false;
    return rc;
}

unsigned int GPSHAL_RUXO_3::Start() {
    if (!IsActive())
        return GPS_ERR_NOT_RUNNING;
    if (IsRunning())
        return 0;
    running = true;
    const uint32_t elapsed = ruxo_systemtick() - initializeTick;
    if (elapsed < kGpsdStartUpSeconds) {
        LOG(kLogInfo, kStartDelayed);
        ruxosleep_interruptible((kGpsdStartUpSeconds - elapsed) * kMillisecondsPerSecond);
    }
    sem_init(&semaphore, 0, 1);
    reader.stopRequested = false;
    SetTimesToZero();
    // KEEP: a thread that can't be created is only logged; the driver counts as running.
    // Pinned by DriverStart.SucceedsAndStaysRunningWhenTheThreadCanNotBeCreated
    if (createLibraryThread(readerThread, ReadData, &reader) != 0)
        LOG(kLogError, kThreadFailed);
    return 0;
}

unsigned int GPSHAL_RUXO_3::Stop() {
    // KEEP: asked of a driver that doesn't run too. Pinned by DriverStop.JoinsNothingWhenNotRunning
    reader.stopRequested = true;
    if (!running)
        return 0;
    if (readerThread != 0)
        pthread_join(readerThread, nullptr);
    readerThread = 0;
    running = false;
    return 0;
}

void GPSHAL_RUXO_3::SetTimesToZero() { gpsreport::makeStale<gps_data_t>(reader); }

unsigned int GPSHAL_RUXO_3::getgnss() { return 0; }

// --- gpsd control ---------------------------------------------------------------------------------------

unsigned int GPSHAL_RUXO_3::checkgpsd() {
    gpsdRunning = false;
    ShellCommand find(kFindGpsd);
    if (!find.started())
        LOG(kLogError, kCheckFailed);
    gpsdRunning = find.hasOutput();
    return 0;
}

unsigned int GPSHAL_RUXO_3::killgpsd() {
    checkgpsd();
    if (!gpsdRunning)
        return 0;
    {
        const ShellCommand kill(kKillGpsd);
        if (!kill.started())
            LOG(kLogError, kKillFailed);
        waitForGpsd(*this, gpsdRunning, false, kKillChecks);
    }
    // KEEP: also when gpsd is still there. Pinned by GpsdControl.GivesUpOnAGpsdThatWillNotDieAfterTenSleeps
    removePidFile();
    return 0;
}

unsigned int GPSHAL_RUXO_3::startgpsd() {
    checkgpsd();
    if (gpsdRunning)
        return 0;
    const ShellCommand start(kStartGpsd);
    if (!start.started())
        LOG(kLogError, kStartFailed);
    waitForGpsd(*this, gpsdRunning, true, kStartChecks);
    return 0;
}

// --- Reader ---------------------------------------------------------------------------------------------

void* GPSHAL_RUXO_3::ReadData(void* readerBlock) {
    ReaderBlock& block = *static_cast<ReaderBlock*>(readerBlock);
    GpsdSession session;
    const int rc = session.open();
    errno = rc;
    if (rc < 0)
        LOG(kLogCritical, kConnectFailed, rc);
    session.watch();
    while (!block.stopRequested)
        readOneReport(session, block);
    return nullptr;
}

// --- Queries --------------------------------------------------------------------------------------------

unsigned int GPSHAL_RUXO_3::GetData(GPSData& data) {
    lastQueryTime = time(nullptr);
    data.Clear();
    // KEEP: the time is not taken again after the restart. Pinned by
    // Watchdog.ReportsStaleDataMeasuredFromBeforeTheRestart
    if (noDataReadCounter > kEmptyCyclesAllowed)
        restartAfterSilence(*this, ubxConfig);
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    const unsigned int rc = judgeValidity(reader, lastQueryTime, data);
    fillFreshFields(reader, lastQueryTime, data);
    return rc;
}

unsigned int GPSHAL_RUXO_3::GetCurrentTime(long& utcSeconds) {
    lastQueryTime = time(nullptr);
    utcSeconds = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (!isFresh(reader.tsTime, lastQueryTime))
        return GPS_ERR_NO_CURRENT_DATA;
    utcSeconds = reader.fixTime;
    return 0;
}

unsigned int GPSHAL_RUXO_3::GetAntennaStatus(GPSAntennaState& state) {
    lastQueryTime = time(nullptr);
    // KEEP: in order as long as nobody says otherwise, also of a driver that is stopped.
    // Pinned by GetAntennaStatus.IsInOrderAndNotAskedWhenNotRunning
    state = kAntennaInOrder;
    return running ? queryAntenna(state) : GPS_ERR_NOT_RUNNING;
}

unsigned int GPSHAL_RUXO_3::GetStatus(bool& receiving) {
    lastQueryTime = time(nullptr);
    receiving = false;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    receiving = isFresh(reader.tsStatus, lastQueryTime);
    return 0;
}

unsigned int GPSHAL_RUXO_3::GetSatellites(unsigned int& snr, unsigned int& visible) {
    lastQueryTime = time(nullptr);
    snr = 0;
    visible = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (!isFresh(reader.tsSatellites, lastQueryTime))
        return GPS_ERR_NO_CURRENT_DATA;
    const int32_t reported = reader.satellitesVisible;
    const int32_t count = std::clamp(reported, 0, static_cast<int32_t>(kSatelliteCapacity));
    // KEEP: gpsd's own figure, also outside of what the snapshot holds. Pinned by
    // GetSatellites.ReportsMoreThanItHasRoomForAsGpsdCountsThem and
    // GetSatellites.ReportsANegativeCountAsItStandsAndCountsNothing
    visible = static_cast<unsigned int>(reported);
    snr = meanSnr(reader, count, reader.satellitesUsed);
    if (difftime(lastQueryTime, lastSatelliteLog) >= kSatelliteLogSeconds) {
        lastSatelliteLog = time(nullptr);
        logSatellites(reader, count);
    }
    return 0;
}

unsigned int GPSHAL_RUXO_3::GetErrorEstimates(unsigned int& horizontalError, int& timeError) {
    lastQueryTime = time(nullptr);
    horizontalError = 0;
    timeError = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (isFresh(reader.tsTimeError, lastQueryTime))
        timeError = saturate<int32_t>(reader.ept * kMillisecondsPerSecond);
    if (isFresh(reader.tsHorizontalError, lastQueryTime))
        horizontalError = horizontalErrorMetres(reader.epx, reader.epy);
    return 0;
}

unsigned int GPSHAL_RUXO_3::setInitialPosition(unsigned int latitude, unsigned int longitude,
                                               unsigned int altitude) {
    // KEEP: no position on the equator, on the zero meridian or at sea level can be handed over.
    // Pinned by DriverWithoutPosition.ChangesNothing
    if (latitude == 0 || longitude == 0 || altitude == 0)
        return 0;
    Stop();
    Finalize();
    ubxConfig.addInitialPosition(latitude, longitude, altitude, kPositionAccuracyCentimetres);
    Initialize();
    return Start();
}
