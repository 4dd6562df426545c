#include "Monitor.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include "Signals.h"

namespace monitor {

namespace {

constexpr std::uint32_t kTurnMs = 100;
constexpr int kSignalStatus = 128;
constexpr int kLibrarysStatus = 255;
constexpr char kProgram[] = "ruxogps-monitor (ruxogps) " RUXOGPS_VERSION;

void say(const std::string& problem) { std::fprintf(stderr, "ruxogps-monitor: %s\n", problem.c_str()); }

} // namespace

int Monitor::run() {
    tell({moments_.now(), telemetry::Start{1, kProgram}});
    service_.start();
    while (!service_.isDown()) {
        if (shallEnd())
            service_.stop();
        turn();
        wait();
    }
    turn(); // the last lines
    const int inOrder = status();
    const bool isWhole = finish(inOrder);
    if (service_.hasFailed())
        say(service_.problem());
    return isWhole ? inOrder : 1;
}

bool Monitor::shallEnd() const {
    return signalThatCame() != 0 || std::any_of(outputs_.begin(), outputs_.end(), [](const auto& output) {
               const Output::State state = output->state();
               return state == Output::State::Done || (state == Output::State::Broken && output->essential());
           });
}

void Monitor::turn() {
    for (const telemetry::Line& line : service_.poll())
        tell(line);
    for (const auto& output : outputs_)
        output->turn();
    tellOfProblems();
    if (service_.isEndingTheProcess())
        endWithTheLibrary();
}

/// Until a key comes, a signal, or the next turn.
void Monitor::wait() const {
    std::vector<pollfd> inputs;
    for (const auto& output : outputs_)
        if (output->input() >= 0)
            inputs.push_back({output->input(), POLLIN, 0});
    if (!inputs.empty())
        poll(inputs.data(), static_cast<nfds_t>(inputs.size()), kTurnMs);
    // A terminal that has gone is ready for ever.
    const bool isWithoutEnd = std::any_of(inputs.begin(), inputs.end(),
                                          [](const pollfd& each) { return (each.revents & ~POLLIN) != 0; });
    if (inputs.empty() || isWithoutEnd)
        ruxosleep_interruptible(kTurnMs);
}

void Monitor::tell(const telemetry::Line& line) {
    for (const auto& output : outputs_)
        output->take(line);
}

bool Monitor::finish(int status) {
    tell({moments_.now(), telemetry::End{status}});
    bool isWhole = true;
    for (const auto& output : outputs_)
        isWhole = output->finish() && isWhole;
    if (std::any_of(outputs_.begin(), outputs_.end(),
                    [](const auto& output) { return output->hidesStandardError(); }))
        told_.clear(); // of what nobody has seen
    tellOfProblems();
    return isWhole;
}

int Monitor::status() const {
    if (service_.hasFailed() || isBroken())
        return 1;
    return signalThatCame() != 0 ? kSignalStatus + signalThatCame() : 0;
}

bool Monitor::isBroken() const {
    return std::any_of(outputs_.begin(), outputs_.end(),
                       [](const auto& output) { return output->state() == Output::State::Broken; });
}

/// Of each once.
void Monitor::tellOfProblems() {
    for (const auto& output : outputs_) {
        const bool isTold = std::find(told_.begin(), told_.end(), output.get()) != told_.end();
        if (isTold || output->state() != Output::State::Broken)
            continue;
        told_.push_back(output.get());
        say(output->problem());
        for (const auto& each : outputs_)
            each->takeProblem(output->problem());
    }
}

void Monitor::endWithTheLibrary() {
    for (const telemetry::Line& line : service_.poll())
        tell(line);
    finish(kLibrarysStatus);
    say(service_.problem());
    service_.letItExit();
    while (true)
        pause();
}

} // namespace monitor
