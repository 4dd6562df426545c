// Whoever holds port 2947 sends what it likes: libgps itself takes it apart, the reader thread copies it, and
// each query gives what an own reckoning over libgps's records says, in the application's units and never out
// of range.
//
// Input: gpsd's text. In it 01 ends a piece that comes by itself, 02 is a silent wait, 03 ten seconds, 04
// half an hour, 05 the end of gpsd, 06 and a byte an antenna's state, 07 and a byte its error code.

#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <memory>

#include "DriverMembers.h"
#include "FuzzGround.h"
#include "GpsRecord.h"
#include "RealLibgps.h"

namespace {

// --- What the driver must say ---------------------------------------------------------------------------

/// Truncated toward zero, ending at the type's limits; no number is 0.
template <typename Integer>
Integer whole(double value) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(value))
        return 0;
    const double least = Limits::min();
    const double most = Limits::max();
    return value <= least  ? Limits::min()
           : value >= most ? Limits::max()
                           : static_cast<Integer>(std::trunc(value));
}

float single(double value) {
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        return std::copysign(std::numeric_limits<float>::infinity(), static_cast<float>(value > 0 ? 1 : -1));
    return static_cast<float>(value);
}

bool areSame(float left, float right) { return left == right || (std::isnan(left) && std::isnan(right)); }

template <typename Time>
int32_t wholeSeconds(const Time& time) {
    if constexpr (kTimeIsADouble<gps_data_t>)
        return whole<int32_t>(time);
    else // a time before 1970 counts its fraction upwards
        return whole<int32_t>(static_cast<double>(time.tv_sec) +
                              (time.tv_sec < 0 && time.tv_nsec > 0 ? 1 : 0));
}

template <typename Fix>
double altitudeOf(const Fix& fix) {
    if constexpr (kTellsAltitudesApart<gps_data_t>)
        return std::isfinite(fix.altMSL) ? fix.altMSL : fix.altHAE;
    else
        return fix.altitude;
}

/// Each group of values with the time at which it last came.
class Expected {
public:
    static constexpr gps_mask_t kDop = TIME_SET | LATLON_SET | ALTITUDE_SET | SATELLITE_SET;

    void forget() { arrival_.clear(); }

    void take(const gps_data_t& record, time_t time) {
        const auto copy = std::make_shared<const gps_data_t>(record);
        for (const gps_mask_t group :
             {gps_mask_t{STATUS_SET}, gps_mask_t{TIME_SET}, gps_mask_t{LATLON_SET}, gps_mask_t{ALTITUDE_SET},
              gps_mask_t{TRACK_SET}, gps_mask_t{SPEED_SET}, gps_mask_t{SATELLITE_SET}, gps_mask_t{TIMERR_SET},
              gps_mask_t{HERR_SET}, kDop})
            if ((record.set & group) == group)
                arrival_[group] = {time, copy};
    }

    void demandTheFix(const GPSData& data, time_t now, bool antennaIsGood) {
        demand(data.valid == (fresh(STATUS_SET, now) != nullptr && antennaIsGood), "valid");
        const auto* r = fresh(TIME_SET, now);
        demand(data.time == (r == nullptr ? 0 : wholeSeconds(r->fix.time)), "time");
        r = fresh(LATLON_SET, now);
        demand(data.latitude == (r == nullptr ? 0 : whole<int32_t>(r->fix.latitude * 1e6)), "latitude");
        demand(data.longitude == (r == nullptr ? 0 : whole<int32_t>(r->fix.longitude * 1e6)), "longitude");
        r = fresh(ALTITUDE_SET, now);
        demand(data.altitude == (r == nullptr ? 0 : whole<int32_t>(altitudeOf(r->fix) * 1e3)), "altitude");
        r = fresh(TRACK_SET, now);
        demand(data.course == (r == nullptr ? 0u : whole<uint32_t>(r->fix.track * 1e3)), "course");
        r = fresh(SPEED_SET, now);
        demand(data.speed == (r == nullptr ? 0u : whole<uint32_t>(r->fix.speed * 1e3)), "speed");
        r = fresh(kDop, now);
        demand(areSame(data.hdop, r == nullptr ? 0 : single(r->dop.hdop)), "hdop");
        demand(areSame(data.tdop, r == nullptr ? 0 : single(r->dop.tdop)), "tdop");
        demand(areSame(data.pdop, r == nullptr ? 0 : single(r->dop.pdop)), "pdop");
        demand(areSame(data.gdop, r == nullptr ? 0 : single(r->dop.gdop)), "gdop");
    }

