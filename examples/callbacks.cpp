// Events: the service's thread leaves notes, the application's own thread reads them and asks the service for
// more. Runs until Ctrl-C or SIGTERM.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <mutex>

#include "GPSAdapter.h"
#include "OnAUnit.h"

namespace {

constexpr uint32_t kPollMilliseconds = 200;

/// The one state that each platform has under this number; its name is the vendor's.
constexpr GPSAntennaState kInOrder = GPSAntennaState(1);

struct Note {
    char text[96];
};

/// What the service has told. Five of its six calls come with the adapter's lock held, so none of them asks
/// the adapter anything, none of them waits, and none of them throws: there is room for so many notes and no
/// memory is taken for one. Whoever reads too late loses notes, and is told how many.
class Notes final : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence& geofence) override {
        return note("left %s", geofence.name.getStr());
    }

    unsigned int OnGeofenceEntered(const GPSGeofence& geofence) override {
        return note("entered %s", geofence.name.getStr());
    }

    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString&, bool&) override {
        return note("antenna %s", state == kInOrder ? "in order" : "not in order");
    }

    unsigned int OnAvailabilityChanged(bool available) override {
        return note("%s", available ? "available" : "not available");
    }

    unsigned int OnPositionUpdate() override { return note("%s", "position"); }

    /// What comes by reference is the adapter's and holds during the call: whatever is needed later is
    /// copied.
    unsigned int OnTracking(const GPSData& data) override {
        char position[48] = "nothing yet";
        if (data.valid)
            std::snprintf(position, sizeof position, "%.6f, %.6f", data.latitude / 1e6, data.longitude / 1e6);
        return note("tracking %s", position);
    }

    /// The oldest note, and whether there was one.
    bool take(Note& oldest) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (count_ == 0)
            return false;
        oldest = notes_[first_];
        first_ = (first_ + 1) % kRoom;
        --count_;
        return true;
    }

    unsigned int lost() const { return lost_; }

private:
    static constexpr unsigned int kRoom = 64;

    unsigned int note(const char* format, const char* word) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (count_ == kRoom) {
            ++lost_;
            return GPS_ERR_FAILED; // the adapter hands it on to whoever called, here its own worker
        }
        Note& next = notes_[(first_ + count_++) % kRoom];
        std::snprintf(next.text, sizeof next.text, format, word);
        return 0;
    }

    std::mutex mutex_; ///< guards what follows; held for a copy
    Note notes_[kRoom];
    unsigned int first_ = 0;
    unsigned int count_ = 0;
    unsigned int lost_ = 0;
};

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

void requestTracking(GPSAdapter& gps) {
    GPSParams params;
    gps.GetParams(params); // the defaults, not those of a fresh record
    params.trackingEnabled = true;
    params.trackingPeriod = 10; // each time that UTC is a multiple of ten seconds
    gps.SetParams(params);
}

/// On the application's own thread the service may be asked.
void tell(GPSAdapter& gps, const Note& note) {
    GPSReadings readings;
    gps.GetReadings(readings);
    std::printf("%-32s satellites %u, fix %s\n", note.text,
                static_cast<unsigned int>(readings.satelliteCount), readings.available ? "good" : "none");
}

} // namespace

int main() {
    if (!isOnAUnit("callbacks"))
        return 1;
    std::setvbuf(stdout, nullptr, _IOLBF,
                 0); // a line is seen when it is there, also by a program that reads them
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    Notes notes; // lives longer than the adapter
    GPSAdapter gps(&notes);
    requestTracking(gps);
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    while (!stopRequested) {
        ruxosleep_interruptible(kPollMilliseconds);
        for (Note note; notes.take(note);)
            tell(gps, note);
    }
    gps.Finalize(); // no call comes behind this
    std::printf("the end, %u notes lost\n", notes.lost());
}
