// Random reports, pauses and clocks against a model of what is still known: every query, before each report
// and behind it, of a driver that is stopped and started again. The reader's thread is the test's own, and
// the queries come in its pauses.

#include "DriverFixture.h"
#include "GpsRecord.h"
#include "Histories.h"
#include "SnapshotModel.h"

namespace {

/// One cycle of the reader, and what happens at its end.
struct Cycle {
    enum Kind { Reports, FindsHalfALine, FindsNobody, HearsNothing };
    int kind = Reports;
    int waitMs = 0;
    Report report;
    int64_t clockStep = 0; ///< seconds that the clock is put forward or back
    uint32_t antenna = 1;
    uint32_t antennaResult = 0;
};

std::ostream& operator<<(std::ostream& out, const Cycle& c) {
    const Report& r = c.report;
    out << "{" << c.kind << ", " << c.waitMs << " ms, groups " << r.groups << ", second " << r.seconds
        << ", at " << r.latitude << " " << r.longitude << " " << r.altitude << ", moving " << r.track << " "
        << r.speed << ", errors " << r.timeError << " " << r.eastError << " " << r.northError
        << ", dilutions " << r.hdop << " " << r.tdop << " " << r.pdop << " " << r.gdop << ", used " << r.used
        << " of";
    for (const Report::Satellite& s : r.satellites)
        out << " " << s.number << "/" << s.strength << (s.isUsed ? "*" : "");
    return out << ", clock by " << c.clockStep << ", antenna " << c.antenna << " " << c.antennaResult << "}";
}

/// Numbers of the kind that is meant, and now and then others.
rc::Gen<double> numbers(double greatest) {
    const auto ordinary = rc::gen::map(rc::gen::inRange(-1000000, 1000001),
                                       [=](int part) { return part / 1000000.0 * greatest; });
    const auto odd = rc::gen::element(0.0, -0.0000019, 1e-9, 2147.483647, 2147483.648, -2147.483649,
                                      4294.967296, 1e308, -1e308, std::nan(""));
    return rc::gen::weightedOneOf<double>({{6, ordinary}, {1, odd}});
}

rc::Gen<uint64_t> masks() {
    return rc::gen::oneOf(rc::gen::just(uint64_t{0x1FFFF}), from<uint64_t>(0, 0x1FFFF),
                          rc::gen::element<uint64_t>(0, 0x8034, 0x200, 0x10, 0x8000));
}

rc::Gen<Report::Satellite> satellites() {
    using S = Report::Satellite;
    return rc::gen::build<S>(rc::gen::set(&S::number, from(1, 255)), rc::gen::set(&S::strength, numbers(60)),
                             rc::gen::set(&S::isUsed, rc::gen::arbitrary<bool>()));
}

rc::Gen<Report> reports() {
    using R = Report;
    return rc::gen::build<R>(
        rc::gen::set(&R::groups, masks()),
        rc::gen::set(&R::seconds,
                     rc::gen::oneOf(from<int64_t>(-3, 1800000000), rc::gen::just<int64_t>(4102444800))),
        rc::gen::set(&R::latitude, numbers(90)), rc::gen::set(&R::longitude, numbers(180)),
        // An infinite altitude counts as none in the newer libgps.
        rc::gen::set(&R::altitude, numbers(9000)), rc::gen::set(&R::track, numbers(360)),
        rc::gen::set(&R::speed, numbers(80)), rc::gen::set(&R::timeError, numbers(1)),
        rc::gen::set(&R::eastError, numbers(100)), rc::gen::set(&R::northError, numbers(100)),
        rc::gen::set(&R::hdop, numbers(20)), rc::gen::set(&R::tdop, numbers(20)),
        rc::gen::set(&R::pdop, numbers(20)), rc::gen::set(&R::gdop, numbers(20)),
        rc::gen::set(&R::used, from(0, 9)), rc::gen::set(&R::satellites, historyOf(satellites(), 20)));
}

rc::Gen<Cycle> cycles() {
    using C = Cycle;
    return rc::gen::build<C>(
        rc::gen::set(
            &C::kind,
            rc::gen::weightedElement<int>(
                {{9, C::Reports}, {1, C::FindsHalfALine}, {1, C::FindsNobody}, {2, C::HearsNothing}})),
        rc::gen::set(&C::waitMs,
                     rc::gen::weightedOneOf<int>({{2, from(0, 5000)}, {1, rc::gen::element(0, 950, 4950)}})),
        rc::gen::set(&C::report, reports()),
        rc::gen::set(&C::clockStep, rc::gen::weightedElement<int64_t>({{12, 0},
                                                                       {1, 1},
                                                                       {1, 9},
                                                                       {1, 10},
                                                                       {1, 11},
                                                                       {1, -1},
                                                                       {1, -3600},
                                                                       {1, 86400},
                                                                       {1, -1699999990}})),
        rc::gen::set(&C::antenna, rc::gen::weightedElement<uint32_t>({{6, 1}, {1, 0}, {1, 2}, {1, 3}})),
        rc::gen::set(&C::antennaResult, rc::gen::weightedElement<uint32_t>({{6, 0}, {1, 0x42}})));
}

void fillSky(gps_data_t& record, const Report& r) {
    record.satellites_visible = static_cast<int>(r.satellites.size());
    record.satellites_used = r.used;
    for (std::size_t i = 0; i < r.satellites.size(); ++i) {
        auto& satellite = record.skyview[i];
        satellite.PRN = static_cast<decltype(satellite.PRN)>(r.satellites[i].number);
        satellite.ss = r.satellites[i].strength;
        satellite.used = r.satellites[i].isUsed;
    }
}

void fill(gps_data_t& record, const Report& r) {
    record.set = static_cast<gps_mask_t>(r.groups);
    setStatus(record, 1);
    setTime(record, r.seconds, 0);
    record.fix.latitude = r.latitude;
    record.fix.longitude = r.longitude;
    setAltitude(record, r.altitude);
    record.fix.track = r.track;
    record.fix.speed = r.speed;
    record.fix.ept = r.timeError;
    record.fix.epx = r.eastError;
    record.fix.epy = r.northError;
    record.dop.hdop = r.hdop;
    record.dop.tdop = r.tdop;
    record.dop.pdop = r.pdop;
    record.dop.gdop = r.gdop;
    fillSky(record, r);
}

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

class Reception : public DriverFixture {
public:
    Reception() { driver->Initialize(); }
    void TestBody() override {}

