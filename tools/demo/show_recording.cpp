// Shows a recording as the live view shows a service, while another program writes it: the demo's picture.
//
// A unit bears one adapter, and the demo's application has it. What it records is all that this program
// knows; it asks the service nothing, and can't ask it for anything.

#include <poll.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "Json.h"
#include "LiveView.h"
#include "LongOptions.h"
#include "Signals.h"

namespace {

using command_line::OptionError;
using monitor::LiveView;
using Clock = std::chrono::steady_clock;

enum ExitStatus {
    kShown = 0,
    kNotShown = 1,
    kWrongOption = 2,
    kSignal = 128,
};

constexpr int kTurnMs = 100;
constexpr double kMsPerSecond = 1000;

constexpr char kUsage[] = R"(Usage: show-recording [OPTIONS] RECORDING

Shows a drive on the terminal while another program records it: `./run-demo.sh` uses it. Ends with the recording.

  --speed X   how much faster the recording's clock runs than this machine's (1)
  -h, --help  prints this text
  --version   prints the version

Exit status: 0 at the recording's end and for the key q; 1 where the recording can't be read or there is no terminal;
2 for a wrong option; 128 + N after signal N, 130 after Ctrl-C.
)";

// --- Options --------------------------------------------------------------------------------------------

struct Options {
    bool help = false;
    bool version = false;
    double speed = 1;
    std::string recording;
};

double parseSpeed(const std::string& text) {
    char* end = nullptr;
    const double speed = std::strtod(text.c_str(), &end);
    constexpr double kMost = 1000;
    if (text.empty() || *end != '\0' || !(speed > 0 && speed < kMost))
        throw OptionError("--speed needs a number above 0 and below 1000, not '" + text + "'");
    return speed;
}

const command_line::LongOption kOptions[] = {{"speed", true}, {"help", false}, {"version", false}};

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    command_line::LongOptions given({std::begin(kOptions), std::end(kOptions)},
                                    command_line::argumentsOf(argc, argv), command_line::usualWords,
                                    command_line::LongOptions::Arguments::Taken);
    while (const auto option = given.next()) {
        if (option->row == command_line::kArgument && options.recording.empty())
            options.recording = option->value;
        else if (option->row == command_line::kArgument)
            throw OptionError("unexpected argument '" + option->value + "'");
        else if (option->row == 0)
            options.speed = parseSpeed(option->value);
        else {
            (option->row == 1 ? options.help : options.version) = true;
            return options;
        }
    }
    if (options.recording.empty())
        throw OptionError("a RECORDING must be given");
    return options;
}

// --- The recording --------------------------------------------------------------------------------------

/// A file that grows. Of a line that is being written nothing is taken yet.
class GrowingRecording {
public:
    explicit GrowingRecording(const std::string& file) : file_(file) {}

    bool isOpen() const { return file_.is_open(); }

    /// The next line that tells something; nothing as long as there is no further one.
    std::optional<telemetry::Line> next() {
        std::string text;
        while (std::getline(file_, text) && !file_.eof()) {
            beginning_ += text;
            try {
                if (const auto line = telemetry::fromJson(std::exchange(beginning_, "")))
                    return line;
            } catch (const telemetry::NotTelemetry&) { // shown by the report, with its place
            }
        }
        beginning_ += text;
        file_.clear();
        return std::nullopt;
    }

private:
    std::ifstream file_;
    std::string beginning_; ///< of a line that is not whole yet
};

/// The recording's clock: it goes on from the last line as fast as the unit's does.
class RecordedClock {
public:
    explicit RecordedClock(double speed) : speed_(speed) {}

    void set(const telemetry::Moment& moment) {
        last_ = moment;
        setAt_ = Clock::now();
    }

    telemetry::Moment now() const {
        const std::chrono::duration<double> passed = Clock::now() - setAt_;
        const auto ms = static_cast<std::int64_t>(passed.count() * speed_ * kMsPerSecond);
        return {last_.utcMs + ms, last_.uptimeMs + ms,
                last_.tickS + static_cast<std::uint32_t>(static_cast<double>(ms) / kMsPerSecond)};
    }

private:
    const double speed_;
    telemetry::Moment last_;
    Clock::time_point setAt_ = Clock::now();
};

// --- Showing --------------------------------------------------------------------------------------------

/// Whoever looks on has nothing to say.
class NoRequests final : public monitor::Requests {
public:
    void setOdometer(std::uint32_t) override {}
    void setTracking(bool) override {}
    void setGeofences(bool) override {}
    std::string refusal() const override { return "the service is another program's; this one looks on"; }
};

/// All lines that have come; true at the recording's end.
bool takeAll(GrowingRecording& recording, RecordedClock& clock, LiveView& view) {
    while (const auto line = recording.next()) {
        clock.set(line->at);
        view.take(*line);
        if (std::holds_alternative<telemetry::End>(line->content))
            return true;
    }
    return false;
}

void waitFor(const LiveView& view) {
    pollfd input = {view.input(), POLLIN, 0};
    poll(&input, 1, kTurnMs);
}

int show(const Options& options) {
    GrowingRecording recording(options.recording);
    if (!recording.isOpen()) {
        std::fprintf(stderr, "show-recording: '%s' can't be read\n", options.recording.c_str());
        return kNotShown;
    }
    monitor::takeSignals();
    NoRequests requests;
    RecordedClock clock(options.speed);
    LiveView view(requests, [&] { return clock.now(); });
    while (monitor::signalThatCame() == 0 && view.state() == monitor::Output::State::Going &&
           !takeAll(recording, clock, view)) {
        view.turn();
        waitFor(view);
    }
    view.finish();
    return monitor::signalThatCame() != 0 ? kSignal + monitor::signalThatCame() : kShown;
}

int run(const Options& options) {
    if (options.help)
        std::fputs(kUsage, stdout);
    else if (options.version)
        std::puts("show-recording (ruxogps) " RUXOGPS_VERSION);
    else
        return show(options);
    return kShown;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(parseOptions(argc, argv));
    } catch (const OptionError& error) {
        std::fprintf(stderr, "show-recording: %s (--help lists the options)\n", error.what());
        return kWrongOption;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "show-recording: %s\n", error.what());
        return kNotShown;
    }
}