    void demandTheErrors(unsigned int horizontal, int time, time_t now) {
        const auto* r = fresh(TIMERR_SET, now);
        demand(time == (r == nullptr ? 0 : whole<int32_t>(r->fix.ept * 1000)), "time error");
        r = fresh(HERR_SET, now);
        const float sum = r == nullptr ? 0 : single(r->fix.epx * r->fix.epx + r->fix.epy * r->fix.epy);
        demand(horizontal == whole<uint32_t>(std::sqrt(static_cast<double>(sum))), "horizontal error");
    }

    void demandTheSky(unsigned int result, unsigned int snr, unsigned int visible, time_t now) {
        const auto* r = fresh(SATELLITE_SET, now);
        demand(result == (r == nullptr ? unsigned{GPS_ERR_NO_CURRENT_DATA} : 0u), "sky's result");
        demand(visible == (r == nullptr ? 0u : static_cast<unsigned int>(r->satellites_visible)), "visible");
        demand(snr == (r == nullptr ? 0u : meanSnr(*r)), "signal to noise");
    }

    void demandTheTime(unsigned int result, long utc, time_t now) {
        const auto* r = fresh(TIME_SET, now);
        demand(result == (r == nullptr ? unsigned{GPS_ERR_NO_CURRENT_DATA} : 0u), "time's result");
        demand(utc == (r == nullptr ? 0 : wholeSeconds(r->fix.time)), "current time");
    }

    bool hasStatus(time_t now) { return fresh(STATUS_SET, now) != nullptr; }

private:
    const gps_data_t* fresh(gps_mask_t group, time_t now) {
        const auto found = arrival_.find(group);
        return found != arrival_.end() && found->second.time >= now - 10 ? found->second.record.get()
                                                                         : nullptr;
    }
    static unsigned int meanSnr(const gps_data_t& r) {
        unsigned int sum = 0;
        const int room = static_cast<int>(std::min(std::size(r.skyview), std::size_t{235}));
        for (int i = 0; i < std::min(static_cast<int>(r.satellites_visible), room); ++i)
            sum += r.skyview[i].used ? whole<uint32_t>(static_cast<double>(r.skyview[i].ss)) : 0;
        const auto used = static_cast<unsigned int>(r.satellites_used);
        return used == 0 ? 0 : sum / used;
    }

    struct Arrival {
        time_t time;
        std::shared_ptr<const gps_data_t> record;
    };
    std::map<gps_mask_t, Arrival> arrival_;
};

// --- The ground -----------------------------------------------------------------------------------------

/// A started driver on a virtual unit whose libgps is the real one, and whose gpsd is the fuzzer.
class Reader : public OtherLibgps {
public:
    static Reader& fresh() {
        static std::unique_ptr<Reader> only;
        static unsigned int uses = 0;
        constexpr unsigned int kUsesOfOne = 1000; // the unit counts its sleeps and threads
        if (uses++ % kUsesOfOne == 0) {
            only.reset();
            only = std::make_unique<Reader>();
        }
        return *only;
    }

    Reader() {
        demandExpectations();
        unit_.gpsd.other = this;
        driver_ = std::make_unique<GPSHAL_RUXO_3>();
        driver_->Initialize();
        unit_.clock.advance(std::chrono::seconds(3));
    }

    void run(FuzzInput& input) {
        input_ = &input;
        unit_.hal.antennaState = GPS_ANTENNA_OK;
        unit_.hal.antennaResult = 0;
        expected_.forget();
        noDataReadCounter() = 0;
        driver_->Start();
        unit_.forget();
        isFirst_ = true;
        unit_.threads.run();
        demandTheQueries();
        demandAllowedCommands(unit_.journal.lines());
        demand(unit_.journal.count("system ") + unit_.journal.count("popen ") == 0,
               "a report runs no command");
        driver_->Stop();
    }

    // --- OtherLibgps ----------------------------------------------------------------------------------