    /// From a start of the driver to its stop.
    void runSession(std::vector<Cycle> history) {
        history_ = std::move(history);
        limitEmptyCycles();
        open();
        unit.clock.afterEachSleep = [this](VirtualClock::Duration) { pause(); };
        read();
        unit.clock.afterEachSleep = nullptr;
        RC_ASSERT(failure_ == "");
        RC_ASSERT(cycle_ == history_.size());
        close();
        RC_ASSERT(failure_ == "");
    }

private:
    void open() {
        driver->Start();
        model_.start();
        last_ = {};
        cycle_ = 0;
        query(history_.front());
        for (const Cycle& cycle : history_)
            script(cycle);
        begin();
    }
    void close() {
        driver->Stop();
        model_.stop();
        query(history_.back());
    }

    /// More than ten would restart all, which is another model's business.
    void limitEmptyCycles() {
        for (Cycle& cycle : history_)
            if (cycle.kind != Cycle::Reports && ++emptyCycles_ > 10)
                cycle.kind = Cycle::Reports;
    }
    void script(const Cycle& cycle) {
        const std::chrono::milliseconds wait(cycle.waitMs);
        if (cycle.kind == Cycle::HearsNothing)
            unit.gpsd.isSilent();
        else if (cycle.kind == Cycle::Reports)
            unit.gpsd.reports([&cycle](gps_data_t& record) { fill(record, cycle.report); }, wait);
        else
            unit.gpsd.readGives(cycle.kind == Cycle::FindsHalfALine ? 0 : -1, wait);
    }

