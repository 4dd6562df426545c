// The driver's queries: what they make of the snapshot, and the watchdog in one of them.

#include "GPSHAL_RUXO_3.h"

#include <cmath>
#include <limits>
#include <locale>
#include <new>
#include <utility>
#include <vector>

#include "DriverFixture.h"
#include "SignalMask.h"

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using namespace std::chrono_literals;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();

constexpr unsigned int kNotRunning = 0x17000002;
constexpr unsigned int kNoCurrentData = 0x17000205;

/// A running driver whose snapshot the test fills in.
template <typename Driver = GPSHAL_RUXO_3>
class QueryOf : public DriverFixtureOf<Driver> {
protected:
    QueryOf() {
        this->start();
        this->unit.clock.setUtc(kNow);
    }

    static constexpr time_t kNow = 1600000000;

    void arrived(Arrival arrival, int secondsAgo = 0) { this->reader().*arrival = kNow - secondsAgo; }
    time_t lastQueryTime() { return (*this->driver).*memberOf(DriverLastQueryTime()); }
    void stopped() { this->driver->Stop(); }
};
using Query = QueryOf<>;

// GetData

class GetData : public Query {
protected:
    GetData() { arrived(&ReaderBlock::tsStatus); }

    GPSData get() {
        GPSData data;
        result = driver->GetData(data);
        return data;
    }

    unsigned int result = 99;
};

TEST_F(GetData, ClearsTheRecordEvenWhenNotRunning) {
    stopped();
    GPSData data;
    data.valid = true;
    data.latitude = 5;
    EXPECT_EQ(driver->GetData(data), kNotRunning);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude, 0);
    EXPECT_EQ(lastQueryTime(), kNow);
}

TEST_F(GetData, FillsEveryFreshField) {
    for (Arrival arrival : kArrivals)
        arrived(arrival);
    ReaderBlock& r = reader();
    r.fixTime = 1599999999, r.latitude = 48.137154, r.longitude = -11.5761249, r.altitude = 519.25;
    r.track = 271.5, r.speed = 13.75, r.hdop = 0.8, r.tdop = 0.7, r.pdop = 1.25, r.gdop = 1.5;
    const GPSData data = get();
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(data.valid);
    EXPECT_EQ(data.time, 1599999999);
    EXPECT_THAT((std::vector<int32_t>{data.latitude, data.longitude, data.altitude}),
                ElementsAre(48137154, -11576124, 519250));
    EXPECT_THAT((std::vector<uint32_t>{data.course, data.speed}), ElementsAre(271500u, 13750u));
    EXPECT_THAT((std::vector<float>{data.hdop, data.tdop, data.pdop, data.gdop}),
                ElementsAre(0.8f, 0.7f, 1.25f, 1.5f));
}

/// A field of the record as a number, and the arrival time it hangs on.
struct Field {
    const char* name;
    Arrival arrival;
    double (*value)(const GPSData&);
};
const std::vector<Field> kFields = {
    {"time", &ReaderBlock::tsTime, [](const GPSData& d) { return double{} + d.time; }},
    {"latitude", &ReaderBlock::tsLatLon, [](const GPSData& d) { return double{} + d.latitude; }},
    {"longitude", &ReaderBlock::tsLatLon, [](const GPSData& d) { return double{} + d.longitude; }},
    {"altitude", &ReaderBlock::tsAltitude, [](const GPSData& d) { return double{} + d.altitude; }},
    {"course", &ReaderBlock::tsTrack, [](const GPSData& d) { return double{} + d.course; }},
    {"speed", &ReaderBlock::tsSpeed, [](const GPSData& d) { return double{} + d.speed; }},
    {"hdop", &ReaderBlock::tsDop, [](const GPSData& d) { return double{} + d.hdop; }},
    {"tdop", &ReaderBlock::tsDop, [](const GPSData& d) { return double{} + d.tdop; }},
    {"pdop", &ReaderBlock::tsDop, [](const GPSData& d) { return double{} + d.pdop; }},
    {"gdop", &ReaderBlock::tsDop, [](const GPSData& d) { return double{} + d.gdop; }},
};

void fillAll(ReaderBlock& r) {
    r.fixTime = 1;
    r.latitude = r.longitude = r.altitude = r.track = r.speed = 1;
    r.hdop = r.tdop = r.pdop = r.gdop = 1;
}

