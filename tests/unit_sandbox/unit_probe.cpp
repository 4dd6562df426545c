// unit_probe STEP ...
//
// An application of the library that does on the unit what its arguments say, one step each, and prints one
// line per event and step with the unit's time: "event geofence-entered name=gate t=1767225600.125". It knows
// the public headers alone. Exit status: 0; 1 when an `until` waited in vain; 2 for a step that it doesn't
// understand.
//
//   construct, construct-without-callback, destroy
//   initialize, start, stop, finalize         the adapter's operations; their result codes are printed
//   params NAME=VALUE ...                     changes the settings
//   geofence NAME LAT LON WIDTH HEIGHT [MARGIN]  the next of the settings' geofences; degrees, microdegrees
//   position LAT LON ALT                      setInitialPosition; degrees and metres
//   run SECONDS
//   run-counting SECONDS                      the same, and prints how many pauses of 50 ms that were
//   until EVENT[,FIELD=VALUE] COUNT SECONDS   waits for events that no earlier `until` has gone past
//   forget                                    goes past all events that have come
//   until-reading NAME=VALUE SECONDS          waits for a reading; NAME>VALUE as well
//   until-fix SECONDS                         waits for a reading of another fix than the one at its begin
//   until-state NAME=VALUE SECONDS            waits for the receiver's state
//   readings, state                           prints the library's readings, the receiver's state
//   resources                                 prints what the application holds: descriptors, threads, KiB of
//                                             memory in use, and how many processes the unit has
//   write FILE TEXT ...                       replaces a file's content, or writes to a pipe
//   shell COMMAND ...                         its output is printed in lines that begin with "output "
//   timer HZ                                  a signal for the application, that often; 0: no more
//   timer-here HZ                             the same, and it interrupts the thread of the steps
//   watch-port                                looks from now on who holds the receiver's port open
//   clock SECONDS, clock-at UTC               sets the application's clock: so much ahead of the unit's,
//                                             or to seconds since 1970. Printed times stay the unit's
//   refuse threads|processes, allow ...       the system has none of these for the application until then
//   descriptors BELOW [inherited]             opens descriptors until none below is free; without `inherited`
//                                             a program that is started doesn't get them. 0 closes them
//   descriptor-limit N                        the soft limit; gpsd and all that is started inherit it
//   signals HZ                                signals that applications use for timers and notices, that
//                                             often to each thread, with handlers; 0: no more
//   ignore-children                           SIGCHLD is ignored
//   fork WAY COUNT                            children that end by _exit, exit, exec, spawn or as a
//                                             daemon, or try the adapter's readings or destroy it. A child
//                                             of the child's, in a session of its own, is a daemon
//   callback EVENT WHAT ...                   in the next call of this event: throw, a number of seconds to
//                                             block, or another step, on the library's thread
//   locale NAME                               for all categories, for C and C++
//   held                                      prints how many descriptors, threads and children there are
//   driver, destroy-driver                    a driver without an adapter, started
//   poll SECONDS [QUIET]                      asks it at short intervals and prints each new answer; ends
//                                             earlier when there was none for QUIET seconds

#include <dirent.h>
#include <locale.h>
#include <malloc.h>
#include <netdb.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <locale>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "GPSAdapter.h"
#include "ProcessFaults.h"

