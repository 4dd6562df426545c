#include "Service.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <utility>

#include "Conversions.h"
#include "Json.h"

namespace monitor {

namespace {

using Step = telemetry::ServiceStep::Step;

constexpr std::uint32_t kPollMs = 250; // a fix, which lasts a second at least, is seen once
constexpr std::int64_t kMsPerSecond = 1000;

// What each step may take, in seconds: the waits that the library has at worst. A restart of gpsd that the
// service begins just before `Stop` lasts longer.
constexpr double kLongestConstruction = 13;
constexpr double kLongestFrame = 6; // of a saved navigation database, without an answer
constexpr double kLongestInitialize = 19;
constexpr double kLongestStart = 4;
constexpr double kLongestReport = 5;
constexpr double kLongestFinalize = 10;
constexpr double kLongestDestruction = 6;

constexpr char kDatabase[] = "/data/NavigationDatabaseDump";
constexpr int kTrailer = 6;
constexpr int kMostFrames = 123;

/// How many frames of the saved database will be sent, as its trailer tells; 0 where there is none.
int framesToRestore() {
    std::ifstream file(kDatabase, std::ios::binary);
    file.seekg(-kTrailer, std::ios::end);
    char digits[kTrailer + 1] = "";
    file.read(digits, kTrailer);
    const long frames = file ? std::strtol(digits, nullptr, 10) : 0;
    return frames > 0 ? static_cast<int>(std::min<long>(frames, kMostFrames)) : 0;
}

double longestStop(const telemetry::Settings& settings) {
    return settings.positionIntervalS / 4.0 + kLongestReport;
}

std::string codeText(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

// Ctrl-C on the terminal is heard by each program there. The commands that the library runs shall not end
// halfway for it: they inherit from the thread that runs them.
void keepCtrlCFromCommands() {
    sigset_t ctrlC;
    sigemptyset(&ctrlC);
    sigaddset(&ctrlC, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ctrlC, nullptr);
}

/// The service that is being constructed: what the library ends the process from.
std::atomic<Service*> underConstruction{nullptr};

} // namespace

Service::Service(Wishes wishes, const Moments& moments)
    : moments_(moments), events_(moments), lines_(moments), wishes_(std::move(wishes)) {}

Service::~Service() {
    stop();
    if (thread_.joinable())
        thread_.join();
}

void Service::start() {
    static const int registered = std::atexit(atExit);
    static_cast<void>(registered);
    thread_ = std::thread([this] { run(); });
}

std::string Service::problem() const {
    const std::lock_guard<std::mutex> hold(mutex_);
    return problem_;
}

void Service::run() {
    keepCtrlCFromCommands();
    if (bringUp())
        live();
    bringDown();
    lines_.enter(Step::Down);
    isDown_ = true;
}

void Service::live() {
    isRunning_ = true;
    while (!stopWanted_) {
        ruxosleep_interruptible(kPollMs);
        doRequests();
        look();
    }
    takeNoMoreRequests();
    doRequests();
}

/// Each one that was accepted is done.
void Service::takeNoMoreRequests() {
    const std::lock_guard<std::mutex> hold(mutex_);
    isRunning_ = false;
}

// --- Up and down ----------------------------------------------------------------------------------------

/// Whether it is up. Between two operations it looks whether it shall go on.
bool Service::bringUp() {
    if (!construct() || stopWanted_)
        return false;
    applySettings();
    lines_.enter(Step::Initializing, kLongestInitialize);
    const std::uint32_t initialized = adapter_->Initialize();
    if (!succeeds(initialized, "initialize") || stopWanted_)
        return false;
    lines_.enter(Step::Starting, kLongestStart, initialized);
    const std::uint32_t started = adapter_->Start();
    if (!succeeds(started, "start") || stopWanted_)
        return false;
    lines_.enter(Step::Running, 0, started);
    return true;
}

bool Service::construct() {
    lines_.enter(Step::Constructing, kLongestConstruction + kLongestFrame * framesToRestore());
    underConstruction = this;
    try {
        adapter_ = std::make_unique<GPSAdapter>(&events_);
    } catch (const std::exception& error) {
        fail(std::string("the service can't be made: ") + error.what(), std::nullopt);
    }
    underConstruction = nullptr;
    return adapter_ != nullptr;
}

bool Service::succeeds(std::uint32_t result, const char* operation) {
    if (result != 0)
        fail(std::string("the service does not ") + operation + " (error code " + codeText(result) + ")",
             result);
    return result == 0;
}

void Service::fail(const std::string& problem, std::optional<std::uint32_t> result) {
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        problem_ = problem;
    }
    hasFailed_ = true;
    lines_.enter(Step::Failed, 0, result);
}

void Service::bringDown() {
    if (adapter_ == nullptr)
        return;
    lines_.enter(Step::Stopping, longestStop(wishes_.settings));
    const std::uint32_t stopped = adapter_->Stop();
    if (hasSettings_)
        look(); // what came meanwhile
    lines_.enter(Step::Finalizing, kLongestFinalize, stopped);
    const std::uint32_t finalized = adapter_->Finalize();
    lines_.enter(Step::Destroying, kLongestDestruction, finalized);
    adapter_.reset();
}

// --- Settings and requests ------------------------------------------------------------------------------

void Service::applySettings() { handIn(std::exchange(wishes_.odometerM, std::nullopt)); }

void Service::handIn(std::optional<std::uint32_t> odometerM) {
    GPSParams params;
    adapter_->GetParams(params);
    putSettings(wishes_.settings, params);
    if (odometerM) {
        params.odometerValue = *odometerM;
        params.setOdometer = true;
        adapter_->SetParams(params);
        params.setOdometer =
            false; // it is kept as given, and each change of settings would impose the value again
    }
    adapter_->SetParams(params);
    lines_.put(telemetry::SettingsTaken{wishes_.settings});
    hasSettings_ = true;
}

void Service::setOdometer(std::uint32_t metres) {
    request({telemetry::Command::Kind::SetOdometer, metres, false});
}

void Service::setTracking(bool enabled) { request({telemetry::Command::Kind::Tracking, 0, enabled}); }

void Service::setGeofences(bool enabled) { request({telemetry::Command::Kind::Geofences, 0, enabled}); }

void Service::request(const telemetry::Command& command) {
    const std::lock_guard<std::mutex> hold(mutex_);
    if (isRunning_)
        requests_.push_back(command);
}

void Service::doRequests() {
    std::vector<telemetry::Command> requests;
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        requests.swap(requests_);
    }
    for (const telemetry::Command& command : requests)
        doRequest(command);
}

