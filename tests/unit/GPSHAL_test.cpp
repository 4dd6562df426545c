// The receiver interface: what a driver inherits, the factory, and the records and codes that go with it.

#include "GPSHAL.h"

#include <malloc.h>

#include <new>
#include <vector>

#include "DriverFixture.h"
#include "FailingMemory.h"

EXPOSE_MEMBER(HalName, GPSHAL, halName);

namespace {

constexpr char kNotSupported[] =
    "Using initial position values for A-GPS purpose is not supported for this setup!";

/// A driver that answers one query, with recognisable figures.
class FigureHal : public GPSHAL {
public:
    explicit FigureHal(const char* name = "figures") : GPSHAL(name) {}

    bool IsActive() override { return false; }
    unsigned int Initialize() override { return 0; }
    unsigned int Finalize() override { return 0; }
    bool IsRunning() override { return false; }
    unsigned int Start() override { return 0; }
    unsigned int Stop() override { return 0; }
    unsigned int GetData(GPSData&) override { return 0; }
    unsigned int GetCurrentTime(long&) override { return 0; }
    unsigned int GetAntennaStatus(GPSAntennaState&) override { return 0; }
    unsigned int GetStatus(bool&) override { return 0; }
    unsigned int GetSatellites(unsigned int& snr, unsigned int& visible) override {
        snr = 38;
        visible = 12;
        return 0x17000205;
    }
    unsigned int GetErrorEstimates(unsigned int&, int&) override { return 0; }
};

// --- The interface --------------------------------------------------------------------------------------

class HalInterface : public UnitTest {
protected:
    FigureHal hal;
};

TEST_F(HalInterface, GetSnrIsTheFirstFigureOfGetSatellites) {
    unsigned int snr = 99;
    EXPECT_EQ(hal.GetSNR(snr), 0x17000205u);
    EXPECT_EQ(snr, 38u);
}

TEST_F(HalInterface, GetSatCountIsTheSecondFigureOfGetSatellites) {
    unsigned int count = 99;
    EXPECT_EQ(hal.GetSatCount(count), 0x17000205u);
    EXPECT_EQ(count, 12u);
}

TEST_F(HalInterface, LogsThatAnInitialPositionIsNotSupportedOnEveryCall) {
    EXPECT_EQ(hal.setInitialPosition(0, 0, 0), 0u);
    EXPECT_EQ(hal.setInitialPosition(48137154, 11576124, 519000), 0u);
    EXPECT_EQ(hal.setInitialPosition(~0u, ~0u, ~0u), 0u);
    ASSERT_EQ(unit.log.all().size(), 3u);
    for (const LogLine& line : unit.log.all()) {
        EXPECT_EQ(line.level, 3);
        EXPECT_EQ(line.source, "src/GPSHAL.cpp");
        EXPECT_GT(line.line, 0);
        EXPECT_EQ(line.text, kNotSupported);
    }
}

TEST_F(HalInterface, LosesALogLineForWantOfMemoryAndGoesOn) {
    {
        const FailingMemory none(1);
        EXPECT_EQ(hal.setInitialPosition(48137154, 11576124, 519000), 0u);
        EXPECT_TRUE(none.hasFailed());
    }
    EXPECT_THAT(unit.log.texts(), ::testing::IsEmpty());
}

TEST_F(HalInterface, KeepsACopyOfItsName) {
    std::string name = "/var/run/one.pid";
    const FigureHal named(name.c_str());
    name.assign(name.size(), 'x');
    EXPECT_STREQ((named.*memberOf(HalName())).getStr(), "/var/run/one.pid");
}

TEST_F(HalInterface, StartsNothingByItself) { EXPECT_THAT(unit.journal.lines(), ::testing::IsEmpty()); }

// --- The factory ----------------------------------------------------------------------------------------

class HalFactory : public UnitTest {};

TEST_F(HalFactory, MakesTheGpsdDriver) {
    const std::unique_ptr<GPSHAL> hal(GPSHAL::GetNewInstance());
    EXPECT_NE(dynamic_cast<GPSHAL_RUXO_3*>(hal.get()), nullptr);
    EXPECT_STREQ(((*hal).*memberOf(HalName())).getStr(), "/var/run/gpsd.pid");
}

TEST_F(HalFactory, HasTheReceiverConfigured) {
    const std::unique_ptr<GPSHAL> hal(GPSHAL::GetNewInstance());
    EXPECT_FALSE(unit.port.sent.empty());
    EXPECT_FALSE(unit.port.isOpen());
}

TEST_F(HalFactory, MakesADriverThatIsNeitherActiveNorRunning) {
    const std::unique_ptr<GPSHAL> hal(GPSHAL::GetNewInstance());
    EXPECT_FALSE(hal->IsActive());
    EXPECT_FALSE(hal->IsRunning());
    EXPECT_EQ(unit.threads.count(), 0u);
    EXPECT_EQ(unit.journal.count("popen gpsd"), 0u);
}

TEST_F(HalFactory, MakesANewDriverEachTime) {
    const std::unique_ptr<GPSHAL> one(GPSHAL::GetNewInstance());
    const std::unique_ptr<GPSHAL> other(GPSHAL::GetNewInstance());
    EXPECT_NE(one.get(), other.get());
}

TEST_F(HalFactory, DestroysTheDriverThroughTheInterface) {
    GPSHAL* hal = GPSHAL::GetNewInstance();
    hal->Initialize();
    unit.forget();
    delete hal;
    EXPECT_EQ(unit.journal.count("popen kill -9 $(pidof gpsd)"), 1u);
    EXPECT_EQ(unit.journal.count("fopen /data/NavigationDatabaseDump w"), 1u);
}

TEST_F(HalFactory, PassesOnWhatTheConstructionThrows) {
    unit.shell.listeners.push_back([](const std::string&) { throw std::bad_alloc(); });
    EXPECT_THROW(GPSHAL::GetNewInstance(), std::bad_alloc);
}

TEST_F(HalFactory, ReleasesTheDriverWhenItsConstructionThrows) {
    unit.shell.listeners.push_back([](const std::string&) { throw std::bad_alloc(); });
    const auto failOften = [this] {
        for (int i = 0; i < 20; ++i)
            EXPECT_THROW(GPSHAL::GetNewInstance(), std::bad_alloc);
        unit.forget();
        return mallinfo2().uordblks;
    };
    const std::size_t before = failOften();
    EXPECT_LT(failOften(), before + sizeof(GPSHAL_RUXO_3));
}

// --- Order of use ---------------------------------------------------------------------------------------

class FreshDriver : public DriverFixture {};

TEST_F(FreshDriver, IsNotStartedBeforeItIsInitialised) { EXPECT_EQ(driver->Start(), 0x17000002u); }

TEST_F(FreshDriver, RefusesEveryQueryBeforeItIsStarted) {
    driver->Initialize();
    GPSData data;
    long seconds = 1;
    GPSAntennaState antenna{};
    bool receiving = true;
    unsigned int unsignedFigures[2] = {};
    int figure = 1;
    EXPECT_EQ(driver->GetData(data), 0x17000002u);
    EXPECT_EQ(driver->GetCurrentTime(seconds), 0x17000002u);
    EXPECT_EQ(driver->GetAntennaStatus(antenna), 0x17000002u);
    EXPECT_EQ(driver->GetStatus(receiving), 0x17000002u);
    EXPECT_EQ(driver->GetSatellites(unsignedFigures[0], unsignedFigures[1]), 0x17000002u);
    EXPECT_EQ(driver->GetErrorEstimates(unsignedFigures[0], figure), 0x17000002u);
}

TEST_F(FreshDriver, GivesNoSnrAndNoSatellitesBeforeItIsStarted) {
    unsigned int snr = 7;
    unsigned int count = 8;
    EXPECT_EQ(driver->GetSNR(snr), 0x17000002u);
    EXPECT_EQ(driver->GetSatCount(count), 0x17000002u);
    EXPECT_EQ(snr, 0u);
    EXPECT_EQ(count, 0u);
}

TEST_F(FreshDriver, ReportsStaleDataInEveryQueryUntilDataArrives) {
    start();
    GPSData data;
    long seconds = 1;
    bool receiving = true;
    unsigned int figures[3] = {1, 1, 1};
    int timeError = 1;
    EXPECT_EQ(driver->GetData(data), 0x17000205u);
    EXPECT_EQ(driver->GetCurrentTime(seconds), 0x17000205u);
    EXPECT_EQ(driver->GetSatellites(figures[0], figures[1]), 0x17000205u);
    EXPECT_EQ(driver->GetStatus(receiving), 0u);
    EXPECT_EQ(driver->GetErrorEstimates(figures[2], timeError), 0u);
    EXPECT_FALSE(data.valid || receiving);
    EXPECT_THAT(figures, ::testing::Each(0u));
    EXPECT_EQ(std::make_pair(seconds, timeError), std::make_pair(0L, 0));
}

TEST_F(FreshDriver, GivesSnrAndSatellitesOfTheSkyView) {
    start();
    reader().satellitesVisible = 2;
    reader().satellitesUsed = 1;
    reader().ss[1] = 33;
    reader().used[1] = true;
    reader().tsSatellites = unit.clock.utc();
    unsigned int snr = 0;
    unsigned int count = 0;
    EXPECT_EQ(driver->GetSNR(snr), 0u);
    EXPECT_EQ(driver->GetSatCount(count), 0u);
    EXPECT_EQ(snr, 33u);
    EXPECT_EQ(count, 2u);
}

// --- The platform's HAL ---------------------------------------------------------------------------------

TEST_F(FreshDriver, KeepsTheHalItWasGivenWhenTheLibraryWasLoaded) {
    start();
    unit.hal.present = false;
    GPSAntennaState antenna{};
    EXPECT_EQ(driver->GetAntennaStatus(antenna), 0u);
    EXPECT_EQ(unit.hal.queries, 1);
}

// --- Records and codes ----------------------------------------------------------------------------------

TEST(GPSDataRecord, HoldsNothingAfterClear) {
    GPSData data;
    data.valid = true;
    data.latitude = data.longitude = data.altitude = data.time = -1;
    data.speed = data.course = 1;
    data.hdop = data.tdop = data.pdop = data.gdop = 1;
    data.Clear();
    EXPECT_FALSE(data.valid);
    EXPECT_THAT((std::vector<int32_t>{data.latitude, data.longitude, data.altitude, data.time}),
                ::testing::Each(0));
    EXPECT_THAT((std::vector<uint32_t>{data.speed, data.course}), ::testing::Each(0u));
    EXPECT_THAT((std::vector<float>{data.hdop, data.tdop, data.pdop, data.gdop}), ::testing::Each(0.0f));
}

TEST(ResultCodes, HaveTheirValues) {
    EXPECT_EQ(GPS_ERR_FAILED, 0x17000001u);
    EXPECT_EQ(GPS_ERR_NOT_RUNNING, 0x17000002u);
    EXPECT_EQ(GPS_ERR_NOT_AVAILABLE, 0x17000003u);
    EXPECT_EQ(GPS_ERR_INVALID_POSITION, 0x17000021u);
    EXPECT_EQ(GPS_ERR_THREAD, 0x17000101u);
    EXPECT_EQ(GPS_ERR_NO_CURRENT_DATA, 0x17000205u);
}

} // namespace
