// Settings, reports and clocks of any kind, through the worker's whole cycle with the real driver under the
// adapter: each callback and each reading is what the model says.
//
// Input: the odometer's warm-up, then steps, each a byte and what it takes (`Service::step` names them); a
// cycle of the worker lies where one says so.

#include <cmath>
#include <memory>

#include "AdapterMembers.h"
#include "CycleModel.h"
#include "DriverMembers.h"
#include "FuzzGround.h"
#include "RecordingCallback.h"

namespace {

using Receiver = CycleModel::Receiver;

constexpr double kWildNumbers[] = {0.0,    -0.0, 1.0,         -1.0, 1e-9,  90.0,   -90.0,    180.0,
                                   -180.0, 10.0, 2147.483647, 1e10, 1e308, -1e308, INFINITY, NAN};
constexpr int32_t kWarmupOfAReset = 180;
constexpr int32_t kFarthestUtc = 2146000000;
constexpr unsigned int kMostCycles = 600;
constexpr uint32_t kWildWholes[] = {0,          1,          2,          4294,       4295, 0x7FFFFFFF,
                                    0x80000000, 0xFFFFFFFF, 0x80000001, 0xFFFFFFFE, 900,  0x1000};

class Service {
    template <typename Tag>
    auto& member(Tag tag) {
        return (*adapter_).*memberOf(tag);
    }

public:
    static Service& fresh() {
        static std::unique_ptr<Service> only;
        static unsigned int uses = 0;
        constexpr unsigned int kUsesOfOne = 500; // the unit counts its sleeps and threads
        if (uses++ % kUsesOfOne == 0) {
            only.reset();
            only = std::make_unique<Service>();
        }
        return *only;
    }

    Service() : adapter_(std::make_unique<GPSAdapter>(&callback_)) {
        demandExpectations();
        callback_.lock = &member(AdapterLock());
        adapter_->Initialize();
        unit_.clock.advance(std::chrono::seconds(3));
        driver().Start();
        unit_.shell.listeners.push_back([this](const std::string&) { runsCommands_ = true; });
    }
    ~Service() { unit_.clock.afterEachSleep = nullptr; }

    void run(FuzzInput& input) {
        begin(input);
        unit_.clock.afterEachSleep = [&](VirtualClock::Duration slept) {
            if (!isRestarting())
                goOn(input, slept);
        };
        beginCycle();
        worker().Run();
        unit_.clock.afterEachSleep = nullptr;
        demandAllowedCommands(unit_.journal.take());
    }

private:
    GPSTimedWorker& worker() { return *member(AdapterWorker()); }
    GPSHAL_RUXO_3& driver() { return *static_cast<GPSHAL_RUXO_3*>(member(AdapterHal())); }
    ReaderBlock& block() { return driver().*memberOf(DriverReader()); }

    /// The adapter's state behind `ResetParams` and an own warm-up, a receiver that has said nothing.
    void begin(FuzzInput& input) {
        unit_.clock.setUtc(VirtualClock::kStartUtc);
        unit_.clock.setTick(VirtualClock::kStartTick);
        unit_.hal.antennaState = GPS_ANTENNA_OK;
        unit_.hal.antennaResult = 0;
        callback_.result = 0;
        adapter_->SetParams(GPSParams());
        adapter_->ResetParams();
        adapter_->SetNTPServiceAvailable(false);
        member(AdapterValidFixCounter()) = 0;
        noDataReadCounter() = 0;
        worker().*memberOf(WorkerStopRequested()) = false;
        receiver_ = Receiver();
        block() = ReaderBlock();
        report(0);
        const auto warmup = static_cast<int32_t>(input.byte() % 8);
        member(AdapterOdometerWarmup()) = warmup;
        model_ = std::make_unique<CycleModel>(warmup);
        cycles_ = 0;
        allCycles_ = 0;
        reports_ = 0;
        GPSParams params = model_->params();
        params.positionInterval = nextNumber(input); // the worker's sleep for good
        set(params);
        unit_.forget();
    }

    // --- Cycles ---------------------------------------------------------------------------------------

    /// Sleeps of a restart are not the worker's.
    bool isRestarting() const { return runsCommands_ && noDataReadCounter() > 10; }

    void beginCycle() {
        runsCommands_ = false;
        begun_ = {unit_.clock.tick(), unit_.clock.utc(), 0, 0};
        restarts_ = noDataReadCounter() > 10 && model_->asksForAFix(begun_.tick);
    }

    /// Behind a cycle and the worker's sleep: what happened, and what happens until the next.
    void goOn(FuzzInput& input, VirtualClock::Duration slept) {
        judge(slept);
        while (cycles_ == 0 && !input.isEmpty())
            step(input);
        if (cycles_ == 0 || ++allCycles_ > kMostCycles)
            worker().*memberOf(WorkerStopRequested()) = true;
        else
            --cycles_;
        report(reports_);
        beginCycle();
    }

