#ifndef PROTOCOLENGINE_H
#define PROTOCOLENGINE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/Epoch.h"
#include "simulator/OutputConfiguration.h"

/// The seam between the simulator's core (sky, motion, faults, line) and what the receiver understands.
///
/// The core owns the world and the line: it decides where the antenna is, which satellites it hears, when an
/// epoch is due, and it carries bytes at the line's pace. An engine owns the receiver's configuration and
/// memory: it reads what the host sends, answers it, and tells the core what to send and how soon a fix is
/// possible.
///
/// Everything happens on one thread, in the time that the core passes; an engine never asks a clock and never
/// blocks.

namespace simulator {

/// Bytes for the host: usually one frame, which a line in burst mode delivers in one piece.
struct Outgoing {
    std::string bytes;
    Duration delay{0};     ///< before they join the end of the line's queue
    uint32_t baudRate = 0; ///< the speed they are sent at; 0: the receiver's speed when they leave
    bool yields = false;   ///< an epoch's output that comes due later may overtake it (part of a long burst)
    bool urgent =
        false; ///< goes ahead of what waits on the line when it is due, between an epoch's sentences
};

/// What an engine made of received bytes, of a command or of an epoch.
struct Reaction {
    std::vector<Outgoing> outgoing;
    /// One line per decoded frame for the log; the core puts time, line speed and origin in front.
    /// Empty after receive(): the core logs the bytes themselves.
    std::vector<std::string> log;
    /// The receiver restarted its navigation (UBX-CFG-RST): time to first fix counts from now.
    bool navigationRestarted = false;
    /// Bytes that the engine took in and made nothing of: the core logs them where there is no other line.
    /// Without a value it logs all that it handed over.
    std::optional<std::string> unexplained;
};

/// How long the receiver needs from its start until its first fix, by what it knows.
struct FixTimes {
    Duration cold = std::chrono::seconds(26); ///< nothing
    Duration aided = std::chrono::seconds(8); ///< position and time
    Duration warm = std::chrono::seconds(2);  ///< a navigation database, with or without position and time
};

/// What a receiver may know from before its start.
struct Knowledge {
    LeapSource leapSource = LeapSource::Firmware; ///< of the leap seconds
    bool orbits = false;                          ///< where the satellites stand
};

/// How a receiver takes in what the host writes.
struct InputOptions {
    /// Size of its input buffer in bytes; what doesn't fit is lost. u-blox's own host library counts with
    /// 1000.
    std::size_t bufferBytes = 1000;
    /// It looks at its input between other work: so long after one message it answers, and takes the next. An
    /// assumption: no measurement is behind it.
    Duration messageTime = std::chrono::milliseconds(5);
    /// So long after CFG-GNSS it is busy: neither answers nor takes anything more. The public protocol
    /// description asks the host to wait "first for the acknowledgement from the receiver and then 0.5
    /// seconds".
    Duration gnssBusyTime = std::chrono::milliseconds(500);
    /// CFG-GNSS is acknowledged ahead of that time, as described, or at its end.
    bool acknowledgesGnssFirst = true;
    /// Bytes come in at the line's pace; otherwise they are there when they are written.
    bool linePaced = false;
};

/// What a receiver's navigation database is made of.
enum class DatabaseStyle {
    Mixed,    ///< some fifty records of 50 to 172 bytes, by kind and system
    Recorded, ///< several hundred of 50 to 90 bytes, the last one larger, as real receivers were seen to send
};

/// What a poll of a database without a record brings: nothing but this.
enum class EmptyDatabaseReply {
    Refused, ///< MGA-ACK "not used" with info 255, as u-blox's own host library tells of M10 receivers
    Counted, ///< MGA-ACK "used" with a count of 0, as the protocol description would have it
};

/// What an engine is made with.
struct EngineOptions {
    uint32_t baudRate = 9600; ///< after power-up
    uint64_t seed = 1;
    /// The first epoch with UBX messages after a start begins in its middle, with UBX-NAV-SAT.
    bool cutsFirstEpoch = false;
    InputOptions input;
    DatabaseStyle database = DatabaseStyle::Mixed;
    EmptyDatabaseReply emptyDatabase = EmptyDatabaseReply::Refused;
    OutputConfiguration factory; ///< after power-up; command line options have changed it already
};

enum class ResetCause {
    PowerUp,   ///< all memory lost but what the engine keeps in flash
    ResetLine, ///< a pulse of the reset line: what survives it is the engine's affair
};

/// A line of the state file, or a command with its arguments and its help.
struct KeyValue {
    std::string key;
    std::string value;
};

class ProtocolEngine {
public:
    virtual ~ProtocolEngine() = default;

    /// Bytes from the host, already as the receiver's UART saw them: garbled where the port's speed was
    /// wrong. A frame may come in any number of pieces.
    virtual Reaction receive(std::string_view bytes, TimePoint now) = 0;

    /// What it had no time for in receive(); called at nextWork().
    virtual Reaction work(TimePoint /*now*/) { return {}; }
    /// When it will look at its input again; TimePoint::max() where nothing waits.
    virtual TimePoint nextWork() const { return TimePoint::max(); }

    /// Called before anything else and at each power cycle (PowerUp), and at each pulse of the reset line.
    /// The core drops what is queued on the line, sends the power-up banner and restarts the time to first
    /// fix by itself.
    virtual Reaction reset(ResetCause cause, TimePoint now) = 0;

    /// An epoch: the engine's own messages (UBX-NAV and others switched on), sent behind the NMEA sentences.
    /// Called for each epoch, with or without a fix, and also where a recording is played in place of the
    /// sentences (the epoch then holds the simulator's own truth; the returned messages are dropped, what is
    /// learnt is kept).
    virtual Reaction epoch(const Epoch& epoch, TimePoint now) = 0;

    /// Some of an epoch's output found no room on its way to the line: what the receiver says to that.
    virtual Reaction outputOverrun() { return {}; }

    /// Speed of the receiver's UART now, bits per second, 8N1.
    virtual uint32_t baudRate() const = 0;

    /// What to send from the next epoch on; read anew each epoch.
    virtual const OutputConfiguration& output() const = 0;

    /// Whether there are epochs at all; false while the host has stopped the navigation.
    virtual bool navigates() const { return true; }

    /// Time from the last start until a fix is possible, by what the receiver knows now. May shrink while it
    /// waits.
    virtual Duration timeToFirstFix(const FixTimes& times) const = 0;

    /// What it knows before it has heard a satellite: told by the host, or kept. Asked until the first fix.
    virtual Knowledge knowledge() const { return {}; }

    /// A control command that the core does not know, split at blanks; words[0] is its name.
    enum class CommandResult { Unknown, Done, Bad };
    struct CommandReply {
        CommandResult result = CommandResult::Unknown;
        std::string error; ///< one sentence, for Bad
        Reaction reaction;
    };
    virtual CommandReply command(const std::vector<std::string>& words, TimePoint now) = 0;

    /// Help for the commands above: name with arguments, and what it does. For --help.
    virtual std::vector<KeyValue> commandHelp() const { return {}; }

    /// Lines for the state file, in the order they shall stand there. Keys are lower case with underscores.
    virtual std::vector<KeyValue> state() const { return {}; }
};

/// A receiver that sends NMEA at a fixed speed and ignores what it is told.
std::unique_ptr<ProtocolEngine> makeNmeaEngine(const EngineOptions& options);

/// A u-blox M8 (library target simulator_ubx, folder ubx/).
std::unique_ptr<ProtocolEngine> makeUbxEngine(const EngineOptions& options);

} // namespace simulator

#endif