namespace {

constexpr int kExitMissed = 1;
constexpr int kExitUsage = 2;
constexpr useconds_t kLookPeriodUs = 50000;
constexpr useconds_t kDriverPollPeriodUs = 20000; // more often than the reader takes reports
constexpr double kReadingsSeconds = 10;           // after which a child doesn't come back any more
constexpr double kDestroySeconds = 60;
constexpr useconds_t kPortLookPeriodUs = 20000;
constexpr char kReceiverState[] = "/run/unit/receiver.state";
constexpr char kPort[] = "/dev/ttymxc1";

using Words = std::vector<std::string>;
using Fields = std::map<std::string, std::string>;

// --- Output ---------------------------------------------------------------------------------------------

using processfaults::unitTime;

// Lines are read by programs, whatever locale the application has.
locale_t classicNumbers() {
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return classic;
}

std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string text(const char* format, ...) {
    const locale_t before = uselocale(classicNumbers());
    char buffer[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    uselocale(before);
    return buffer;
}

void print(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> hold(mutex);
    std::cout << line << text(" t=%.3f", unitTime()) << std::endl;
}

std::string describe(const GPSData& data) {
    return text("valid=%d lat=%.6f lon=%.6f alt=%.3f time=%d speed=%.3f course=%.3f pdop=%.2f", data.valid,
                data.latitude / 1e6, data.longitude / 1e6, data.altitude / 1e3, data.time, data.speed / 1e3,
                data.course / 1e3, static_cast<double>(data.pdop));
}

std::string describe(const GPSReadings& readings) {
    return text("available=%d antenna=%u satellites=%u snr=%u fixTick=%u odometer=%u error=%u "
                "deviation=%d delta=%d ",
                readings.available, readings.antennaState, readings.satelliteCount, readings.snr,
                readings.fixTick, readings.odometer, readings.horizontalError, readings.timeDeviationValid,
                readings.timeDelta) +
           describe(readings.data);
}

Fields fieldsOf(const std::string& words) {
    std::istringstream stream(words);
    Fields fields;
    for (std::string word; stream >> word;) {
        const std::size_t equals = word.find('=');
        if (equals != std::string::npos)
            fields[word.substr(0, equals)] = word.substr(equals + 1);
    }
    return fields;
}

// --- Events ---------------------------------------------------------------------------------------------

// Prints what the library calls, and keeps it for those who wait.
class Events : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence& geofence) override {
        return add("geofence-left", text("name=%s", geofence.name.getStr()));
    }
    unsigned int OnGeofenceEntered(const GPSGeofence& geofence) override {
        return add("geofence-entered", text("name=%s", geofence.name.getStr()));
    }
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString&, bool&) override {
        return add("antenna", text("state=%u", state));
    }
    unsigned int OnAvailabilityChanged(bool available) override {
        return add("availability", text("available=%d", available));
    }
    unsigned int OnPositionUpdate() override { return add("position", ""); }
    unsigned int OnTracking(const GPSData& data) override { return add("tracking", describe(data)); }

    // Takes the next event that carries `name` and `fields`, with all events before it.
    bool take(const std::string& name, const Fields& fields) {
        const std::lock_guard<std::mutex> hold(mutex_);
        for (std::size_t i = taken_; i < events_.size(); ++i) {
            if (events_[i].first != name || !carries(events_[i].second, fields))
                continue;
            taken_ = i + 1;
            return true;
        }
        return false;
    }

    void takeAll() {
        const std::lock_guard<std::mutex> hold(mutex_);
        decltype(events_)().swap(events_); // with their memory, which is the probe's own and no leak
        taken_ = 0;
    }

    // The next call of this event does this, on the library's thread.
    void onNext(const std::string& name, const std::function<void()>& action) {
        const std::lock_guard<std::mutex> hold(mutex_);
        actions_[name] = action;
    }

private:
    static bool carries(const Fields& has, const Fields& wants) {
        for (const auto& want : wants) {
            const auto field = has.find(want.first);
            if (field == has.end() || field->second != want.second)
                return false;
        }
        return true;
    }

    unsigned int add(const std::string& name, const std::string& fields) {
        std::function<void()> action;
        {
            const std::lock_guard<std::mutex> hold(mutex_);
            print("event " + name + (fields.empty() ? "" : " ") + fields);
            events_.emplace_back(name, fieldsOf(fields));
            const auto next = actions_.find(name);
            if (next != actions_.end())
                action.swap(next->second);
        }
        if (action)
            action();
        return 0;
    }

    std::mutex mutex_;
    std::map<std::string, std::function<void()>> actions_;
    std::vector<std::pair<std::string, Fields>> events_;
    std::size_t taken_ = 0;
};

// --- Who holds the port ---------------------------------------------------------------------------------

bool holdsOpen(const std::string& process, const std::string& port) {
    const std::string folder = "/proc/" + process + "/fd/";
    DIR* const descriptors = opendir(folder.c_str());
    bool found = false;
    while (descriptors != nullptr && !found) {
        const dirent* const entry = readdir(descriptors);
        if (entry == nullptr)
            break;
        char target[256] = {};
        found = readlink((folder + entry->d_name).c_str(), target, sizeof target - 1) > 0 && port == target;
    }
    if (descriptors != nullptr)
        closedir(descriptors);
    return found;
}