    void judge(VirtualClock::Duration slept) {
        const auto second = [](VirtualClock::Duration d) { return d / std::chrono::seconds(1); };
        const auto now = unit_.clock.elapsed();
        const long long sleptSeconds = second(now) - second(now - slept);
        begun_.tickAfter = unit_.clock.tick() - static_cast<uint32_t>(sleptSeconds);
        begun_.utcAfter = unit_.clock.utc() - static_cast<time_t>(sleptSeconds);
        const Lines told = model_->cycle(receiver_, begun_, restarts_);
        demand(unit_.journal.only({"callback "}) == told, "the callback is told what it must be, in order");
        demandAllowedCommands(unit_.journal.take());
        unit_.forget();
        if (restarts_)
            receiverForgets();
        GPSReadings readings;
        adapter_->GetReadings(readings);
        const char* const misfit = model_->misfit(readings);
        demand(misfit == nullptr, misfit);
        demand(!VirtualSemaphores::isTaken(member(AdapterLock())), "the lock is free");
    }

    void receiverForgets() {
        for (time_t& arrival : receiver_.arrival)
            arrival = 0;
        demand(noDataReadCounter() == 0, "a restart begins the count anew");
    }

    // --- Steps ----------------------------------------------------------------------------------------

    void step(FuzzInput& input) {
        using Step = void (*)(Service&, FuzzInput&);
        static constexpr Step kSteps[] = {
            [](Service& s, FuzzInput&) { s.cycles_ = 1; },
            [](Service& s, FuzzInput& i) { s.cycles_ = 1u + i.byte(); },
            [](Service& s, FuzzInput& i) { s.reports_ = i.number(2); },
            [](Service& s, FuzzInput& i) { s.move(i); },
            [](Service& s, FuzzInput& i) { s.place(i); },
            [](Service& s, FuzzInput& i) { s.receiver_.pdop = i.byte() / 16.0; },
            [](Service& s, FuzzInput& i) { s.setWildNumber(i); },
            [](Service& s, FuzzInput& i) { s.setAntenna(i.byte() % 6, 0); },
            [](Service& s, FuzzInput& i) { s.setAntenna(1, i.byte() % 3); },
            [](Service& s, FuzzInput& i) { s.receiver_.epx = s.receiver_.epy = i.byte(); },
            [](Service& s, FuzzInput& i) { s.setSky(i); },
            [](Service& s, FuzzInput& i) { s.receiver_.time = static_cast<int32_t>(i.number(4)); },
            [](Service& s, FuzzInput& i) { s.setSettings(i); },
            [](Service& s, FuzzInput& i) { s.setGeofence(i); },
            [](Service& s, FuzzInput&) { s.adapter_->ResetParams(), s.model_->reset(kWarmupOfAReset); },
            [](Service& s, FuzzInput& i) { s.setNtp(i.flag()); },
            [](Service& s, FuzzInput& i) { s.setUtc(static_cast<int32_t>(i.number(4))); },
            [](Service& s, FuzzInput& i) { s.unit_.clock.setTick(i.number(4)); },
            [](Service&, FuzzInput& i) { noDataReadCounter() = i.byte() % 16; },
            [](Service& s, FuzzInput& i) { s.callback_.result = i.byte(); },
        };
        kSteps[input.byte() % (sizeof kSteps / sizeof kSteps[0])](*this, input);
    }

    void setAntenna(int state, unsigned int result) {
        unit_.hal.antennaState = receiver_.antenna = static_cast<GPSAntennaState>(state);
        unit_.hal.antennaResult = receiver_.antennaResult = result;
    }
    void setNtp(bool hasNtp) {
        adapter_->SetNTPServiceAvailable(hasNtp);
        model_->hasNtp = hasNtp;
    }
    /// Not so near to an end of 32 bits that time runs past it.
    void setUtc(int32_t utc) { unit_.clock.setUtc(std::clamp(utc, -kFarthestUtc, kFarthestUtc)); }
    void move(FuzzInput& input) {
        receiver_.latitude += static_cast<int16_t>(input.number(2)) / 1e6;
        receiver_.longitude += static_cast<int16_t>(input.number(2)) / 1e6;
    }
    void place(FuzzInput& input) {
        receiver_.latitude = static_cast<int32_t>(input.number(4)) / 1e6;
        receiver_.longitude = static_cast<int32_t>(input.number(4)) / 1e6;
    }
    void setWildNumber(FuzzInput& input) {
        double* const numbers[] = {&receiver_.latitude, &receiver_.longitude, &receiver_.altitude,
                                   &receiver_.course,   &receiver_.speed,     &receiver_.hdop,
                                   &receiver_.tdop,     &receiver_.pdop,      &receiver_.gdop,
                                   &receiver_.ept,      &receiver_.epx,       &receiver_.epy};
        double& number = *numbers[input.byte() % 12];
        number = kWildNumbers[input.byte() % 16];
    }
    void setSky(FuzzInput& input) {
        receiver_.visible = static_cast<int16_t>(input.number(2));
        receiver_.used = static_cast<int8_t>(input.byte());
        receiver_.snr = kWildNumbers[input.byte() % 16];
    }

