// The connection to gpsd, where libgps by itself would crash, abort or leak.

#include "GpsdSession.h"

#include <fcntl.h>
#include <gps.h>

#include <memory>
#include <string>

#include "FailingMemory.h"
#include "VirtualUnit.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Session : public UnitTest {
protected:
    Lines lines() { return unit.journal.take(); }

    GpsdSession session;
};

TEST_F(Session, ConnectsToTheGpsdOfThisMachineAndAsksForReports) {
    EXPECT_EQ(session.open(), 0);
    session.watch();
    EXPECT_THAT(lines(), ElementsAre("gps_open localhost 2947", "gps_stream 0x11"));
}

TEST_F(Session, WaitsFiveSecondsForAReport) {
    session.open();
    unit.gpsd.isSilent();
    unit.forget();
    EXPECT_FALSE(session.wait());
    EXPECT_THAT(lines(), ElementsAre("gps_waiting 5000000"));
}

TEST_F(Session, ReadsDataUnlessLibgpsGivesZeroOrMinusOne) {
    session.open();
    for (const auto& [result, brought] :
         {std::make_pair(250, true), {1, true}, {0, false}, {-1, false}, {-2, true}}) {
        unit.gpsd.readGives(result);
        EXPECT_TRUE(session.wait());
        EXPECT_EQ(session.read(), brought) << result;
    }
}

TEST_F(Session, ShowsTheRecord) {
    session.open();
    unit.gpsd.reports([](gps_data_t& r) { r.fix.mode = 3; });
    session.wait();
    session.read();
    EXPECT_EQ(session.record()->fix.mode, 3);
}

TEST_F(Session, HandsOnThatTheOpenFailedAndNeverReads) {
    unit.gpsd.openGives(-6, -1);
    EXPECT_EQ(session.open(), -6);
    session.watch();
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
    EXPECT_EQ(unit.journal.count("gps_read"), 0u);
}

TEST_F(Session, RefusesADescriptorThatLibgpsCanNotWaitOn) {
    unit.gpsd.openGives(0, 1024);
    EXPECT_EQ(session.open(), -24);
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
    EXPECT_EQ(unit.journal.count("close 1024"), 1u);
}

TEST_F(Session, RefusesSuchADescriptorOfAFailedOpenToo) {
    unit.gpsd.openGives(-7, 1024);
    EXPECT_EQ(session.open(), -7);
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
}

TEST_F(Session, IsNotConnectedWhenLibgpsHadNoMemoryForItsBuffer) {
    unit.gpsd.openFindsNoMemory();
    EXPECT_EQ(session.open(), -1);
    session.watch();
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
    EXPECT_EQ(unit.journal.count("gps_read"), 0u);
    EXPECT_EQ(unit.journal.count("close 700"), 1u);
    session.close();
    EXPECT_EQ(unit.gpsd.closes(), 1);
}

TEST_F(Session, ReadsAfterASuccessWhereverLibgpsKeepsItsBuffer) {
    unit.gpsd.openKeepsItsBufferElsewhere();
    unit.gpsd.readGives(250);
    EXPECT_EQ(session.open(), 0);
    EXPECT_TRUE(session.wait());
    EXPECT_TRUE(session.read());
    EXPECT_THAT(lines(), ElementsAre("gps_open localhost 2947", "gps_waiting 5000000", "gps_read"));
}

TEST_F(Session, LeavesStandardInputAloneWhenTheOpenLeftNoDescriptor) {
    unit.gpsd.openGives(-1, 0); // as the record was before
    const int before = fcntl(0, F_GETFD);
    EXPECT_EQ(session.open(), -1);
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
    EXPECT_EQ(fcntl(0, F_GETFD), before);
}

TEST_F(Session, IsClosedOnceAndThenNotConnected) {
    session.open();
    session.close();
    session.close();
    EXPECT_EQ(unit.gpsd.closes(), 1);
    EXPECT_TRUE(session.wait());
    EXPECT_FALSE(session.read());
}

TEST_F(Session, ClosesWhatIsOpenAtItsEnd) {
    {
        GpsdSession other;
        other.open();
    }
    EXPECT_EQ(unit.gpsd.closes(), 1);
}

TEST_F(Session, ClosesNothingThatWasNeverOpened) {
    { const GpsdSession other; }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Session, IsNotConnectedWithoutMemory) {
    std::unique_ptr<GpsdSession> without;
    {
        const FailingMemory none = FailingMemory::ofSize(sizeof(gps_data_t));
        without = std::make_unique<GpsdSession>();
    }
    EXPECT_EQ(without->open(), -12);
    without->watch();
    EXPECT_TRUE(without->wait());
    EXPECT_FALSE(without->read());
    EXPECT_EQ(without->record(), nullptr);
    without.reset();
    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
