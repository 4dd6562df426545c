// receiver-simulator: connects the simulated receiver with a pseudo terminal, a control pipe and files.
//
// One thread and one poll loop. Real time enters only here; libfaketime scales both clocks and poll alike.

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <poll.h>
#include <system_error>

#include "Channels.h"
#include "Options.h"
#include "simulator/Numbers.h"
#include "simulator/Port.h"
#include "simulator/Simulator.h"

namespace simulator {

namespace {

using std::chrono::milliseconds;

constexpr int32_t kExitFailure = 1;
constexpr int32_t kExitUsage = 2;
constexpr Duration kAttendPeriod = milliseconds(200);
// A busy host, or one whose clock runs fast, changes its port's speed later than a unit would.
constexpr Duration kFollowGrace = std::chrono::seconds(2);
constexpr Duration kFollowPeriod = milliseconds(5);

volatile std::sig_atomic_t stopSignal = 0;

void requestStop(int signal) { stopSignal = signal; }

void catchStopSignals() {
    struct sigaction action {};
    action.sa_handler = requestStop; // without SA_RESTART: poll returns
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

TimePoint now() { return std::chrono::steady_clock::now(); }

UtcTime utcNow() { return std::chrono::time_point_cast<Duration>(std::chrono::system_clock::now()); }

std::unique_ptr<ProtocolEngine> makeEngine(const Options& options) {
    return options.engineName == "ubx" ? makeUbxEngine(options.engine) : makeNmeaEngine(options.engine);
}

// Throws std::system_error; an empty path leaves the stream closed.
void openForWriting(std::ofstream& stream, const std::string& path) {
    if (path.empty())
        return;
    stream.open(path, std::ios::binary | std::ios::trunc);
    if (!stream)
        throw std::system_error(errno, std::generic_category(), "can't write " + path);
}

// --- The running program --------------------------------------------------------------------------------

class Program {
public:
    explicit Program(Options options)
        : options_(std::move(options)), simulator_(options_.settings, makeEngine(options_), now(), utcNow()),
          port_(options_.portBaudRate), lateness_(options_.latenessDescriptors) {
        openForWriting(log_, options_.logFile);
        openForWriting(capture_, options_.captureFile);
        if (capture_.is_open())
            capture_ << captureHeader(utcNow(), "receiver-simulator") << std::flush;
        if (log_.is_open())
            simulator_.setLog([this](const std::string& line) { log_ << line << '\n' << std::flush; });
        if (!options_.controlFifo.empty())
            control_.open(options_.controlFifo);
        if (!options_.resetLineFile.empty())
            resetLine_.open(options_.resetLineFile);
        if (!options_.link.empty())
            port_.linkTo(options_.link);
    }

    void run() {
        for (const std::string& line : options_.commands)
            carryOut(line);
        saveState();
        std::cout << "ready: " << port_.path() << std::endl;
        if (options_.settings.recording)
            std::cout << "playing " << described(options_.settings.recording->content()) << std::endl;
        lastWoke_ = now();
        while (stopSignal == 0 && !simulator_.quitRequested() && !isAtEnd()) {
            waitForSomething();
            takeInput();
            sendOutput();
            attend();
        }
        saveState();
    }

private:
    bool isAtEnd() const { return options_.quitAtEnd && simulator_.ended(now()); }

    void waitForSomething() {
        std::array<pollfd, 3> descriptors{{{port_.pollDescriptor(), POLLIN, 0},
                                           {control_.descriptor(), POLLIN, 0},
                                           {resetLine_.descriptor(), POLLIN, 0}}};
        const TimePoint event = waitsForHostSpeed() ? now() + kFollowPeriod : simulator_.nextEvent();
        const TimePoint begin = now();
        lateness_.wasLate(begin - lastWoke_); // what came due during the work had to wait for its end
        const TimePoint next = std::max(begin, std::min(event, lastAttended_ + kAttendPeriod));
        const auto wait = std::chrono::ceil<milliseconds>(next - begin).count();
        poll(descriptors.data(), descriptors.size(), static_cast<int32_t>(wait));
        lastWoke_ = now();
        lateness_.wasLate(lastWoke_ - next);
    }

    void takeInput() {
        hear(port_.read(), now());
        lastPortBaud_ = port_.baudRate();
        if (control_.descriptor() >= 0)
            for (const std::string& line : control_.readLines())
                carryOut(line);
        if (resetLine_.descriptor() >= 0)
            for (const bool level : resetLine_.readLevels())
                simulator_.setResetLine(!level, now());
    }

    // A pseudo terminal doesn't tell at which speed bytes were written. Where the speed has changed since
    // the last look they may have come before the change, and are heard right if either speed is the
    // receiver's.
    uint32_t speedOfInput() const {
        return lastPortBaud_ == simulator_.baudRate() ? lastPortBaud_ : port_.baudRate();
    }

    // Lets the receiver look at what has come, which may tell it another speed: the host's own port follows.
    void hear(const std::string& bytes, TimePoint moment) {
        const uint32_t speedBefore = simulator_.baudRate();
        if (!bytes.empty())
            simulator_.fromHost(bytes, speedOfInput(), moment);
        simulator_.listen(moment);
        if (simulator_.baudRate() != speedBefore)
            followUntil_ = moment + kFollowGrace;
    }

    // The host has told the receiver another speed and its own port is on the way there.
    bool waitsForHostSpeed() const {
        return now() < followUntil_ && port_.baudRate() != simulator_.baudRate();
    }

    void carryOut(const std::string& line) {
        const std::string error = simulator_.command(line, now());
        if (!error.empty())
            std::cerr << "receiver-simulator: " << error << std::endl;
        stateChanged_ = true;
    }

    void sendOutput() {
        const TimePoint moment = now();
        hear("", moment); // before advance() does it, which would send at the new speed at once
        if (waitsForHostSpeed())
            return;
        const auto epochsBefore = simulator_.epochs();
        for (const Line::Piece& piece : simulator_.advance(moment)) {
            if (capture_.is_open())
                capture_ << piece.bytes << std::flush;
            const std::string bytes = readAtSpeed(piece.bytes, piece.baudRate, port_.baudRate());
            bytesLost_ += bytes.size() - port_.write(bytes);
        }
        stateChanged_ = stateChanged_ || simulator_.epochs() != epochsBefore;
        if (stateChanged_)
            saveState();
    }

    void attend() {
        if (now() - lastAttended_ < kAttendPeriod)
            return;
        lastAttended_ = now();
        port_.attend();
    }

    void saveState() {
        stateChanged_ = false;
        if (options_.stateFile.empty())
            return;
        std::vector<KeyValue> lines = simulator_.state(now());
        lines.push_back({"port", port_.path()});
        lines.push_back({"port_baud", std::to_string(port_.baudRate())});
        lines.push_back({"bytes_lost", std::to_string(bytesLost_)});
        if (writeState(options_.stateFile, lines) || stateFailed_)
            return;
        std::cerr << "receiver-simulator: can't write " << options_.stateFile << std::endl;
        stateFailed_ = true; // said once
    }

    const Options options_;
    Simulator simulator_;
    Port port_;
    ControlPipe control_;
    ResetLineWatch resetLine_;
    LatenessWatch lateness_;
    std::ofstream log_;
    std::ofstream capture_;
    TimePoint lastAttended_{};
    TimePoint lastWoke_{};
    TimePoint followUntil_{};
    uint32_t lastPortBaud_ = 0; // of the host's port, when it was looked at last
    uint64_t bytesLost_ = 0;
    bool stateChanged_ = false;
    bool stateFailed_ = false;
};

// --- Start ----------------------------------------------------------------------------------------------

void printHelp(const Options& options) {
    std::cout << optionHelp() << "\nControl commands:\n";
    std::vector<KeyValue> commands = Simulator::commandHelp();
    for (KeyValue& command : makeEngine(options)->commandHelp())
        commands.push_back(std::move(command));
    for (const KeyValue& command : commands)
        std::cout << formatted("  %-30s %s\n", command.key.c_str(), command.value.c_str());
}

void runProgram(const std::vector<std::string>& arguments) {
    Options options = parseOptions(arguments);
    const SimulatorSettings& settings = options.settings;
    if (options.help) {
        printHelp(options);
    } else if (options.version) {
        std::cout << versionText() << '\n';
    } else if (options.printRouteLength) {
        std::cout << formatted("%.3f\n", settings.route.lengthM());
    } else if (options.checkRecording) {
        std::cout << described(settings.recording->content()) << '\n';
    } else {
        catchStopSignals();
        Program(std::move(options)).run();
    }
}

int32_t report(const std::string& problem, int32_t status) {
    std::cerr << "receiver-simulator: " << problem << std::endl;
    return status;
}

} // namespace

} // namespace simulator

int main(int argc, char** argv) {
    using namespace simulator;
    try {
        runProgram(command_line::argumentsOf(argc, argv));
        return 0;
    } catch (const FileError& error) {
        return report(error.what(), kExitFailure);
    } catch (const OptionError& error) {
        return report(std::string(error.what()) + " (--help lists the options)", kExitUsage);
    } catch (const std::exception& error) {
        return report(error.what(), kExitFailure);
    }
}