bool isGpsd(const std::string& process) {
    std::string name;
    std::ifstream("/proc/" + process + "/comm") >> name;
    return name == "gpsd";
}

bool gpsdHoldsOpen(const std::string& port) {
    bool found = false;
    DIR* const processes = opendir("/proc");
    for (const dirent* entry = readdir(processes); entry != nullptr && !found; entry = readdir(processes))
        found = isGpsd(entry->d_name) && holdsOpen(entry->d_name, port);
    closedir(processes);
    return found;
}

// Counts the looks at which the library, gpsd and both of them held the port.
class PortWatch {
public:
    ~PortWatch() { end(); }

    void begin() {
        thread_ = std::thread([this] { run(); });
    }

    void end() {
        if (!thread_.joinable())
            return;
        ended_ = true;
        thread_.join();
        print(text("port-watch looks=%d library=%d gpsd=%d both=%d", looks_, library_, gpsd_, both_));
    }

private:
    void run() {
        char port[256] = {};
        while (!ended_ && readlink(kPort, port, sizeof port - 1) < 0)
            usleep(kPortLookPeriodUs);
        for (; !ended_; usleep(kPortLookPeriodUs))
            look(port);
    }

    // The library is looked at twice: it may open the port as soon as gpsd has gone.
    void look(const std::string& port) {
        const bool before = holdsOpen("self", port);
        const bool gpsd = gpsdHoldsOpen(port);
        const bool both = before && gpsd && holdsOpen("self", port);
        ++looks_;
        library_ += before ? 1 : 0;
        gpsd_ += gpsd ? 1 : 0;
        both_ += both ? 1 : 0;
    }

    std::thread thread_;
    std::atomic<bool> ended_{false};
    int looks_ = 0;
    int library_ = 0;
    int gpsd_ = 0;
    int both_ = 0;
};

// --- What the application holds -------------------------------------------------------------------------

std::size_t entriesOf(const char* path, const std::function<bool(const char* name)>& counts) {
    std::size_t count = 0;
    DIR* const folder = opendir(path);
    for (const dirent* entry = readdir(folder); entry != nullptr; entry = readdir(folder))
        count += counts(entry->d_name) ? 1 : 0;
    closedir(folder);
    return count;
}

bool isNumber(const char* name) { return *name >= '0' && *name <= '9'; }

std::string fileText(const std::string& path) {
    std::stringstream whole;
    whole << std::ifstream(path).rdbuf();
    return whole.str();
}

// The mask behind `name` in a process's status.
bool isPending(const std::string& status, const char* name, int signal) {
    const std::size_t at = status.find(name);
    return at != std::string::npos &&
           (std::stoull(status.substr(at + std::strlen(name)), nullptr, 16) >> (signal - 1) & 1) != 0;
}

// Whether it is a process that stays: one that has been killed ends when the host finds the time.
bool isProcess(const char* name) {
    constexpr unsigned kExiting = 0x4; // among the flags in its stat
    if (!isNumber(name))
        return false;
    const std::string folder = std::string("/proc/") + name;
    const std::string stat = fileText(folder + "/stat");
    const std::size_t behindName = stat.rfind(')');
    char state = 'X';
    unsigned flags = 0;
    if (behindName == std::string::npos ||
        std::sscanf(stat.c_str() + behindName, ") %c %*d %*d %*d %*d %*d %u", &state, &flags) != 2)
        return false;
    const std::string status = fileText(folder + "/status");
    return state != 'Z' && state != 'X' && (flags & kExiting) == 0 &&
           !isPending(status, "\nSigPnd:", SIGKILL) && !isPending(status, "\nShdPnd:", SIGKILL);
}

// What the C library takes when it is used for the first time, and keeps: for two threads at once, as the
// service has, for the service of names, which a connection to localhost asks, and for the rules of the time
// zone, which a date in the log asks.
void takeWhatIsKept() {
    static bool isTaken = false;
    if (isTaken)
        return;
    isTaken = true;
    std::thread first(usleep, kLookPeriodUs);
    std::thread second(usleep, kLookPeriodUs);
    first.join();
    second.join();
    addrinfo* addresses = nullptr;
    if (getaddrinfo("localhost", "2947", nullptr, &addresses) == 0)
        freeaddrinfo(addresses);
    getprotobyname("tcp");
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
}

