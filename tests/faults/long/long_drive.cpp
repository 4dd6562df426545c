// long_drive SECONDS KILL_EVERY NAME,LAT,LON,WIDTH,HEIGHT ...
//
// The application of the long drive: serves SECONDS of the unit's time, kills gpsd every KILL_EVERY seconds
// on its way, and prints a line for each event, each new fix and, after the first minute, every hour and at
// the end, for what it and the unit hold. `long-drive` runs it; `judge` reads its lines, by which it is known
// how far it has come. It keeps nothing, so that what grows is the library's.

#include <dirent.h>
#include <malloc.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "GPSAdapter.h"

namespace {

constexpr useconds_t kLookUs = 100000;
constexpr double kFirstMinuteS = 60;
constexpr double kHourS = 3600;
constexpr double kFirstFixS = 120;
constexpr uint32_t kTrackingPeriodS = 60;
constexpr char kReceiverControl[] = "/run/unit/receiver.control";

double unitTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// A line in one write: the worker prints as well.
void print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void print(const char* format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    length +=
        snprintf(line + length, sizeof line - static_cast<std::size_t>(length), " t=%.3f\n", unitTime());
    if (write(STDOUT_FILENO, line, static_cast<std::size_t>(length)) != length)
        _exit(1);
}

// --- Events ---------------------------------------------------------------------------------------------

class Events : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence& geofence) override {
        print("event left name=%s", geofence.name.getStr());
        return 0;
    }
    unsigned int OnGeofenceEntered(const GPSGeofence& geofence) override {
        print("event entered name=%s", geofence.name.getStr());
        return 0;
    }
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString&, bool&) override {
        print("event antenna state=%u", static_cast<unsigned>(state));
        return 0;
    }
    unsigned int OnAvailabilityChanged(bool available) override {
        print("event availability available=%d", available);
        return 0;
    }
    unsigned int OnPositionUpdate() override {
        print("event position");
        return 0;
    }
    unsigned int OnTracking(const GPSData& data) override {
        print("event tracking valid=%d", data.valid);
        return 0;
    }
};

// --- What is held ---------------------------------------------------------------------------------------

/// Calls `take` with each entry of a folder of numbers, as /proc and /proc/self/task are.
void eachNumberIn(const char* path, const std::function<void(const char*)>& take) {
    DIR* const folder = opendir(path);
    for (const dirent* entry = readdir(folder); entry != nullptr; entry = readdir(folder))
        if (std::strchr("123456789", entry->d_name[0]) != nullptr || std::strcmp(entry->d_name, "0") == 0)
            take(entry->d_name);
    closedir(folder);
}

int countIn(const char* path) {
    int count = 0;
    eachNumberIn(path, [&](const char*) { ++count; });
    return count;
}

/// Of /proc/self/status, in KiB.
long statusKib(const std::string& field) {
    std::ifstream file("/proc/self/status");
    long kib = -1;
    for (std::string word; file >> word;)
        if (word == field + ":")
            file >> kib;
    return kib;
}

void sample(const char* when) {
    print("sample %s heap=%zu anonymous_kib=%ld descriptors=%d threads=%d processes=%d", when,
          mallinfo2().uordblks, statusKib("RssAnon"), countIn("/proc/self/fd"), countIn("/proc/self/task"),
          countIn("/proc"));
}

// --- The drive ------------------------------------------------------------------------------------------

void killGpsd() {
    eachNumberIn("/proc", [](const char* process) {
        std::string name;
        std::ifstream(std::string("/proc/") + process + "/comm") >> name;
        if (name == "gpsd")
            kill(std::atoi(process), SIGKILL);
    });
    print("killed gpsd heap=%zu", mallinfo2().uordblks);
}

GPSGeofence& addGeofence(GPSParams& params, int index, const std::string& words) {
    std::istringstream stream(words);
    std::string parts[5];
    for (std::string& part : parts)
        std::getline(stream, part, ',');
    GPSGeofence& geofence = params.geofences[index];
    geofence.name.setStr(parts[0].c_str());
    geofence.latitude = static_cast<int32_t>(std::lround(std::atof(parts[1].c_str()) * 1e6));
    geofence.longitude = static_cast<int32_t>(std::lround(std::atof(parts[2].c_str()) * 1e6));
    geofence.width = static_cast<uint32_t>(std::atoi(parts[3].c_str()));
    geofence.height = static_cast<uint32_t>(std::atoi(parts[4].c_str()));
    return geofence;
}

void setParams(GPSAdapter& gps, int count, char** geofences) {
    GPSParams params;
    gps.GetParams(params);
    params.enabled = true;
    params.trackingEnabled = true;
    params.trackingPeriod = kTrackingPeriodS;
    params.geofencesEnabled = true;
    for (int i = 0; i < count; ++i)
        addGeofence(params, i, geofences[i]);
    gps.SetParams(params);
}

/// Looks for new fixes, and does what is due on the way.
class Drive {
public:
    Drive(GPSAdapter& gps, double seconds, double killEveryS)
        : gps_(gps), seconds_(seconds), killEveryS_(killEveryS), nextKillS_(killEveryS) {}

    bool awaitTheFirstFix() {
        for (const double end = unitTime() + kFirstFixS; unitTime() < end; usleep(kLookUs))
            if (look())
                return true;
        return false;
    }

    void run() {
        begin_ = unitTime();
        std::ofstream(kReceiverControl) << "go" << std::endl;
        print("gone kill_every=%.0f", killEveryS_);
        for (double driven = 0; driven < seconds_; driven = unitTime() - begin_) {
            look();
            doWhatIsDue(driven);
            usleep(kLookUs);
        }
        sample("end");
    }

private:
    bool look() {
        GPSReadings readings;
        gps_.GetReadings(readings);
        if (!readings.data.valid || readings.data.time == lastTime_)
            return false;
        lastTime_ = readings.data.time;
        print("fix time=%d lat=%d lon=%d odometer=%u error=%u", lastTime_, readings.data.latitude,
              readings.data.longitude, readings.odometer, readings.horizontalError);
        return true;
    }

    void doWhatIsDue(double driven) {
        if (driven >= nextSampleS_) {
            sample(nextSampleS_ == kFirstMinuteS ? "minute" : "hour");
            nextSampleS_ = (std::floor(driven / kHourS) + 1) * kHourS - kFirstMinuteS;
        }
        if (driven >= nextKillS_) {
            nextKillS_ += killEveryS_;
            killGpsd();
        }
    }

    GPSAdapter& gps_;
    double seconds_;
    double killEveryS_;
    double begin_ = 0;
    double nextSampleS_ = kFirstMinuteS;
    double nextKillS_;
    int32_t lastTime_ = 0;
};

int drive(GPSAdapter& gps, char** arguments) {
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    print("started");
    Drive drive(gps, std::atof(arguments[1]), std::atof(arguments[2]));
    if (!drive.awaitTheFirstFix())
        return 1;
    drive.run();
    gps.Stop();
    gps.Finalize();
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count < 3)
        return 2;
    Events events;
    GPSAdapter gps(&events);
    setParams(gps, count - 3, arguments + 3);
    const int status = drive(gps, arguments);
    print("ended status=%d", status);
    return status;
}