TEST_F(GetData, FillsEachFieldByItsOwnAge) {
    fillAll(reader());
    for (const Field& fresh : kFields) {
        driver->SetTimesToZero();
        arrived(fresh.arrival, 10);
        const GPSData data = get();
        for (const Field& field : kFields)
            EXPECT_EQ(field.value(data) != 0, field.arrival == fresh.arrival) << fresh.name << field.name;
    }
}

TEST_F(GetData, LeavesOutWhatIsElevenSecondsOld) {
    fillAll(reader());
    for (Arrival arrival : kArrivals)
        arrived(arrival, 11);
    const GPSData data = get();
    for (const Field& field : kFields)
        EXPECT_EQ(field.value(data), 0) << field.name;
    EXPECT_EQ(result, kNoCurrentData);
}

TEST_F(GetData, TakesAStatusOfTenSecondsForFresh) {
    arrived(&ReaderBlock::tsStatus, 10);
    EXPECT_TRUE(get().valid);
    EXPECT_EQ(result, 0u);
}

TEST_F(GetData, TakesAStatusOfElevenSecondsForStaleAndAsksForNoAntenna) {
    arrived(&ReaderBlock::tsStatus, 11);
    EXPECT_FALSE(get().valid);
    EXPECT_EQ(result, kNoCurrentData);
    EXPECT_EQ(unit.hal.queries, 0);
}

TEST_F(GetData, FillsAFreshPositionUnderAStaleStatus) {
    arrived(&ReaderBlock::tsStatus, 11);
    arrived(&ReaderBlock::tsLatLon);
    reader().latitude = 48;
    reader().longitude = 11;
    const GPSData data = get();
    EXPECT_EQ(result, kNoCurrentData);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude, 48000000);
    EXPECT_EQ(data.longitude, 11000000);
}

TEST_F(GetData, IsValidWithAStalePosition) {
    arrived(&ReaderBlock::tsLatLon, 11);
    reader().latitude = 48;
    const GPSData data = get();
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(data.valid);
    EXPECT_EQ(data.latitude, 0);
}

TEST_F(GetData, IsStaleRightAfterTheStart) {
    driver->Stop();
    driver->Start();
    EXPECT_FALSE(get().valid);
    EXPECT_EQ(result, kNoCurrentData);
}

TEST_F(GetData, DoesNotDependOnTheValueOfTheStatus) {
    for (const int32_t status : {0, 1, 2, -1}) {
        reader().status = status;
        EXPECT_TRUE(get().valid) << status;
    }
}

TEST_F(GetData, IsValidOnlyWithTheAntennaInOrder) {
    for (const uint32_t state : {0u, 2u, 3u, 4294967295u}) {
        unit.hal.antennaState = static_cast<GPSAntennaState>(state);
        EXPECT_FALSE(get().valid) << state;
        EXPECT_EQ(result, 0u);
    }
}

TEST_F(GetData, TakesAnAntennaWithoutAnAnswerForNotInOrder) {
    unit.hal.fillsState = false;
    EXPECT_FALSE(get().valid);
    EXPECT_EQ(result, 0u);
}

TEST_F(GetData, HandsOnTheAntennasErrorAndFillsThePosition) {
    unit.hal.antennaResult = 0x16000001;
    arrived(&ReaderBlock::tsLatLon);
    reader().latitude = 1;
    const GPSData data = get();
    EXPECT_EQ(result, 0x16000001u);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude, 1000000);
}

TEST_F(GetData, IsNotValidWhenTheAntennasQueryFailsWhateverItFillsIn) {
    unit.hal.antennaResult = 0x16000001;
    unit.hal.fillsStateOnError = true;
    EXPECT_FALSE(get().valid);
    EXPECT_EQ(result, 0x16000001u);
}

/// A value in the snapshot, and what becomes of it.
struct Conversion {
    double value;
    double expected;
};

template <typename Set>
void expectConversions(GPSHAL_RUXO_3& driver, const std::vector<Conversion>& conversions,
                       double (*field)(const GPSData&), Set set) {
    for (const Conversion& c : conversions) {
        set(c.value);
        GPSData data;
        driver.GetData(data);
        EXPECT_EQ(field(data), c.expected) << c.value;
    }
}

