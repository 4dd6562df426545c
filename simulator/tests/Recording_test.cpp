#include "simulator/Recording.h"

#include <gtest/gtest.h>

#include "simulator/Nmea.h"

using namespace simulator;
using namespace std::chrono_literals;

namespace {

std::string sentence(const std::string& body) { return "$" + body + "*" + nmeaChecksumText(body) + "\r\n"; }

std::string rmc(const std::string& time, const std::string& date = "100117") {
    return sentence("GNRMC," + time + ",A,4404.13387,N,12118.85628,W,0.029,," + date + ",,,A");
}
std::string gga(const std::string& time) {
    return sentence("GNGGA," + time + ",4404.13387,N,12118.85628,W,1,12,1.01,1144.8,M,-21.4,M,,");
}

// A UBX frame with this class and id; the first bytes of the payload are given, the rest is zero.
std::string ubx(char cls, char id, std::size_t length, std::uint32_t timeOfWeekMs) {
    std::string covered{cls, id, static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
    for (std::size_t i = 0; i < length; ++i)
        covered += i < 4 ? static_cast<char>((timeOfWeekMs >> (8 * i)) & 0xFF) : '\0';
    unsigned a = 0;
    unsigned b = 0;
    for (const char c : covered) {
        a = (a + static_cast<unsigned char>(c)) & 0xFF;
        b = (b + a) & 0xFF;
    }
    return "\xB5\x62" + covered + static_cast<char>(a) + static_cast<char>(b);
}

std::string joined(const Recording& recording) {
    std::string bytes;
    for (const RecordedEpoch& epoch : recording.epochs())
        for (const std::string& frame : epoch.frames)
            bytes += frame;
    return bytes;
}

unsigned payloadByte(const std::string& frame, std::size_t offset) {
    return static_cast<unsigned char>(frame[6 + offset]);
}

} // namespace

// --- Epochs ---------------------------------------------------------------------------------------------

TEST(Recording, HeaderLinesAreSkippedAndAllElseIsKeptInOrder) {
    const std::string bytes = std::string("rub\x01\xB5ish") + rmc("000941.00") + ubx(1, 7, 92, 1000) +
                              "\xB5" + gga("000942.00") + "$cut";
    EXPECT_EQ(bytes, joined(Recording::parse("# Name: x\n#\n" + bytes)));
    EXPECT_EQ(bytes, joined(Recording::parse(bytes)));
    EXPECT_EQ("", joined(Recording::parse("# only a header")));
}

TEST(Recording, SentencesFramesAndUnreadableBytesAreCounted) {
    std::string broken = rmc("000942.00");
    broken[8] = '1';
    const Recording recording = Recording::parse("# header\n" + rmc("000941.00") + "?" + ubx(1, 7, 92, 1000) +
                                                 gga("000941.00") + broken);
    EXPECT_EQ(2U, recording.content().sentences);
    EXPECT_EQ(1U, recording.content().frames);
    EXPECT_EQ(1 + broken.size(), recording.content().unreadableBytes);
}

TEST(Recording, SentenceBehindOneThatWasCutIsRecognised) {
    const Recording recording = Recording::parse("$GNRMC,0009" + rmc("000941.00"));
    EXPECT_EQ(1U, recording.content().sentences);
    EXPECT_EQ(11U, recording.content().unreadableBytes);
    EXPECT_EQ(9min + 41s, recording.epochs().at(0).timeOfDay);
}

TEST(Recording, ContentIsDescribedInWords) {
    EXPECT_EQ("1200 sentences, 1 frame and 17 unreadable bytes", described({1200, 1, 17}));
    EXPECT_EQ("1 sentence, 0 frames and 1 unreadable byte", described({1, 0, 1}));
}

TEST(Recording, SentencesOfOneTimeAreOneEpoch) {
    const Recording recording = Recording::parse(rmc("000941.00") + gga("000941.00") + rmc("000942.00") +
                                                 gga("000942.00") + rmc("000944.50"));
    ASSERT_EQ(3U, recording.epochs().size());
    EXPECT_EQ(2U, recording.epochs()[0].frames.size());
    EXPECT_EQ(1s, recording.epochs()[1].sinceStart);
    EXPECT_EQ(3500ms, recording.epochs()[2].sinceStart);
    EXPECT_EQ(6s, recording.duration());
}

TEST(Recording, SentencesWithoutATimeStayWithTheOneBefore) {
    const Recording recording = Recording::parse(sentence("GNTXT,x") + rmc("000941.00") +
                                                 sentence("GPGSV,1,1,00") + rmc("000942.00"));
    ASSERT_EQ(2U, recording.epochs().size());
    EXPECT_EQ(3U, recording.epochs()[0].frames.size());
}

TEST(Recording, MidnightIsNoPause) {
    const Recording recording = Recording::parse(rmc("235959.00") + rmc("000000.00"));
    EXPECT_EQ(1s, recording.epochs().at(1).sinceStart);
}

TEST(Recording, SlightlyOlderTimeIsNoNewEpoch) {
    EXPECT_EQ(1U, Recording::parse(rmc("094737") + gga("094736")).epochs().size());
}

TEST(Recording, CorrectedClockIsNoPause) {
    const Recording recording = Recording::parse(rmc("000000.00") + rmc("094736.00") + rmc("010000.00"));
    EXPECT_EQ(2s, recording.epochs().at(2).sinceStart);
}

TEST(Recording, UbxEpochsFollowTheTimeOfWeek) {
    const Recording recording = Recording::parse(ubx(1, 0x35, 116, 312'749'000) + ubx(1, 4, 18, 312'749'000) +
                                                 ubx(1, 7, 92, 312'750'000) + ubx(2, 0x13, 24, 99));
    ASSERT_EQ(2U, recording.epochs().size());
    EXPECT_EQ(1s, recording.epochs()[1].sinceStart);
    EXPECT_EQ(2U, recording.epochs()[1].frames.size());
}

TEST(Recording, BrokenFramesHaveNoTime) {
    std::string broken = rmc("000942.00");
    broken[8] = '1';
    EXPECT_EQ(1U, Recording::parse(rmc("000941.00") + broken).epochs().size());
}

// --- New times ------------------------------------------------------------------------------------------

class RestampTest : public ::testing::Test {
protected:
    RestampTest() { epoch.timeOfDay = 9min + 41s; }
    std::string stamped(const std::string& frame) const { return restamped(frame, epoch, now); }

