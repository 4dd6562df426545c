// Initial position and time: the frames, field by field, the counters, and the driver's way to them.

#include <cstdlib>

#include "DriverMembers.h"
#include "HandlerTest.h"
#include "InstanceNames.h"
#include "UbxFrame.h"
#include "UbxPayload.h"

using simulator::PayloadWriter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;

namespace {

const std::string kPortMissing = "UBXConfig: Serial port cannot be opened for reading";

std::string counts(int used, int notUsed) {
    return std::to_string(used) + " MGA messages used, " + std::to_string(notUsed) +
           " MGA messages not used, " + std::to_string(used + notUsed) + " MGA messages received in total";
}

std::string positionCompleted(int used, int notUsed) {
    return "UBXConfig: Initial position assistance completed, " + counts(used, notUsed);
}

std::string timeCompleted(int used, int notUsed) {
    return "UBXConfig: Initial time assistance completed, " + counts(used, notUsed);
}

/// What the frame, as another decoder reads it, brings to the receiver.
simulator::UbxFrame decoded(const Bytes& sent) {
    const auto frames = simulator::framesIn(sent);
    EXPECT_EQ(frames.size(), 1u) << "checksum or length of " << toHex(sent);
    return frames.empty() ? simulator::UbxFrame{} : frames.front();
}

/// A receiver that takes what it is told, but uses none of it.
Bytes decliningReceiver(const Bytes& frame) { return mgaAck(static_cast<uint8_t>(frame[3]), 0, 1); }

// --- Position -------------------------------------------------------------------------------------------

class InitialPosition : public HandlerTest {
protected:
    /// Latitude and longitude in microdegrees, altitude in millimetres.
    simulator::UbxFrame sent(int latitude, int longitude, int altitude, unsigned int accuracy = 1000) {
        handler->addInitialPosition(static_cast<unsigned int>(latitude), static_cast<unsigned int>(longitude),
                                    static_cast<unsigned int>(altitude), accuracy);
        return decoded(unit.port.sent.back());
    }
    static simulator::UbxFrame position(int latitude, int longitude, int altitude,
                                        unsigned int accuracy = 1000) {
        PayloadWriter payload;
        payload.u1(1).u1(0).u2(0).i4(latitude).i4(longitude).i4(altitude).u4(accuracy);
        return {0x13, 0x40, payload.bytes()};
    }
};

TEST_F(InitialPosition, RunsItsStepsInThisOrder) {
    handler->addInitialPosition(52500000, 13400000, 12345, 1000);
    EXPECT_THAT(
        unit.journal.lines(),
        ElementsAre("fopen /dev/ttymxc1 rb",
                    logged(6, "UBXConfig: Initial position assistance (UBX-MGA-INI-POS_LLH)"),
                    written(R"(\xb5\x62\x13\x40\x14\x00\x01\x00\x00\x00\x40\xdd\x4a\x1f\x80\xad\xfc\x07)"
                            R"(\xd2\x04\x00\x00\xe8\x03\x00\x00\xdf\xc1)"),
                    logged(6, positionCompleted(1, 0)), "fclose /dev/ttymxc1"));
}

struct PositionCase {
    const char* where;
    int latitude;
    int longitude;
};

class InitialPositionInAQuadrant : public InitialPosition,
                                   public ::testing::WithParamInterface<PositionCase> {};

TEST_P(InitialPositionInAQuadrant, IsSentInTenMillionthsOfADegree) {
    const PositionCase& row = GetParam();
    EXPECT_EQ(sent(row.latitude, row.longitude, 100), position(row.latitude * 10, row.longitude * 10, 10))
        << row.where;
}

INSTANTIATE_TEST_SUITE_P(
    Quadrants, InitialPositionInAQuadrant,
    Values(PositionCase{"Berlin", 52500000, 13400000}, PositionCase{"New York", 40712800, -74006000},
           PositionCase{"Sydney", -33868800, 151209300}, PositionCase{"Buenos Aires", -34603700, -58381600},
           PositionCase{"the date line", -1, 180000000}, PositionCase{"the pole", 90000000, -180000000}),
    [](const auto& made) {
        const auto& p = made.param;
        return instanceName(p.where);
    });

TEST_F(InitialPosition, LetsTheProductsRunOver) {
    EXPECT_EQ(sent(500000000, 1, 10), position(static_cast<int>(5000000000U - (1ULL << 32)), 10, 1));
}

TEST_F(InitialPosition, CutsTheAltitudeToCentimetres) {
    EXPECT_EQ(sent(1, 1, 12345), position(10, 10, 1234));
    EXPECT_EQ(sent(1, 1, 9), position(10, 10, 0));
}

TEST_F(InitialPosition, DividesTheAltitudeUnsigned) {
    EXPECT_EQ(sent(1, 1, -10000), position(10, 10, 429495729)); // (2^32 - 10000) / 10
}

TEST_F(InitialPosition, SendsTheAccuracyAsItIs) {
    EXPECT_EQ(sent(1, 1, 10, 0xFFFFFFFF), position(10, 10, 1, 0xFFFFFFFF));
}

TEST_F(InitialPosition, StaysInTheListAcknowledged) {
    sent(1, 1, 10);
    ASSERT_THAT(records(), SizeIs(6));
    EXPECT_EQ(records()[5].description, "UBXConfig: Initial position assistance (UBX-MGA-INI-POS_LLH)");
    EXPECT_EQ(records()[5].msgClass, 0x13);
    EXPECT_EQ(records()[5].msgId, 0x40);
    EXPECT_TRUE(records()[5].acknowledged);
}

TEST_F(InitialPosition, ReportsItsOwnCallAlone) {
    sent(1, 1, 10);
    unit.port.receiver = decliningReceiver;
    sent(2, 2, 20);
    EXPECT_THAT(records(), SizeIs(7));
    EXPECT_LOGGED(6, positionCompleted(1, 0));
    EXPECT_LOGGED(6, positionCompleted(0, 1));
}

TEST_F(InitialPosition, ReportsZerosFromASilentReceiver) {
    unit.port.receiver = silentReceiver;
    sent(1, 1, 10);
    EXPECT_LOGGED(6, positionCompleted(0, 0));
    EXPECT_THAT(unit.port.sent, SizeIs(1));
    expectTimeOut();
}

TEST_F(InitialPosition, CountsOneAnswerForTheUnansweredOneBeforeToo) {
    unit.port.receiver = silentReceiver;
    sent(1, 1, 10);
    unit.port.receiver = contentReceiver;
    sent(2, 2, 20);
    EXPECT_LOGGED(6, positionCompleted(2, 0));
}

TEST_F(InitialPosition, IsWrittenWithoutAPort) {
    unit.port.openFails("/dev/ttymxc1");
    sent(1, 1, 10);
    EXPECT_LOGGED(2, kPortMissing);
    EXPECT_LOGGED(6, positionCompleted(0, 0));
    EXPECT_EQ(unit.journal.count("fclose"), 0u);
    EXPECT_EQ(unit.port.reads, 0);
}

TEST_F(InitialPosition, LeavesThePortClosed) {
    sent(1, 1, 10);
    EXPECT_FALSE(unit.port.isOpen());
    EXPECT_EQ(member(HandlerSerialPort()), nullptr);
}

struct LongListCase {
    std::size_t recordsBefore;
    std::size_t framesWritten;
    int used;
};

class InitialPositionBehindALongList : public InitialPosition,
                                       public ::testing::WithParamInterface<LongListCase> {};

TEST_P(InitialPositionBehindALongList, SendsWhatItsIndexOf8BitsNames) {
    fillListTo(GetParam().recordsBefore);
    handler->addInitialPosition(1, 1, 10, 1000);
    EXPECT_EQ(unit.journal.count("system echo -e"), GetParam().framesWritten);
    EXPECT_LOGGED(6, positionCompleted(GetParam().used, 0));
}

INSTANTIATE_TEST_SUITE_P(Lists, InitialPositionBehindALongList,
                         Values(LongListCase{127, 1, 1},   // record 127
                                LongListCase{128, 0, 0},   // -128
                                LongListCase{254, 0, 0},   // -2
                                LongListCase{255, 255, 1}, // -1: all but the first
                                LongListCase{256, 1, 0}),  // 0: the port command
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.recordsBefore);
                         });