std::string resources() {
    takeWhatIsKept();
    const std::size_t descriptors = entriesOf("/proc/self/fd", isNumber) - 1; // the folder's own
    const struct mallinfo2 heap = mallinfo2();
    return text("resources descriptors=%zu threads=%zu processes=%zu heap_kib=%.1f", descriptors,
                entriesOf("/proc/self/task", isNumber), entriesOf("/proc", isProcess),
                static_cast<double>(heap.uordblks + heap.hblkhd) / 1024);
}

// --- Steps ----------------------------------------------------------------------------------------------

[[noreturn]] void fail(const std::string& what) {
    std::cerr << "unit_probe: " << what << std::endl;
    exit(kExitUsage);
}

double number(const std::string& word) {
    char* end = nullptr;
    const double value = strtod_l(word.c_str(), &end, classicNumbers());
    if (word.empty() || *end != '\0')
        fail("'" + word + "' is no number");
    return value;
}

int32_t microdegrees(const std::string& degrees) {
    return static_cast<int32_t>(std::lround(number(degrees) * 1e6));
}

std::string joined(const Words& words, std::size_t first) {
    std::string line;
    for (std::size_t i = first; i < words.size(); ++i)
        line += (line.empty() ? "" : " ") + words[i];
    return line;
}

struct Setting {
    const char* name;
    void (*set)(GPSParams& params, double value);
};

const Setting kSettings[] = {
    {"enabled", [](GPSParams& p, double v) { p.enabled = v != 0; }},
    {"positionInterval", [](GPSParams& p, double v) { p.positionInterval = static_cast<uint32_t>(v); }},
    {"statusInterval", [](GPSParams& p, double v) { p.statusInterval = static_cast<uint32_t>(v); }},
    {"trackingEnabled", [](GPSParams& p, double v) { p.trackingEnabled = v != 0; }},
    {"trackingPeriod", [](GPSParams& p, double v) { p.trackingPeriod = static_cast<int32_t>(v); }},
    {"logInterval", [](GPSParams& p, double v) { p.logInterval = static_cast<uint32_t>(v); }},
    {"odometerValue", [](GPSParams& p, double v) { p.odometerValue = static_cast<uint32_t>(v); }},
    {"setOdometer", [](GPSParams& p, double v) { p.setOdometer = v != 0; }},
};

class Probe {
public:
    void carryOut(const std::string& line) {
        std::istringstream stream(line);
        const Words words{std::istream_iterator<std::string>(stream), {}};
        for (const Step& step : steps())
            if (!words.empty() && words[0] == step.name) {
                if (words.size() - 1 < step.leastArguments)
                    fail("too few arguments: " + line);
                (this->*step.carryOut)(words);
                return;
            }
        fail("unknown step: " + line);
    }

    int status() const { return missed_ ? kExitMissed : 0; }

private:
    struct Step {
        const char* name;
        std::size_t leastArguments;
        void (Probe::*carryOut)(const Words& words);
    };

    static const std::vector<Step>& steps() {
        static const std::vector<Step> table = {
            {"construct", 0, &Probe::construct},
            {"construct-without-callback", 0, &Probe::construct},
            {"destroy", 0, &Probe::destroy},
            {"initialize", 0, &Probe::callAdapter},
            {"start", 0, &Probe::callAdapter},
            {"stop", 0, &Probe::callAdapter},
            {"finalize", 0, &Probe::callAdapter},
            {"params", 1, &Probe::setParams},
            {"geofence", 5, &Probe::addGeofence},
            {"position", 3, &Probe::setInitialPosition},
            {"run", 1, &Probe::run},
            {"run-counting", 1, &Probe::runCounting},
            {"until", 3, &Probe::awaitEvents},
            {"forget", 0, &Probe::forgetEvents},
            {"until-reading", 2, &Probe::awaitReading},
            {"until-fix", 1, &Probe::awaitFix},
            {"until-state", 2, &Probe::awaitState},
            {"readings", 0, &Probe::printReadings},
            {"state", 0, &Probe::printState},
            {"resources", 0, &Probe::printResources},
            {"write", 2, &Probe::writeFile},
            {"shell", 1, &Probe::runShell},
            {"timer", 1, &Probe::startTimer},
            {"timer-here", 1, &Probe::startTimer},
            {"watch-port", 0, &Probe::watchPort},
            {"clock", 1, &Probe::setClock},
            {"clock-at", 1, &Probe::setClock},
            {"refuse", 1, &Probe::refuse},
            {"allow", 1, &Probe::refuse},
            {"descriptors", 1, &Probe::holdDescriptors},
            {"descriptor-limit", 1, &Probe::limitDescriptors},
            {"signals", 1, &Probe::sendSignals},
            {"ignore-children", 0, &Probe::ignoreChildren},
            {"fork", 2, &Probe::forkChildren},
            {"callback", 2, &Probe::setCallback},
            {"locale", 1, &Probe::setLocale},
            {"held", 0, &Probe::printHeld},
            {"driver", 0, &Probe::startDriver},
            {"poll", 1, &Probe::pollDriver},
            {"destroy-driver", 0, &Probe::destroyDriver},
        };
        return table;
    }

