// The lists of satellites that go into the log.

#include "SatelliteTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "FailingMemory.h"

namespace {

class SatelliteLists : public ::testing::Test {
protected:
    SatelliteLists() {
        reader.PRN[0] = 5, reader.ss[0] = 21;
        reader.PRN[1] = 12, reader.ss[1] = 38, reader.used[1] = true;
        reader.PRN[2] = 29, reader.ss[2] = 17.5;
    }

    SatelliteTexts of(int32_t count) { return describeSatellites(reader, count); }

    ReaderBlock reader{};
};

TEST_F(SatelliteLists, HaveAnEntryASatellite) {
    const SatelliteTexts texts = of(3);
    EXPECT_EQ(texts.prns, "PRNs: [5,12,29]; ");
    EXPECT_EQ(texts.snrs, "SNRs: [21,38,17.5]; ");
    EXPECT_EQ(texts.used, "Used: [N,Y,N]");
}

TEST_F(SatelliteLists, HaveNoCommaWithOneSatellite) {
    EXPECT_EQ(of(1).prns, "PRNs: [5]; ");
    EXPECT_EQ(of(1).used, "Used: [N]");
}

TEST_F(SatelliteLists, StayOpenWithoutSatellites) {
    EXPECT_EQ(of(0).prns, "PRNs: [");
    EXPECT_EQ(of(0).snrs, "SNRs: [");
    EXPECT_EQ(of(0).used, "Used: [");
}

TEST_F(SatelliteLists, HoldAllThatTheSnapshotHasRoomFor) {
    reader.PRN[kSatelliteCapacity - 1] = 77;
    EXPECT_THAT(of(kSatelliteCapacity).prns, ::testing::EndsWith(",77]; "));
}

TEST_F(SatelliteLists, WriteWhatIsNoNumberAsAStreamDoes) {
    reader.ss[0] = std::numeric_limits<double>::quiet_NaN();
    reader.ss[1] = 27.1234567;
    EXPECT_EQ(of(2).snrs, "SNRs: [nan,27.1235]; ");
}

TEST_F(SatelliteLists, AreWholeOrNotThere) {
    bool hasFailed = true;
    for (std::size_t n = 1; hasFailed; ++n) {
        std::string text;
        {
            const FailingMemory memory(n, 1);
            try {
                text = describeSatellites(reader, kSatelliteCapacity).snrs;
            } catch (const std::bad_alloc&) {
                text.clear();
            }
            hasFailed = memory.hasFailed();
        }
        EXPECT_TRUE(text.empty() || text == of(kSatelliteCapacity).snrs) << n << ": " << text;
    }
}

} // namespace