// --- Time -----------------------------------------------------------------------------------------------

class InitialTime : public HandlerTest {
protected:
    simulator::UbxFrame sentAt(time_t utc) {
        unit.clock.setUtc(utc);
        handler->addInitialTime();
        return unit.port.sent.empty() ? simulator::UbxFrame{} : decoded(unit.port.sent.back());
    }
    struct Utc {
        unsigned int year, month, day, hour, minute, second;
    };
    static simulator::UbxFrame timeFrame(const Utc& t) {
        constexpr int kLeapSeconds = 18;
        constexpr uint32_t kAccuracySeconds = 10;
        PayloadWriter payload;
        payload.u1(0x10).u1(0).u1(0).i1(kLeapSeconds);
        payload.u2(t.year).u1(t.month).u1(t.day).u1(t.hour).u1(t.minute).u1(t.second).u1(0).u4(0);
        payload.u2(kAccuracySeconds).u2(0).u4(0);
        return {0x13, 0x40, payload.bytes()};
    }
};

constexpr time_t kFirstSecondOf2017 = 1483228800;

TEST_F(InitialTime, RunsItsStepsInThisOrder) {
    unit.clock.setUtc(kFirstSecondOf2017);
    handler->addInitialTime();
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("fopen /dev/ttymxc1 rb", logged(6, "UBXConfig: Initial time assistance"),
                            written(R"(\xb5\x62\x13\x40\x18\x00\x10\x00\x00\x12\xe1\x07\x01\x01\x00\x00\x00)"
                                    R"(\x00\x00\x00\x00\x00\x0a\x00\x00\x00\x00\x00\x00\x00\x81\xca)"),
                            logged(6, timeCompleted(1, 0)), "fclose /dev/ttymxc1"));
}