TEST_F(GetData, TruncatesAndLimitsDegrees) {
    arrived(&ReaderBlock::tsLatLon);
    const std::vector<Conversion> conversions = {{48.1371549, 48137154},
                                                 {-48.1371549, -48137154},
                                                 {0.0000009, 0},
                                                 {-0.0000009, 0},
                                                 {kNaN, 0},
                                                 {2147.5, kMax},
                                                 {-2148, kMin},
                                                 {kInfinity, kMax},
                                                 {-kInfinity, kMin},
                                                 {1e300, kMax}};
    expectConversions(*driver, conversions, kFields[1].value, [&](double v) { reader().latitude = v; });
    expectConversions(*driver, conversions, kFields[2].value, [&](double v) { reader().longitude = v; });
}

TEST_F(GetData, TruncatesAndLimitsTheAltitude) {
    arrived(&ReaderBlock::tsAltitude);
    expectConversions(*driver,
                      {{519.2509, 519250},
                       {-0.0009, 0},
                       {-430.5, -430500},
                       {kNaN, 0},
                       {3e6, kMax},
                       {-3e6, kMin},
                       {kInfinity, kMax},
                       {-kInfinity, kMin}},
                      kFields[3].value, [&](double v) { reader().altitude = v; });
}

TEST_F(GetData, TruncatesAndLimitsCourseAndSpeed) {
    arrived(&ReaderBlock::tsTrack);
    arrived(&ReaderBlock::tsSpeed);
    const std::vector<Conversion> conversions = {
        {359.9999, 359999},        {-0.5, 0},           {-kInfinity, 0},          {kNaN, 0},
        {3000000.0, 3000000000.0}, {5e6, kUnsignedMax}, {kInfinity, kUnsignedMax}};
    expectConversions(*driver, conversions, kFields[4].value, [&](double v) { reader().track = v; });
    expectConversions(*driver, conversions, kFields[5].value, [&](double v) { reader().speed = v; });
}

TEST_F(GetData, RoundsDilutionsToSinglePrecision) {
    arrived(&ReaderBlock::tsDop);
    reader().hdop = 0.1;
    reader().pdop = 1e300;
    reader().tdop = -1e300;
    reader().gdop = kNaN;
    const GPSData data = get();
    EXPECT_EQ(data.hdop, 0.1f);
    EXPECT_EQ(data.pdop, std::numeric_limits<float>::infinity());
    EXPECT_EQ(data.tdop, -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(data.gdop));
}

// The watchdog in GetData

class Watchdog : public QueryOf<WatchedDriver> {
protected:
    Watchdog() {
        arrived(&ReaderBlock::tsStatus);
        driver->calls.clear();
        driver->counters.clear();
    }

    unsigned int getData() { return driver->GetData(data); }

    GPSData data;
};

TEST_F(Watchdog, KeepsStillAtTenEmptyCycles) {
    noDataReadCounter() = 10;
    EXPECT_EQ(getData(), 0u);
    EXPECT_THAT(driver->calls, IsEmpty());
    EXPECT_EQ(noDataReadCounter(), 10u);
    EXPECT_THAT(unit.log.texts(), IsEmpty());
}

TEST_F(Watchdog, RestartsAtElevenInOrderThroughTheVirtualTable) {
    noDataReadCounter() = 11;
    getData();
    EXPECT_THAT(driver->calls, ElementsAre("Stop", "Finalize", "Initialize", "Start"));
    EXPECT_THAT(driver->counters, Each(11u)) << "the counter is reset last";
    EXPECT_EQ(noDataReadCounter(), 0u);
    EXPECT_TRUE(driver->IsActive());
    EXPECT_TRUE(driver->IsRunning());
}

TEST_F(Watchdog, ConfiguresTheReceiverWhileGpsdIsDownAndPausesFiveSeconds) {
    noDataReadCounter() = 11;
    getData();
    EXPECT_THAT(unit.journal.only({"log 3", "pthread", "popen kill", "fopen", "sleep 5", "popen gpsd",
                                   "ruxosleep", "sem_init"}),
                ElementsAre("log 3 src/GPSHAL_RUXO_3.cpp GPSD does not provide any data - restarting GPSD",
                            "pthread_join thread 1", "popen kill -9 $(pidof gpsd)", "fopen /dev/ttymxc1 rb",
                            "sleep 5", "popen gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1", "ruxosleep 3000",
                            "sem_init semaphore 0 1", "pthread_create thread 2"));
    EXPECT_FALSE(unit.port.sent.empty());
}