    GPSAdapter& adapter() {
        if (!adapter_)
            fail("there is no adapter");
        return *adapter_;
    }

    // Prints a line before and after, with what the call returned and how long it took.
    void timed(const std::string& name, const std::function<unsigned int()>& call) {
        print("begin " + name);
        const double begin = unitTime();
        const unsigned int rc = call();
        print("end " + name + text(" rc=0x%08X seconds=%.3f", rc, unitTime() - begin));
    }

    void await(const std::string& what, double seconds, const std::function<bool()>& isThere) {
        for (const double end = unitTime() + seconds; !isThere(); usleep(kLookPeriodUs)) {
            if (unitTime() < end)
                continue;
            print("missed what=" + what);
            missed_ = true;
            return;
        }
        print("seen what=" + what);
    }

    // --- The adapter ---

    void construct(const Words& words) {
        const bool withCallback = words[0] == "construct";
        timed("construct", [&] {
            adapter_.reset(new GPSAdapter(withCallback ? &events_ : nullptr));
            return 0u;
        });
    }

    void destroy(const Words&) {
        timed("destroy", [this] {
            adapter_.reset();
            return 0u;
        });
    }

    void callAdapter(const Words& words) { call(words[0]); }

    void call(const std::string& name) {
        static constexpr std::pair<const char*, unsigned int (GPSAdapter::*)()> operations[] = {
            {"initialize", &GPSAdapter::Initialize},
            {"start", &GPSAdapter::Start},
            {"stop", &GPSAdapter::Stop},
            {"finalize", &GPSAdapter::Finalize}};
        for (const auto& [known, operation] : operations)
            if (name == known)
                timed(name, [this, called = operation] { return (adapter().*called)(); });
    }

    void setParams(const Words& words) {
        GPSParams params;
        adapter().GetParams(params);
        params.setOdometer = false;
        for (const auto& field : fieldsOf(joined(words, 1)))
            setParam(params, field.first, number(field.second));
        adapter().SetParams(params);
    }

    static void setParam(GPSParams& params, const std::string& name, double value) {
        for (const Setting& setting : kSettings)
            if (name == setting.name) {
                setting.set(params, value);
                return;
            }
        fail("unknown setting: " + name);
    }

    void addGeofence(const Words& words) {
        GPSParams params;
        adapter().GetParams(params);
        if (geofences_ >= adapter().GetMaxGeoFences())
            fail("too many geofences");
        GPSGeofence& geofence = params.geofences[geofences_++];
        geofence.name.setStr(words[1].c_str());
        geofence.latitude = microdegrees(words[2]);
        geofence.longitude = microdegrees(words[3]);
        geofence.width = static_cast<uint32_t>(number(words[4]));
        geofence.height = static_cast<uint32_t>(number(words[5]));
        geofence.margin = words.size() > 6 ? static_cast<uint32_t>(number(words[6])) : 0;
        params.setOdometer = false;
        params.geofencesEnabled = true;
        adapter().SetParams(params);
    }

    void setInitialPosition(const Words& words) {
        timed("position", [&] {
            return adapter().setInitialPosition(
                static_cast<unsigned int>(microdegrees(words[1])),
                static_cast<unsigned int>(microdegrees(words[2])),
                static_cast<unsigned int>(std::lround(number(words[3]) * 1e3)));
        });
    }

    std::string readings() {
        GPSReadings readings;
        adapter().GetReadings(readings);
        return describe(readings);
    }