void Service::doRequest(const telemetry::Command& command) {
    lines_.put(command);
    if (command.kind == telemetry::Command::Kind::Tracking)
        wishes_.settings.trackingEnabled = command.enabled;
    if (command.kind == telemetry::Command::Kind::Geofences)
        wishes_.settings.geofencesEnabled = command.enabled;
    const bool isOdometer = command.kind == telemetry::Command::Kind::SetOdometer;
    handIn(isOdometer ? std::optional(command.odometerM) : std::nullopt);
}

// --- What the service says ------------------------------------------------------------------------------

/// Readings first, then the notes: each event from before the readings is then among the notes, and is told
/// first.
void Service::look() {
    GPSReadings taken;
    adapter_->GetReadings(taken);
    const telemetry::Readings readings = readingsOf(taken);
    EventQueue::Taken events = events_.takeAll();
    for (telemetry::Line& event : events.events) {
        complete(event, readings);
        lines_.put(std::move(event));
    }
    lines_.countLost(events.lost);
    tellReadings(readings);
}

/// With what nobody can ask for in a callback.
void Service::complete(telemetry::Line& event, const telemetry::Readings& readings) const {
    const std::optional<telemetry::Position> where =
        readings.fix ? std::optional(readings.fix->position) : std::nullopt;
    if (auto* const crossing = std::get_if<telemetry::GeofenceCrossed>(&event.content)) {
        crossing->where = where;
        for (std::size_t i = 0; i < telemetry::kGeofences; ++i)
            if (wishes_.settings.geofences[i].isConfigured() &&
                wishes_.settings.geofences[i].name == crossing->name)
                crossing->slot = i;
    } else if (auto* const antenna = std::get_if<telemetry::AntennaChanged>(&event.content)) {
        antenna->where = where;
    } else if (auto* const availability = std::get_if<telemetry::AvailabilityChanged>(&event.content)) {
        availability->where = where;
    } else if (auto* const update = std::get_if<telemetry::PositionUpdated>(&event.content)) {
        update->where = where;
    }
}

/// Where they have changed, and once a position interval.
void Service::tellReadings(const telemetry::Readings& readings) {
    const telemetry::Moment now = moments_.now();
    std::string text = telemetry::toJson({{}, telemetry::ReadingsTaken{readings}});
    const bool isDue = now.uptimeMs - lastToldMs_ >= wishes_.settings.positionIntervalS * kMsPerSecond;
    if (!isDue && text == lastTold_)
        return;
    lastTold_ = std::move(text);
    lastToldMs_ = now.uptimeMs;
    lines_.put({now, telemetry::ReadingsTaken{readings}});
}

// --- The library's own end of the process ---------------------------------------------------------------

void Service::atExit() {
    if (Service* const service = underConstruction)
        service->waitForMain();
}

/// On the thread that ends the process: the main thread writes the last lines meanwhile.
void Service::waitForMain() {
    constexpr std::uint32_t kTurnMs = 20;
    constexpr int kTurns = 500;
    fail("the library has ended the process: the serial line /dev/ttymxc1 can't be set up", std::nullopt);
    isEndingTheProcess_ = true;
    for (int i = 0; i < kTurns && !mayExit_; ++i)
        ruxosleep_interruptible(kTurnMs);
}

} // namespace monitor