    void setSettings(FuzzInput& input) {
        GPSParams params;
        adapter_->GetParams(params);
        const uint8_t flags = input.byte();
        params.enabled = (flags & 1) == 0;
        params.trackingEnabled = (flags & 2) != 0;
        params.geofencesEnabled = (flags & 4) != 0;
        params.resetTimeDeviation = (flags & 8) != 0;
        params.setOdometer = (flags & 16) != 0;
        uint32_t numbers[7];
        for (uint32_t& number : numbers)
            number = nextNumber(input);
        params.positionInterval = numbers[0];
        params.statusInterval = numbers[1];
        params.trackingPeriod = static_cast<int32_t>(numbers[2]);
        params.trackingBase = static_cast<int32_t>(numbers[3]);
        params.trackingOffset = static_cast<int32_t>(numbers[4]);
        params.odometerValue = numbers[5];
        params.logInterval = numbers[6];
        set(params);
    }
    /// Small ones, those at the limits, and any.
    static uint32_t nextNumber(FuzzInput& input) {
        const uint8_t kind = input.byte();
        if (kind < 200)
            return kind % 100;
        return kind < 240 ? kWildWholes[kind % 12] : input.number(4);
    }

    void setGeofence(FuzzInput& input) {
        GPSParams params;
        adapter_->GetParams(params);
        GPSGeofence& geofence = params.geofences[input.byte() % kGPSMaxGeofences];
        geofence.name.setStr(input.bytes(input.byte() % 16).c_str());
        GPSReadings readings;
        adapter_->GetReadings(readings);
        geofence.latitude = near(readings.data.latitude, input);
        geofence.longitude = near(readings.data.longitude, input);
        geofence.width = nextNumber(input) * 64;
        geofence.height = nextNumber(input) * 64;
        geofence.margin = nextNumber(input) * 16;
        set(params);
    }
    static int32_t near(int32_t position, FuzzInput& input) {
        const uint32_t distance = 16 * input.number(2);
        return static_cast<int32_t>(static_cast<uint32_t>(position) + distance - (uint32_t{1} << 19));
    }
    void set(const GPSParams& params) {
        adapter_->SetParams(params);
        model_->set(params);
    }

    // --- The receiver ---------------------------------------------------------------------------------

    /// What the reader thread leaves behind a report that brings these groups.
    void report(uint32_t groups) {
        ReaderBlock& b = block();
        time_t ReaderBlock::*const arrivals[Receiver::kGroups] = {
            &ReaderBlock::tsStatus,     &ReaderBlock::tsTime,      &ReaderBlock::tsLatLon,
            &ReaderBlock::tsAltitude,   &ReaderBlock::tsTrack,     &ReaderBlock::tsSpeed,
            &ReaderBlock::tsSatellites, &ReaderBlock::tsTimeError, &ReaderBlock::tsHorizontalError,
            &ReaderBlock::tsDop};
        for (unsigned int i = 0; i < Receiver::kGroups; ++i)
            if ((groups >> i & 1) != 0)
                b.*arrivals[i] = receiver_.arrival[i] = unit_.clock.utc();
        b.fixTime = receiver_.time;
        b.latitude = receiver_.latitude, b.longitude = receiver_.longitude, b.altitude = receiver_.altitude;
        b.track = receiver_.course, b.speed = receiver_.speed;
        b.ept = receiver_.ept, b.epx = receiver_.epx, b.epy = receiver_.epy;
        b.hdop = receiver_.hdop, b.tdop = receiver_.tdop, b.pdop = receiver_.pdop, b.gdop = receiver_.gdop;
        b.satellitesVisible = receiver_.visible;
        b.satellitesUsed = receiver_.used;
        b.used[0] = b.used[1] = true;
        b.ss[0] = b.ss[1] = receiver_.snr;
    }

    VirtualUnit unit_;
    RecordingCallback callback_;
    std::unique_ptr<GPSAdapter> adapter_;
    std::unique_ptr<CycleModel> model_;
    Receiver receiver_;
    CycleModel::Clocks begun_{};
    bool restarts_ = false;
    bool runsCommands_ = false;
    unsigned int cycles_ = 0; ///< still to come before the next step
    unsigned int allCycles_ = 0;
    uint32_t reports_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Service::fresh().run(input);
    return 0;
}