TEST_F(Watchdog, ReportsStaleDataMeasuredFromBeforeTheRestart) {
    noDataReadCounter() = 11;
    EXPECT_EQ(getData(), kNoCurrentData);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(lastQueryTime(), kNow);
    EXPECT_GE(unit.clock.utc(), kNow + 8);
}

TEST_F(Watchdog, LogsItsOneLine) {
    noDataReadCounter() = 11;
    getData();
    EXPECT_EQ(unit.log.count(3, "GPSD does not provide any data - restarting GPSD"), 1);
    getData();
    EXPECT_EQ(unit.log.count(3, "GPSD does not provide any data - restarting GPSD"), 1);
}

TEST_F(Watchdog, ComparesTheCounterUnsigned) {
    noDataReadCounter() = kUnsignedMax;
    getData();
    EXPECT_LOGGED(3, "GPSD does not provide any data - restarting GPSD");
    EXPECT_EQ(noDataReadCounter(), 0u);
}

TEST_F(Watchdog, IgnoresTheResultsOfTheRestart) {
    noDataReadCounter() = 11;
    driver->stopResult = 0x17000001;
    driver->startResult = 0x17000101;
    EXPECT_EQ(getData(), kNoCurrentData);
    EXPECT_EQ(driver->calls.size(), 4u);
    EXPECT_EQ(noDataReadCounter(), 0u);
}

TEST_F(Watchdog, StartsADriverThatWasStopped) {
    driver->Stop();
    driver->Finalize();
    driver->calls.clear();
    noDataReadCounter() = 11;
    EXPECT_EQ(getData(), kNoCurrentData);
    EXPECT_THAT(driver->calls, ElementsAre("Stop", "Finalize", "Initialize", "Start"));
    EXPECT_TRUE(driver->IsRunning());
}

TEST_F(Watchdog, BringsDataBackAfterTheReaderEndedByItself) {
    unit.threads.run();
    EXPECT_EQ(noDataReadCounter(), 11u);
    getData();
    unit.gpsd.reports([](gps_data_t& r) { r.set = STATUS_SET; });
    read();
    EXPECT_EQ(getData(), 0u);
    EXPECT_TRUE(data.valid);
}

TEST_F(Watchdog, BringsDataBackAfterAReaderThatGotNoMemory) {
    {
        unit.clock.afterEachSleep = [this](auto) { reader().stopRequested = noDataReadCounter() > 10; };
        const FailingMemory none = FailingMemory::ofSize(sizeof(gps_data_t));
        unit.threads.run();
    }
    unit.clock.afterEachSleep = nullptr;
    getData();
    EXPECT_LOGGED(3, "GPSD does not provide any data - restarting GPSD");
    unit.gpsd.reports([](gps_data_t& r) { r.set = STATUS_SET; });
    read();
    EXPECT_EQ(getData(), 0u);
    EXPECT_TRUE(data.valid);
}

TEST_F(Watchdog, PausesUndisturbedByTheApplicationsTimers) {
    noDataReadCounter() = 11;
    bool blocked = false;
    unit.clock.afterEachSleep = [&](auto length) {
        blocked = blocked || (length == 5s && blocks(maskOfThisThread(), SIGALRM));
    };
    getData();
    EXPECT_TRUE(blocked);
}

TEST_F(Watchdog, RestartsWithoutMemoryToo) {
    withEachAllocationFailing([] { noDataReadCounter() = 11; },
                              [this] { EXPECT_EQ(driver->GPSHAL_RUXO_3::GetData(data), kNoCurrentData); },
                              [this] {
                                  EXPECT_EQ(noDataReadCounter(), 0u);
                                  EXPECT_TRUE(driver->IsRunning());
                                  EXPECT_TRUE(unit.shell.daemon.running);
                                  EXPECT_FALSE(unit.port.isOpen());
                              });
}

