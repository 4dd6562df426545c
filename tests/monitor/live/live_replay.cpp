// Shows a recording in the live view, without a service: for the view's tests and for looking at it.
//
//   live_replay RECORDING [SPEED [END]]
//
// plays it SPEED times as fast (1), then ends in order, or as END says: "hold" stays until q, "abort",
// "segv", "throw", "exit" on another thread. A key's request is answered as the service would.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <poll.h>
#include <stdexcept>
#include <thread>

#include "LiveView.h"
#include "Recording.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Plays the lines at their times, and answers requests with lines of its own.
class Player final : public monitor::Requests {
public:
    Player(std::istream& input, const char* name, double speed) : reader_(input, name), speed_(speed) {
        next_ = reader_.next();
        begin_ = now_ = next_->at;
    }

    void show(monitor::Output& view) { view_ = &view; }

    telemetry::Moment now() const { return now_; }

    /// False when all lines are told.
    bool play() {
        const std::chrono::duration<double, std::milli> passed = Clock::now() - started_;
        const auto ms = static_cast<std::int64_t>(passed.count() * speed_);
        for (; next_ && next_->at.uptimeMs <= begin_.uptimeMs + ms; next_ = reader_.next())
            tell(*next_);
        return next_.has_value();
    }

    void setOdometer(std::uint32_t metres) override {
        tell({now_, telemetry::Command{telemetry::Command::Kind::SetOdometer, metres, false}});
        readings_.odometerM = metres;
        tell({now_, telemetry::ReadingsTaken{readings_}});
    }
    void setTracking(bool enabled) override {
        settings_.trackingEnabled = enabled;
        tell({now_, telemetry::Command{telemetry::Command::Kind::Tracking, 0, enabled}});
        tell({now_, telemetry::SettingsTaken{settings_}});
    }
    void setGeofences(bool enabled) override {
        settings_.geofencesEnabled = enabled;
        tell({now_, telemetry::Command{telemetry::Command::Kind::Geofences, 0, enabled}});
        tell({now_, telemetry::SettingsTaken{settings_}});
    }

private:
    void tell(const telemetry::Line& line) {
        now_ = line.at;
        if (const auto* const taken = std::get_if<telemetry::SettingsTaken>(&line.content))
            settings_ = taken->settings;
        if (const auto* const taken = std::get_if<telemetry::ReadingsTaken>(&line.content))
            readings_ = taken->readings;
        view_->take(line);
    }

    telemetry::RecordingReader reader_;
    double speed_;
    monitor::Output* view_ = nullptr;
    std::optional<telemetry::Line> next_;
    telemetry::Moment begin_;
    telemetry::Moment now_;
    telemetry::Settings settings_;
    telemetry::Readings readings_;
    const Clock::time_point started_ = Clock::now();
};

void end(const std::string& how) {
    if (how == "abort")
        std::abort();
    if (how == "segv")
        std::raise(SIGSEGV);
    if (how == "throw")
        throw std::runtime_error("thrown while the view was up");
    if (how == "exit")
        std::thread([] { std::exit(255); }).join();
}

void run(Player& player, const std::string& how) {
    monitor::LiveView view(player, [&] { return player.now(); });
    player.show(view);
    std::fputs("live_replay: the view is up\n", stderr);
    while ((player.play() || how == "hold") && view.state() == monitor::Output::State::Going) {
        view.turn();
        pollfd input = {view.input(), POLLIN, 0};
        poll(&input, 1, 50);
    }
    end(how);
    std::fputs("live_replay: ends\n", stderr);
    view.finish();
}

} // namespace

int main(int argc, char** argv) {
    std::ifstream file(argc > 1 ? argv[1] : "");
    try {
        Player player(file, argc > 1 ? argv[1] : "no file", argc > 2 ? std::atof(argv[2]) : 1);
        run(player, argc > 3 ? argv[3] : "");
    } catch (const std::exception& error) {
        std::cerr << "live_replay: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