    const UtcTime now = utcOf({2024, 12, 31, 23, 59, 59, 0});
    RecordedEpoch epoch;
};

TEST_F(RestampTest, TimesAndDatesBecomeThoseOfNow) {
    EXPECT_EQ(rmc("235959.00", "311224"), stamped(rmc("000941.00")));
    EXPECT_EQ(gga("235959.00"), stamped(gga("000941.00")));
    EXPECT_EQ(sentence("GNGLL,4404.13387,N,12118.85628,W,235959.00,A,A"),
              stamped(sentence("GNGLL,4404.13387,N,12118.85628,W,000941.00,A,A")));
    EXPECT_EQ(sentence("GNZDA,235959.00,31,12,2024,00,00"),
              stamped(sentence("GNZDA,000941.00,10,01,2017,00,00")));
}

TEST_F(RestampTest, FrameKeepsItsDistanceFromItsEpoch) {
    EXPECT_EQ(rmc("000000.50", "010125"), stamped(rmc("000942.50")));
    EXPECT_EQ(rmc("235958", "311224"), stamped(rmc("000940")));
}

TEST_F(RestampTest, NumberOfDecimalsStays) {
    EXPECT_EQ(gga("235959"), stamped(gga("000941")));
    EXPECT_EQ(gga("235959.000"), stamped(gga("000941.000")));
}

TEST_F(RestampTest, EmptyFieldsAndOtherSentencesStay) {
    for (const std::string& text : {sentence("GNRMC,,V,,,,,,,,,,N"), sentence("GPGSV,1,1,00"),
                                    std::string("$cut"), sentence("SDDBT,17.7,f,5.4,M,2.9,F")})
        EXPECT_EQ(text, stamped(text));
    EXPECT_EQ(sentence("GNZDA,235959.00,,,,00,00"), stamped(sentence("GNZDA,000941.00,,,,00,00")));
}

TEST_F(RestampTest, WrongChecksumStaysWrong) {
    std::string broken = rmc("000941.00");
    broken[8] = '1';
    EXPECT_EQ(broken, stamped(broken));
}

// 2024-12-31 23:59:59 UTC is second 172,817 of GPS week 2347.
TEST_F(RestampTest, UbxFramesGetTimeOfWeekWeekAndCalendar) {
    epoch.timeOfDay = 312'750s - 18s - 72h;
    EXPECT_EQ(ubx(1, 4, 18, 259'217'000), stamped(ubx(1, 4, 18, 312'750'000)));
    const std::string timeGps = stamped(ubx(1, 0x20, 16, 312'750'000));
    EXPECT_EQ(2347U, payloadByte(timeGps, 8) + 256 * payloadByte(timeGps, 9));
    EXPECT_EQ(18U, payloadByte(timeGps, 10));
    const std::string pvt = stamped(ubx(1, 7, 92, 312'750'000));
    EXPECT_EQ(2024U, payloadByte(pvt, 4) + 256 * payloadByte(pvt, 5));
    EXPECT_EQ(12U, payloadByte(pvt, 6));
    EXPECT_EQ(31U, payloadByte(pvt, 7));
    EXPECT_EQ(59U, payloadByte(pvt, 10));
}

TEST_F(RestampTest, RestampedUbxFramesAreValidAgain) {
    epoch.timeOfDay = 312'750s - 18s - 72h;
    const Recording recording =
        Recording::parse(stamped(ubx(1, 7, 92, 312'750'000)) + stamped(ubx(1, 7, 92, 312'751'000)));
    EXPECT_EQ(2U, recording.epochs().size()); // found a time in both: their checksums are right
}

TEST_F(RestampTest, OtherUbxClassesStay) {
    const std::string rxm = ubx(2, 0x13, 24, 1234);
    EXPECT_EQ(rxm, stamped(rxm));
}

// --- Positions ------------------------------------------------------------------------------------------

TEST(RecordedFix, IsReadFromRmc) {
    const auto fix = recordedFix(rmc("000941.00"));
    ASSERT_TRUE(fix && fix->valid);
    EXPECT_NEAR(44.06889783, fix->latitudeDeg, 1e-8);
    EXPECT_NEAR(-121.31427133, fix->longitudeDeg, 1e-8);
    EXPECT_FALSE(recordedFix(sentence("GNRMC,,V,,,,,,,,,,N"))->valid);
    EXPECT_FALSE(recordedFix(gga("000941.00")).has_value());
}

TEST(RecordedFix, IsReadFromNavPvt) {
    const auto fix = recordedFix(ubx(1, 7, 92, 312'750'000));
    ASSERT_TRUE(fix.has_value());
    EXPECT_FALSE(fix->valid); // an empty one
    EXPECT_FALSE(recordedFix(ubx(1, 7, 20, 312'750'000)).has_value());
}

TEST(CaptureHeader, NamesReceiverDateAndOrigin) {
    EXPECT_EQ("# Receiver: simulated u-blox M8\n# Date: 2024-05-17\n# Origin: a test\n",
              captureHeader(utcOf({2024, 5, 17, 0, 0, 0, 0}), "a test"));
}