    void printReadings(const Words&) { print("readings " + readings()); }

    // --- Waiting ---

    void run(const Words& words) {
        for (const double end = unitTime() + number(words[1]); unitTime() < end;)
            usleep(kLookPeriodUs);
    }

    void runCounting(const Words& words) {
        const double begin = unitTime();
        int pauses = 0;
        for (; unitTime() < begin + number(words[1]); ++pauses)
            usleep(kLookPeriodUs);
        print(text("ran pauses=%d seconds=%.3f", pauses, unitTime() - begin));
    }

    void awaitEvents(const Words& words) {
        const std::size_t comma = std::min(words[1].find(','), words[1].size());
        const Fields fields = fieldsOf(words[1].substr(std::min(comma + 1, words[1].size())));
        const double deadline = unitTime() + number(words[3]);
        for (int left = static_cast<int>(number(words[2])); left > 0; --left)
            await(words[1], deadline - unitTime(),
                  [&] { return events_.take(words[1].substr(0, comma), fields); });
    }

    void forgetEvents(const Words&) { events_.takeAll(); }

    void awaitReading(const Words& words) {
        const std::size_t sign = words[1].find_first_of("=>");
        if (sign == std::string::npos)
            fail("no condition: " + words[1]);
        const std::string name = words[1].substr(0, sign);
        const double value = number(words[1].substr(sign + 1));
        await(words[1], number(words[2]), [&] {
            const double reading = number(fieldsOf(readings())[name]);
            return words[1][sign] == '>' ? reading > value : std::fabs(reading - value) < 1e-9;
        });
    }

    int32_t fixTime() {
        GPSReadings readings;
        adapter().GetReadings(readings);
        return readings.data.time;
    }

    void awaitFix(const Words& words) {
        const int32_t before = fixTime();
        await("fix", number(words[1]), [&] { return fixTime() != before; });
    }

    // One word a value: blanks become underscores.
    static Fields receiverState() {
        std::ifstream file(kReceiverState);
        std::string words;
        for (std::string line; std::getline(file, line); words += line + "\n")
            std::replace(line.begin(), line.end(), ' ', '_');
        return fieldsOf(words);
    }

    void awaitState(const Words& words) {
        await(words[1], number(words[2]), [&] {
            const Fields wanted = fieldsOf(words[1]);
            return !wanted.empty() && receiverState()[wanted.begin()->first] == wanted.begin()->second;
        });
    }

    void printState(const Words&) {
        std::string line = "state";
        for (const auto& field : receiverState())
            line += " " + field.first + "=" + field.second;
        print(line);
    }

    void printResources(const Words&) { print(resources()); }

    // --- The world around ---

    void writeFile(const Words& words) {
        print("write file=" + words[1]);
        std::ofstream file(words[1]);
        file << joined(words, 2) << std::endl;
        if (!file)
            fail("cannot write " + words[1]);
    }

    void runShell(const Words& words) {
        print("begin shell");
        FILE* const stream = popen(joined(words, 1).c_str(), "r");
        if (stream == nullptr)
            fail("cannot run: " + joined(words, 1));
        for (char line[1024]; fgets(line, sizeof line, stream) != nullptr;)
            std::cout << "output " << line;
        print(text("end shell status=%d", pclose(stream)));
    }

    // The kernel hands the signal to the main thread as long as that takes it, and no other would be
    // disturbed.
    void startTimer(const Words& words) {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(words[0] == "timer-here" ? SIG_UNBLOCK : SIG_BLOCK, &alarm, nullptr);
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        action.sa_flags = SA_RESTART;
        sigaction(SIGALRM, &action, nullptr);
        const double rate = number(words[1]) * unitSpeed();
        const auto periodUs = static_cast<suseconds_t>(rate > 0 ? 1e6 / rate : 0);
        const itimerval period = {{0, periodUs}, {0, periodUs}};
        if (setitimer(ITIMER_REAL, &period, nullptr) != 0)
            fail("the timer does not start");
    }

    // Timers count the host's time.
    static double unitSpeed() {
        const char* const speed = getenv("UNIT_SPEED");
        return speed == nullptr ? 1 : number(speed);
    }

    void watchPort(const Words&) { portWatch_.begin(); }

    // --- What the process does to itself ---