TEST_F(InitialTime, BringsTheSystemsUtc) {
    EXPECT_EQ(sentAt(1700000000), timeFrame({2023, 11, 14, 22, 13, 20}));
}

TEST_F(InitialTime, IsSentFromTheFirstSecondOf2017On) {
    EXPECT_EQ(sentAt(kFirstSecondOf2017), timeFrame({2017, 1, 1, 0, 0, 0}));
}

TEST_F(InitialTime, IsNotSentInTheLastSecondOf2016) {
    member(HandlerMgaUsedCount()) = 7;
    member(HandlerMgaNotUsedCount()) = 2;
    sentAt(kFirstSecondOf2017 - 1);
    EXPECT_THAT(unit.port.sent, IsEmpty());
    EXPECT_THAT(records(), SizeIs(5));
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("fopen /dev/ttymxc1 rb", logged(6, timeCompleted(7, 2)), "fclose /dev/ttymxc1"));
}

TEST_F(InitialTime, IsNotSentByAnUnsetClock) {
    sentAt(0);
    EXPECT_THAT(unit.port.sent, IsEmpty());
}

TEST_F(InitialTime, KeepsTheCountersWhenTheClockIsNotSet) {
    member(HandlerMgaUsedCount()) = 7;
    member(HandlerMgaNotUsedCount()) = 2;
    sentAt(0);
    EXPECT_LOGGED(6, timeCompleted(7, 2));
}

TEST_F(InitialTime, IsNotSentBehind128Records) {
    fillListTo(128);
    sentAt(kFirstSecondOf2017);
    EXPECT_THAT(unit.port.sent, IsEmpty());
    EXPECT_THAT(records(), SizeIs(129));
    EXPECT_LOGGED(6, timeCompleted(0, 0));
}

class InitialTimeBehindALongList : public InitialTime, public ::testing::WithParamInterface<LongListCase> {};

TEST_P(InitialTimeBehindALongList, SendsWhatItsIndexOf8BitsNames) {
    fillListTo(GetParam().recordsBefore);
    unit.clock.setUtc(kFirstSecondOf2017);
    handler->addInitialTime();
    EXPECT_EQ(unit.journal.count("system echo -e"), GetParam().framesWritten);
    EXPECT_LOGGED(6, timeCompleted(GetParam().used, 0));
}