TEST_F(Watchdog, ActsInNoOtherQuery) {
    noDataReadCounter() = 11;
    long seconds = 0;
    bool receiving = false;
    GPSAntennaState antenna{};
    unsigned int figures[2] = {};
    int error = 0;
    driver->GetCurrentTime(seconds);
    driver->GetStatus(receiving);
    driver->GetAntennaStatus(antenna);
    driver->GetSatellites(figures[0], figures[1]);
    driver->GetErrorEstimates(figures[0], error);
    EXPECT_THAT(driver->calls, IsEmpty());
    EXPECT_EQ(noDataReadCounter(), 11u);
}

// GetCurrentTime

class GetCurrentTime : public Query {
protected:
    unsigned int get() { return driver->GetCurrentTime(seconds); }
    long seconds = 77;
};

TEST_F(GetCurrentTime, GivesTheTimeOfTheFix) {
    arrived(&ReaderBlock::tsTime, 10);
    reader().fixTime = 1599999995;
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(seconds, 1599999995);
}

TEST_F(GetCurrentTime, GivesNothingWhenStale) {
    arrived(&ReaderBlock::tsTime, 11);
    reader().fixTime = 5;
    EXPECT_EQ(get(), kNoCurrentData);
    EXPECT_EQ(seconds, 0);
}

TEST_F(GetCurrentTime, GivesNothingWhenNotRunning) {
    arrived(&ReaderBlock::tsTime);
    stopped();
    EXPECT_EQ(get(), kNotRunning);
    EXPECT_EQ(seconds, 0);
    EXPECT_EQ(lastQueryTime(), kNow);
}

TEST_F(GetCurrentTime, DependsOnNoOtherArrival) {
    for (Arrival arrival : kArrivals)
        arrived(arrival);
    arrived(&ReaderBlock::tsTime, 11);
    EXPECT_EQ(get(), kNoCurrentData);
}

TEST_F(GetCurrentTime, MayLieBeforeTheEpoch) {
    arrived(&ReaderBlock::tsTime);
    reader().fixTime = -5;
    get();
    EXPECT_EQ(seconds, -5);
}

// GetStatus

class GetStatus : public Query {
protected:
    unsigned int get() { return driver->GetStatus(receiving); }
    bool receiving = true;
};

TEST_F(GetStatus, TellsWhetherAStatusCameInTheLastTenSeconds) {
    arrived(&ReaderBlock::tsStatus, 10);
    receiving = false;
    EXPECT_EQ(get(), 0u);
    EXPECT_TRUE(receiving);
    arrived(&ReaderBlock::tsStatus, 11);
    EXPECT_EQ(get(), 0u);
    EXPECT_FALSE(receiving);
}

TEST_F(GetStatus, IsFalseWhenNotRunning) {
    arrived(&ReaderBlock::tsStatus);
    stopped();
    EXPECT_EQ(get(), kNotRunning);
    EXPECT_FALSE(receiving);
    EXPECT_EQ(lastQueryTime(), kNow);
}

// GetAntennaStatus

class GetAntennaStatus : public Query {
protected:
    unsigned int get() { return driver->GetAntennaStatus(state); }
    GPSAntennaState state = GPSAntennaState(9);
};

TEST_F(GetAntennaStatus, PassesOnEveryState) {
    for (const uint32_t value : {0u, 1u, 2u, 3u, 4000000000u}) {
        unit.hal.antennaState = GPSAntennaState(value);
        EXPECT_EQ(get(), 0u);
        EXPECT_EQ(state, value);
    }
    EXPECT_EQ(lastQueryTime(), kNow);
}

TEST_F(GetAntennaStatus, PresetsInOrderWhenThePlatformFillsNothing) {
    unit.hal.fillsState = false;
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(state, 1u);
}

TEST_F(GetAntennaStatus, HandsOnThePlatformsError) {
    unit.hal.antennaResult = 0x16000002;
    EXPECT_EQ(get(), 0x16000002u);
    EXPECT_EQ(state, 1u);
}

TEST_F(GetAntennaStatus, FailsWhenThePlatformHasNoMemoryForItsAnswer) {
    unit.hal.atQuery = [] { throw std::bad_alloc(); };
    EXPECT_EQ(get(), 0x17000001u);
    EXPECT_EQ(state, 1u);
}

TEST_F(GetAntennaStatus, IsInOrderAndNotAskedWhenNotRunning) {
    stopped();
    EXPECT_EQ(get(), kNotRunning);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(unit.hal.queries, 0);
    EXPECT_EQ(lastQueryTime(), kNow);
}