    void begin() {
        began_ = unit.clock.utc();
        hasWaited_ = false;
    }
    /// The reader pauses when it waits, and once more when it has read.
    void pause() {
        const Cycle& cycle = history_[cycle_];
        if (hasWaited_ && cycle.kind == Cycle::Reports)
            last_ = cycle.report; // else what the session's record still holds arrives again
        if (hasWaited_)
            model_.take(last_, began_);
        query(cycle);
        if (!hasWaited_ && cycle.kind != Cycle::HearsNothing) {
            hasWaited_ = true;
            return;
        }
        unit.clock.setUtc(unit.clock.utc() + static_cast<time_t>(cycle.clockStep));
        query(cycle);
        ++cycle_;
        begin();
    }

    void query(const Cycle& cycle) {
        const int64_t now = unit.clock.utc();
        queryFix(now, cycle);
        bool receiving = true, wantedReceiving = false;
        const uint32_t status = model_.status(now, wantedReceiving);
        expect("status", driver->GetStatus(receiving) == status && receiving == wantedReceiving);
        long utc = 1;
        int64_t wantedUtc = 0;
        const uint32_t time = model_.time(now, wantedUtc);
        expect("time", driver->GetCurrentTime(utc) == time && utc == wantedUtc);
        queryErrors(now);
        unsigned int strength = 1, visible = 1, wantedStrength = 0, wantedVisible = 0;
        const uint32_t sky = model_.satellites(now, wantedStrength, wantedVisible);
        expect("sky", driver->GetSatellites(strength, visible) == sky && strength == wantedStrength &&
                          visible == wantedVisible);
    }
    void queryErrors(int64_t now) {
        unsigned int horizontal = 1, wantedHorizontal = 0;
        int time = 1, wantedTime = 0;
        const uint32_t errors = model_.errors(now, wantedHorizontal, wantedTime);
        expect("errors", driver->GetErrorEstimates(horizontal, time) == errors &&
                             horizontal == wantedHorizontal && time == wantedTime);
    }
    void queryFix(int64_t now, const Cycle& cycle) {
        unit.hal.antennaState = static_cast<GPSAntennaState>(cycle.antenna);
        unit.hal.antennaResult = cycle.antennaResult;
        GPSData fix;
        const uint32_t result = driver->GetData(fix);
        const Answer wanted = model_.data(now, cycle.antenna, cycle.antennaResult);
        expect("result", result == wanted.result);
        expect("validity", fix.valid == wanted.valid);
        expect("second", fix.time == wanted.time);
        expect("position", fix.latitude == wanted.latitude && fix.longitude == wanted.longitude);
        expect("altitude", fix.altitude == wanted.altitude);
        expect("movement", fix.speed == wanted.speed && fix.course == wanted.course);
        expect("dilutions", same(fix.hdop, wanted.hdop) && same(fix.tdop, wanted.tdop) &&
                                same(fix.pdop, wanted.pdop) && same(fix.gdop, wanted.gdop));
    }
    /// Thrown later: between here and the test stands the library.
    void expect(const char* what, bool holds) {
        if (!holds && failure_.empty())
            failure_ = "cycle " + std::to_string(cycle_) + (hasWaited_ ? " behind" : " before") +
                       " its report: " + what;
    }

    std::vector<Cycle> history_;
    SnapshotModel model_;
    std::size_t cycle_ = 0; ///< of this session
    int emptyCycles_ = 0;   ///< of all
    int64_t began_ = 0;
    bool hasWaited_ = false;
    Report last_;
    std::string failure_;
};

TEST(FreshnessModel, HoldsForEveryQueryAtAnyTime) {
    forRandomHistories([] {
        Reception reception;
        for (const auto& session : *historyOf(historyOf(cycles(), 20), 3))
            if (!session.empty())
                reception.runSession(session);
    });
}

} // namespace