INSTANTIATE_TEST_SUITE_P(Lists, InitialTimeBehindALongList,
                         Values(LongListCase{127, 1, 1},   // record 127
                                LongListCase{254, 0, 0},   // -2
                                LongListCase{255, 255, 1}, // -1: all but the first
                                LongListCase{256, 1, 0}),  // 0: the port command
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.recordsBefore);
                         });

class InAnotherTimeZone : public InitialTime {
protected:
    InAnotherTimeZone() { setZone("FAR-13"); }
    ~InAnotherTimeZone() override { setZone(before.c_str()); }

    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    const std::string before = getenv("TZ") != nullptr ? getenv("TZ") : "UTC0";
};

TEST_F(InAnotherTimeZone, ALeapDayStaysTheUtcDay) {
    EXPECT_EQ(sentAt(1709249999), timeFrame({2024, 2, 29, 23, 39, 59})); // locally March 1
}

TEST_F(InAnotherTimeZone, TheLastSecondsOf2016AreNotSent) {
    sentAt(kFirstSecondOf2017 - 1); // locally 2017
    EXPECT_THAT(unit.port.sent, IsEmpty());
}

TEST_F(InitialTime, StaysInTheListAcknowledged) {
    sentAt(kFirstSecondOf2017);
    ASSERT_THAT(records(), SizeIs(6));
    EXPECT_EQ(records()[5].description, "UBXConfig: Initial time assistance");
    EXPECT_EQ(records()[5].msgClass, 0x13);
    EXPECT_EQ(records()[5].msgId, 0x40);
    EXPECT_TRUE(records()[5].acknowledged);
}

TEST_F(InitialTime, ReportsItsOwnCallAlone) {
    handler->addInitialPosition(1, 1, 10, 1000);
    unit.port.receiver = decliningReceiver;
    sentAt(kFirstSecondOf2017);
    EXPECT_LOGGED(6, timeCompleted(0, 1));
}

TEST_F(InitialTime, SharesItsAnswerWithAnUnansweredPosition) {
    unit.port.receiver = silentReceiver;
    handler->addInitialPosition(1, 1, 10, 1000);
    unit.port.receiver = contentReceiver;
    sentAt(kFirstSecondOf2017);
    EXPECT_THAT(acknowledged(), ElementsAre(0, 1, 2, 3, 4, 5, 6));
    EXPECT_LOGGED(6, timeCompleted(2, 0));
}

TEST_F(InitialTime, IsSentStaleByAReload) {
    const simulator::UbxFrame first = sentAt(kFirstSecondOf2017);
    unit.clock.setUtc(1700000000);
    handler->reloadConfig();
    EXPECT_EQ(decoded(unit.port.sent.back()), first);
}

TEST_F(InitialTime, IsWrittenWithoutAPort) {
    unit.port.openFails("/dev/ttymxc1");
    sentAt(kFirstSecondOf2017);
    EXPECT_LOGGED(2, kPortMissing);
    EXPECT_THAT(unit.port.sent, SizeIs(1));
    EXPECT_LOGGED(6, timeCompleted(0, 0));
    EXPECT_EQ(unit.journal.count("fclose"), 0u);
}

TEST_F(InitialTime, ReportsZerosFromASilentReceiver) {
    unit.port.receiver = silentReceiver;
    sentAt(kFirstSecondOf2017);
    EXPECT_LOGGED(6, timeCompleted(0, 0));
    expectTimeOut();
    EXPECT_FALSE(unit.port.isOpen());
}

// --- The driver's way -----------------------------------------------------------------------------------

/// A driver that writes its life-cycle calls into the journal.
class TalkingDriver : public GPSHAL_RUXO_3 {
public:
    explicit TalkingDriver(Journal& journal) : journal_(journal) {}

    unsigned int Initialize() override { return told("Initialize"), GPSHAL_RUXO_3::Initialize(); }
    unsigned int Finalize() override { return told("Finalize"), GPSHAL_RUXO_3::Finalize(); }
    unsigned int Start() override {
        return told("Start"), startResult != 0 ? startResult : GPSHAL_RUXO_3::Start();
    }
    unsigned int Stop() override { return told("Stop"), GPSHAL_RUXO_3::Stop(); }

    unsigned int startResult = 0;

private:
    void told(const char* call) { journal_.add(std::string("call ") + call); }