// GetErrorEstimates

class GetErrorEstimates : public Query {
protected:
    unsigned int get() { return driver->GetErrorEstimates(horizontal, time); }
    void horizontalOf(double epx, double epy) {
        reader().epx = epx;
        reader().epy = epy;
        arrived(&ReaderBlock::tsHorizontalError, 10);
        EXPECT_EQ(get(), 0u);
    }
    unsigned int horizontal = 77;
    int time = 77;
};

TEST_F(GetErrorEstimates, GivesWholeMetresAndMilliseconds) {
    arrived(&ReaderBlock::tsTimeError, 10);
    reader().ept = 0.0059;
    horizontalOf(3, 4);
    EXPECT_EQ(horizontal, 5u);
    EXPECT_EQ(time, 5);
}

TEST_F(GetErrorEstimates, TruncatesMetres) {
    horizontalOf(1, 1);
    EXPECT_EQ(horizontal, 1u);
    horizontalOf(0.6, 0.6);
    EXPECT_EQ(horizontal, 0u);
}

TEST_F(GetErrorEstimates, RoundsTheSumOfSquaresToSinglePrecision) {
    horizontalOf(4.99999999, 0); // its square is 25 in single precision
    EXPECT_EQ(horizontal, 5u);
}

TEST_F(GetErrorEstimates, TakesTheRootOfTheRoundedSumInDoublePrecision) {
    horizontalOf(4.9999998, 0); // its square is 24.999998 in single precision, whose root rounds to 5 there
    EXPECT_EQ(horizontal, 4u);
}

TEST_F(GetErrorEstimates, LimitsWhatIsNoNumber) {
    for (const auto& [epx, metres] : std::vector<std::pair<double, unsigned int>>{
             {kNaN, 0}, {kInfinity, kUnsignedMax}, {1e200, kUnsignedMax}, {-5, 5}, {5e9, kUnsignedMax}}) {
        horizontalOf(epx, 0);
        EXPECT_EQ(horizontal, metres) << epx;
    }
}

TEST_F(GetErrorEstimates, LimitsTheTimeError) {
    arrived(&ReaderBlock::tsTimeError);
    for (const auto& [ept, milliseconds] : std::vector<std::pair<double, int>>{
             {-0.25, -250}, {kNaN, 0}, {1e10, kMax}, {-1e10, kMin}, {kInfinity, kMax}}) {
        reader().ept = ept;
        get();
        EXPECT_EQ(time, milliseconds) << ept;
    }
}

TEST_F(GetErrorEstimates, JudgesEachByItsOwnAge) {
    reader().ept = 1;
    arrived(&ReaderBlock::tsTimeError, 11);
    horizontalOf(3, 4);
    EXPECT_EQ(time, 0);
    EXPECT_EQ(horizontal, 5u);
    arrived(&ReaderBlock::tsTimeError, 10);
    arrived(&ReaderBlock::tsHorizontalError, 11);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(time, 1000);
    EXPECT_EQ(horizontal, 0u);
}

TEST_F(GetErrorEstimates, SucceedsWithoutAnyData) {
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(horizontal, 0u);
    EXPECT_EQ(time, 0);
}

TEST_F(GetErrorEstimates, AreZeroWhenNotRunning) {
    stopped();
    EXPECT_EQ(get(), kNotRunning);
    EXPECT_EQ(horizontal, 0u);
    EXPECT_EQ(time, 0);
    EXPECT_EQ(lastQueryTime(), kNow);
}

// GetSatellites

class GetSatellites : public Query {
protected:
    GetSatellites() {
        arrived(&ReaderBlock::tsSatellites);
        (*driver).*memberOf(DriverLastSatelliteLog()) = kNow;
    }

    struct Satellite {
        int16_t prn;
        double ss;
        bool used;
    };
    void sky(const std::vector<Satellite>& satellites, int32_t used) {
        reader().satellitesVisible = static_cast<int32_t>(satellites.size());
        reader().satellitesUsed = used;
        for (std::size_t i = 0; i < satellites.size(); ++i) {
            reader().PRN[i] = satellites[i].prn;
            reader().ss[i] = satellites[i].ss;
            reader().used[i] = satellites[i].used;
        }
    }
    unsigned int get() { return driver->GetSatellites(snr, visible); }
    /// The lines of the detailed log, which is due.
    Lines details() {
        (*driver).*memberOf(DriverLastSatelliteLog()) = kNow - 1800;
        EXPECT_EQ(get(), 0u);
        return unit.log.texts();
    }