    static void setClock(double ahead) {
        print(text("clock ahead=%.0f", ahead));
        processfaults::shiftClock(static_cast<int64_t>(ahead));
    }

    void setClock(const Words& words) {
        setClock(std::floor(number(words[1]) - (words[0] == "clock-at" ? unitTime() : 0)));
    }

    void refuse(const Words& words) {
        const bool refused = words[0] == "refuse";
        print(words[0] + " what=" + words[1]);
        if (words[1] == "threads")
            processfaults::refuseThreads(refused);
        else if (words[1] == "processes")
            processfaults::refuseProcesses(refused);
        else
            fail("refuses no " + words[1]);
    }

    void holdDescriptors(const Words& words) {
        processfaults::holdDescriptors(static_cast<int>(number(words[1])), words.size() == 2);
    }

    void limitDescriptors(const Words& words) {
        if (!processfaults::limitDescriptors(static_cast<unsigned int>(number(words[1]))))
            fail("no such limit: " + words[1]);
    }

    void sendSignals(const Words& words) {
        const double rate = number(words[1]);
        if (rate > 0)
            signals_.begin({SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGCHLD, SIGUSR1, SIGUSR2, SIGRTMIN + 1},
                           rate);
        else
            print("signals " + signals_.end());
    }

    void ignoreChildren(const Words&) { signal(SIGCHLD, SIG_IGN); }

    void forkChildren(const Words& words) {
        int well = 0;
        for (int i = static_cast<int>(number(words[2])); i > 0; --i)
            well += forkChild(words[1]) ? 1 : 0;
        print(text("forked well=%d", well));
    }

    bool forkChild(const std::string& way) {
        if (way == "readings")
            return processfaults::childComesBackFrom([this] { readings(); }, kReadingsSeconds / unitSpeed());
        if (way == "destroy")
            return processfaults::childComesBackFrom([this] { destroy({}); }, kDestroySeconds / unitSpeed());
        return processfaults::forks(way);
    }

    void setCallback(const Words& words) {
        events_.onNext(words[1], [this, what = joined(words, 2)] { misbehave(what); });
    }

    // On the library's thread, in a callback.
    void misbehave(const std::string& what) {
        const std::string name = what.substr(0, what.find(' '));
        print("misbehaves what=" + name);
        if (what == "throw")
            throw std::runtime_error("a callback's");
        carryOut(isNumber(what.c_str()) ? "run " + what : what);
        print("behaves what=" + name);
    }

    void setLocale(const Words& words) { std::locale::global(std::locale(words[1].c_str())); }

    void printHeld(const Words&) { print("held " + processfaults::held()); }

    // --- A driver without an adapter ---

    void startDriver(const Words&) {
        timed("driver", [this] {
            driver_.reset(GPSHAL::GetNewInstance());
            const unsigned int rc = driver_->Initialize();
            return rc != 0 ? rc : driver_->Start();
        });
    }

    void pollDriver(const Words& words) {
        if (!driver_)
            fail("there is no driver");
        const double end = unitTime() + number(words[1]);
        const double patience = number(words.size() > 2 ? words[2] : words[1]);
        for (double last = unitTime(); unitTime() < std::min(end, last + patience);
             usleep(kDriverPollPeriodUs))
            if (askDriver())
                last = unitTime();
    }

    // True when the answer is another one than before.
    bool askDriver() {
        GPSData data;
        const unsigned int rc = driver_->GetData(data);
        const std::string answer = text("fix rc=0x%08X ", rc) + describe(data);
        if (answer == lastAnswer_)
            return false;
        print(answer);
        lastAnswer_ = answer;
        return true;
    }

    void destroyDriver(const Words&) {
        timed("destroy-driver", [this] {
            driver_.reset();
            return 0u;
        });
    }

    Events events_;
    std::unique_ptr<GPSAdapter> adapter_;
    std::unique_ptr<GPSHAL> driver_;
    std::size_t geofences_ = 0;
    std::string lastAnswer_;
    bool missed_ = false;
    processfaults::SignalStorm signals_;
    PortWatch portWatch_; // last: ends first
};

} // namespace

int main(int argc, char** argv) {
    Probe probe;
    for (int i = 1; i < argc; ++i)
        probe.carryOut(argv[i]);
    return probe.status();
}