    Journal& journal_;
};

class DriverWithReceiver : public UnitTest {
protected:
    DriverWithReceiver() : driver(unit.journal) {
        driver.Initialize();
        driver.Start();
        unit.clock.advance(std::chrono::seconds(60));
        unit.forget();
    }
    ~DriverWithReceiver() override { GPSHAL_RUXO_3::noDataReadCounter = 0; }

    Lines story() {
        return unit.journal.only(
            {"call ", "popen kill", "popen gpsd", "system echo", "fopen /dev", "fclose /dev", "sleep 5"});
    }

    TalkingDriver driver;
};

TEST_F(DriverWithReceiver, HandsOverAPositionWhileGpsdIsDown) {
    EXPECT_EQ(driver.setInitialPosition(52500000, 13400000, 12345), 0u);
    EXPECT_THAT(
        story(),
        ElementsAre("call Stop", "call Finalize", "popen kill -9 $(pidof gpsd)", "fopen /dev/ttymxc1 rb",
                    written(R"(\xb5\x62\x13\x40\x14\x00\x01\x00\x00\x00\x40\xdd\x4a\x1f\x80\xad\xfc\x07)"
                            R"(\xd2\x04\x00\x00\xe8\x03\x00\x00\xdf\xc1)"),
                    "fclose /dev/ttymxc1", "call Initialize",
                    "popen gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1", "call Start"));
    EXPECT_TRUE(unit.shell.daemon.running);
}

TEST_F(DriverWithReceiver, GivesTheResultOfTheStart) {
    driver.startResult = 0x17000001;
    EXPECT_EQ(driver.setInitialPosition(1, 1, 10), 0x17000001u);
}

struct NoPosition {
    unsigned int latitude, longitude, altitude;
};

class DriverWithoutPosition : public DriverWithReceiver, public ::testing::WithParamInterface<NoPosition> {};

TEST_P(DriverWithoutPosition, ChangesNothing) {
    EXPECT_EQ(driver.setInitialPosition(GetParam().latitude, GetParam().longitude, GetParam().altitude), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_THAT((driver.*memberOf(DriverUbxConfig())).*memberOf(HandlerRecords()), SizeIs(5));
}

INSTANTIATE_TEST_SUITE_P(Zeros, DriverWithoutPosition,
                         Values(NoPosition{0, 1, 1}, NoPosition{1, 0, 1}, NoPosition{1, 1, 0},
                                NoPosition{0, 0, 0}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.latitude, p.longitude, p.altitude);
                         });

TEST_F(DriverWithReceiver, ConfiguresTheReceiverAgainAfterSilence) {
    GPSHAL_RUXO_3::noDataReadCounter = 11;
    GPSData data;
    driver.GetData(data);
    const Lines steps = story();
    EXPECT_THAT(
        Lines(steps.begin(), steps.begin() + 4),
        ElementsAre("call Stop", "call Finalize", "popen kill -9 $(pidof gpsd)", "fopen /dev/ttymxc1 rb"));
    EXPECT_THAT(Lines(steps.end() - 5, steps.end()),
                ElementsAre("fclose /dev/ttymxc1", "sleep 5", "call Initialize",
                            "popen gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1", "call Start"));
    EXPECT_THAT(unit.port.sent, SizeIs(5));
    EXPECT_EQ(GPSHAL_RUXO_3::noDataReadCounter, 0u);
}

TEST_F(DriverWithReceiver, HandsThePositionOverAgainAfterSilence) {
    driver.setInitialPosition(52500000, 13400000, 12345);
    const Bytes position = unit.port.sent.back();
    GPSHAL_RUXO_3::noDataReadCounter = 11;
    GPSData data;
    driver.GetData(data);
    EXPECT_EQ(unit.port.sent.back(), position);
}

TEST_F(DriverWithReceiver, LeavesTheReceiverAloneWhileDataComes) {
    GPSHAL_RUXO_3::noDataReadCounter = 10;
    GPSData data;
    driver.GetData(data);
    EXPECT_THAT(unit.port.sent, IsEmpty());
    EXPECT_EQ(GPSHAL_RUXO_3::noDataReadCounter, 10u);
}

} // namespace