    int open(gps_data_t* record) override { return libgps_.open(record); }
    int stream(gps_data_t* record, unsigned int flags) override { return libgps_.stream(record, flags); }
    int close(gps_data_t* record) override { return libgps_.close(record); }

    bool waiting(const gps_data_t* record, int) override {
        if (!isFirst_)
            demandTheQueries();
        isFirst_ = false;
        cycleTime_ = unit_.clock.utc();
        // What can't be read any further, half a line or a gpsd that has gone, makes each wait short.
        bool isThere = bringsData_ && libgps_.waiting(record);
        while (!isThere && !input_->isEmpty() && goOn())
            isThere = libgps_.waiting(record);
        bringsData_ = true;
        if (isThere)
            return true;
        emptyCycles_ = 1;
        ((*driver_).*memberOf(DriverReader())).stopRequested = input_->isEmpty();
        return false;
    }

    int read(gps_data_t* record) override {
        const int result = libgps_.read(record);
        bringsData_ = result > 0;
        emptyCycles_ = bringsData_ ? 0 : 1;
        expected_.take(*record, cycleTime_);
        return result;
    }

private:
    static constexpr std::chrono::seconds kPauses[] = {std::chrono::seconds(5), std::chrono::seconds(10),
                                                       std::chrono::minutes(30)};

    /// Plays the input's next piece, a text or what stands behind it; false for a silent wait.
    bool goOn() {
        const std::string text = input_->until("\x01\x02\x03\x04\x05\x06\x07");
        libgps_.sends(text);
        if (!text.empty())
            return true;
        const uint8_t what = input_->byte();
        if (what >= 2 && what <= 4) {
            unit_.clock.advance(kPauses[what - 2]);
            return false;
        }
        if (what == 5)
            libgps_.hangUp();
        if (what == 6)
            unit_.hal.antennaState = static_cast<GPSAntennaState>(input_->byte() % 8);
        if (what == 7)
            unit_.hal.antennaResult = input_->byte();
        return true;
    }

    void demandTheQueries() {
        demand(noDataReadCounter() == emptyCycles_, "a cycle counts as empty when it brought nothing");
        emptyCycles_ = noDataReadCounter() = 0; // no restart
        const time_t now = unit_.clock.utc();
        const bool antennaIsGood = unit_.hal.antennaState == GPS_ANTENNA_OK && unit_.hal.antennaResult == 0;
        GPSData data;
        driver_->GetData(data);
        expected_.demandTheFix(data, now, antennaIsGood);
        unsigned int horizontal = 1;
        int time = 1;
        demand(driver_->GetErrorEstimates(horizontal, time) == 0, "errors' result");
        expected_.demandTheErrors(horizontal, time, now);
        unsigned int snr = 1;
        unsigned int visible = 1;
        const unsigned int skyResult = driver_->GetSatellites(snr, visible);
        expected_.demandTheSky(skyResult, snr, visible, now);
        long utc = 1;
        const unsigned int timeResult = driver_->GetCurrentTime(utc);
        expected_.demandTheTime(timeResult, utc, now);
        bool receiving = false;
        demand(driver_->GetStatus(receiving) == 0 && receiving == expected_.hasStatus(now), "status");
    }

    VirtualUnit unit_;
    RealLibgps libgps_;
    std::unique_ptr<GPSHAL_RUXO_3> driver_;
    FuzzInput* input_ = nullptr;
    Expected expected_;
    time_t cycleTime_ = 0;
    bool isFirst_ = true;
    bool bringsData_ = true;
    unsigned int emptyCycles_ = 0;
};

} // namespace

/// libgps asks itself for one object of a line after the other. An object that is followed by what begins
/// none keeps it at that place for ever (seen with 3.22; Libgps.IsHeldForeverByWhatFollowsAnObjectInItsLine):
/// here it goes on.
extern "C" int libgps_json_unpack(const char* text, gps_data_t* record, const char** end) {
    using Unpack = int (*)(const char*, gps_data_t*, const char**);
    static const auto next = reinterpret_cast<Unpack>(dlsym(RTLD_NEXT, "libgps_json_unpack"));
    const int result = next(text, record, end);
    if (end != nullptr && *end == text)
        *end = nullptr;
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Reader::fresh().run(input);
    return 0;
}