    unsigned int snr = 77;
    unsigned int visible = 77;
};

TEST_F(GetSatellites, GivesTheCountAndTheMeanOfThoseUsed) {
    sky({{5, 21, false}, {12, 38.9, true}, {29, 17.5, true}}, 2);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(visible, 3u);
    EXPECT_EQ(snr, (38u + 17u) / 2u); // each truncated before the sum
}

TEST_F(GetSatellites, DividesByGpsdsOwnCountOfUsedSatellites) {
    sky({{5, 40, true}, {12, 38, true}, {29, 17, false}}, 3);
    get();
    EXPECT_EQ(snr, 78u / 3u);
}

TEST_F(GetSatellites, GivesNoMeanWhenGpsdCountsNoneUsed) {
    sky({{5, 40, true}}, 0);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(snr, 0u);
    EXPECT_EQ(visible, 1u);
}

TEST_F(GetSatellites, DividesUnsigned) {
    sky({{5, 40, true}}, -1);
    get();
    EXPECT_EQ(snr, 0u);
}

TEST_F(GetSatellites, TakesNoSignalFromWhatIsNoNumber) {
    sky({{1, kNaN, true}, {2, -7, true}, {3, 30, true}}, 1);
    get();
    EXPECT_EQ(snr, 30u);
}

TEST_F(GetSatellites, LimitsASignalBeyondTheTypesRange) {
    sky({{1, kInfinity, true}}, 1);
    get();
    EXPECT_EQ(snr, kUnsignedMax);
}

TEST_F(GetSatellites, GivesNothingWhenStale) {
    sky({{5, 40, true}}, 1);
    arrived(&ReaderBlock::tsSatellites, 11);
    EXPECT_EQ(get(), kNoCurrentData);
    EXPECT_EQ(snr, 0u);
    EXPECT_EQ(visible, 0u);
    EXPECT_EQ(lastQueryTime(), kNow);
}

TEST_F(GetSatellites, TakesASkyViewOfTenSecondsForFresh) {
    arrived(&ReaderBlock::tsSatellites, 10);
    EXPECT_EQ(get(), 0u);
}

TEST_F(GetSatellites, GivesNothingWhenNotRunning) {
    sky({{5, 40, true}}, 1);
    stopped();
    EXPECT_EQ(get(), kNotRunning);
    EXPECT_EQ(snr, 0u);
    EXPECT_EQ(visible, 0u);
    EXPECT_EQ(lastQueryTime(), kNow);
}

TEST_F(GetSatellites, ReportsMoreThanItHasRoomForAsGpsdCountsThem) {
    reader().satellitesVisible = 300;
    reader().satellitesUsed = 235;
    for (std::size_t i = 0; i < kSatelliteCapacity; ++i) {
        reader().used[i] = true;
        reader().ss[i] = 20;
    }
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(visible, 300u);
    EXPECT_EQ(snr, 20u);
}

TEST_F(GetSatellites, ReportsANegativeCountAsItStandsAndCountsNothing) {
    reader().satellitesVisible = -1;
    reader().satellitesUsed = 1;
    reader().used[0] = true;
    reader().ss[0] = 20;
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(visible, kUnsignedMax);
    EXPECT_EQ(snr, 0u);
}

TEST_F(GetSatellites, WritesTheDetailsAfterHalfAnHour) {
    sky({{5, 21, false}, {12, 38, true}, {29, 17.5, false}}, 1);
    reader().mode = 3;
    reader().pdop = 1.5;
    EXPECT_THAT(details(), ElementsAre("6 GPSD GetSatellites: visible satellites: 3, used satellites: 1, "
                                       "mode: 3, PDOP: 1.500000",
                                       "6 GPSD GetSatellites: PRNs: [5,12,29]; ",
                                       "6 GPSD GetSatellites: SNRs: [21,38,17.5]; ",
                                       "6 GPSD GetSatellites: Used: [N,Y,N]"));
    EXPECT_EQ(snr, 38u);
    for (const LogLine& line : unit.log.all())
        EXPECT_EQ(line.source, "src/GPSHAL_RUXO_3.cpp");
}

TEST_F(GetSatellites, WritesOpenListsWithoutSatellites) {
    sky({}, 0);
    const Lines lines = details();
    EXPECT_THAT(Lines(lines.begin() + 1, lines.end()),
                ElementsAre("6 GPSD GetSatellites: PRNs: [", "6 GPSD GetSatellites: SNRs: [",
                            "6 GPSD GetSatellites: Used: ["));
    EXPECT_EQ(visible, 0u);
    EXPECT_EQ(snr, 0u);
}

TEST_F(GetSatellites, WritesSignalsWithSixDigitsAndPrnsAsNumbers) {
    sky({{-7, 27.1234567, true}, {193, 1234567, true}, {65, 0, false}}, 1);
    EXPECT_THAT(details(), Contains("6 GPSD GetSatellites: SNRs: [27.1235,1.23457e+06,0]; "));
    EXPECT_LOGGED(6, "GPSD GetSatellites: PRNs: [-7,193,65]; ");
    EXPECT_LOGGED(6, "GPSD GetSatellites: Used: [Y,Y,N]");
}

TEST_F(GetSatellites, WritesTheCountsAsGpsdGivesThem) {
    reader().satellitesVisible = 300;
    reader().satellitesUsed = -4;
    reader().mode = 0;
    EXPECT_THAT(details()[0], StartsWith("6 GPSD GetSatellites: visible satellites: 300, used satellites: "
                                         "-4, mode: 0, PDOP: 0.000000"));
}

TEST_F(GetSatellites, WritesNoDetailsBeforeHalfAnHourIsOver) {
    unit.clock.setUtc(kNow + 1799);
    reader().tsSatellites = kNow + 1799;
    get();
    EXPECT_THAT(unit.log.texts(), IsEmpty());
    unit.clock.setUtc(kNow + 1800);
    get();
    EXPECT_EQ(unit.log.texts().size(), 4u);
}

TEST_F(GetSatellites, WritesTheDetailsOnceInHalfAnHour) {
    details();
    EXPECT_EQ((*driver).*memberOf(DriverLastSatelliteLog()), kNow);
    unit.log.clear();
    get();
    EXPECT_THAT(unit.log.texts(), IsEmpty());
}

TEST_F(GetSatellites, WritesNoDetailsOfAStaleSkyView) {
    (*driver).*memberOf(DriverLastSatelliteLog()) = 0;
    arrived(&ReaderBlock::tsSatellites, 11);
    get();
    EXPECT_THAT(unit.log.texts(), IsEmpty());
    EXPECT_EQ((*driver).*memberOf(DriverLastSatelliteLog()), 0);
}

TEST_F(GetSatellites, GivesItsFiguresAndOnlyWholeLinesWithoutMemory) {
    sky({{5, 21, false}, {12, 38, true}, {29, 17.5, false}}, 1);
    for (int16_t i = 3; i < 40; ++i)
        reader().PRN[i] = i;
    reader().satellitesVisible = 40;
    const Lines whole = details();
    withEachAllocationFailing(
        [this] {
            unit.forget();
            (*driver).*memberOf(DriverLastSatelliteLog()) = kNow - 1800;
        },
        [this] { EXPECT_EQ(get(), 0u); },
        [&] {
            EXPECT_EQ(std::make_pair(snr, visible), std::make_pair(38u, 40u));
            EXPECT_THAT(unit.log.texts(), ::testing::IsSubsetOf(whole));
        });
}

/// An application's locale that groups digits and writes a decimal comma.
class GroupingLocale {
public:
    GroupingLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
    ~GroupingLocale() { std::locale::global(before_); }

private:
    struct Punctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale before_;
};

TEST_F(GetSatellites, WritesTheSameInEveryLocaleOfTheApplication) {
    const GroupingLocale locale;
    sky({{1234, 12345.5, true}}, 1);
    EXPECT_THAT(details(), Contains("6 GPSD GetSatellites: PRNs: [1234]; "));
    EXPECT_LOGGED(6, "GPSD GetSatellites: SNRs: [12345.5]; ");
}

} // namespace
