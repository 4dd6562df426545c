// Frames as text: fields, checksums, the configuration's frames field by field, and the search in replies.

#include <locale>

#include "HandlerTest.h"
#include "UbxFrame.h"
#include "UbxPayload.h"

using simulator::PayloadWriter;
using ::testing::ElementsAre;
using ::testing::Field;

namespace {

// --- Fields ---------------------------------------------------------------------------------------------

class LittleEndianField : public HandlerTest {
protected:
    std::string text(unsigned int value, unsigned int width = 8) {
        std::string out = "previous contents";
        handler->littleEndianInt2BigEndianHex(value, out, width);
        return out;
    }
};

TEST_F(LittleEndianField, HasTheLowestByteFirst) {
    EXPECT_EQ(text(20), "14000000");
    EXPECT_EQ(text(0x12345678), "78563412");
    EXPECT_EQ(text(1), "01000000");
    EXPECT_EQ(text(0), "00000000");
    EXPECT_EQ(text(0x0000C200), "00c20000");
}

TEST_F(LittleEndianField, NeverHasASign) {
    EXPECT_EQ(text(0x000000FF), "ff000000");
    EXPECT_EQ(text(0x00000080), "80000000");
    EXPECT_EQ(text(0xFFFFFFFF), "ffffffff");
}

TEST_F(LittleEndianField, LosesLeadingZerosWithASmallerWidth) {
    EXPECT_EQ(text(1, 2), "1000000");
    EXPECT_EQ(text(0, 2), "00");
    EXPECT_EQ(text(0x01000000, 0), "1");
}

TEST_F(LittleEndianField, IsWiderThanAskedForWhenTheNumberIs) { EXPECT_EQ(text(0xFF, 4), "ff000000"); }

/// An application's locale that writes 1000000 as 1.000.000.
struct GroupingDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class InAGroupingLocale : public LittleEndianField {
protected:
    InAGroupingLocale()
        : before(std::locale::global(std::locale(std::locale::classic(), new GroupingDigits))) {}
    ~InAGroupingLocale() override { std::locale::global(before); }

    std::locale before;
};

TEST_F(InAGroupingLocale, FieldsHaveNoSeparators) { EXPECT_EQ(text(20), "14000000"); }

TEST_F(InAGroupingLocale, ThePositionFrameIsTheSame) {
    handler->addInitialPosition(52500000, 13400000, 12345, 1000);
    EXPECT_THAT(unit.port.sent.back(),
                ubxFrame(0x13, 0x40, hex("01000000 40dd4a1f 80adfc07 d2040000 e8030000")));
}

TEST_F(InAGroupingLocale, RestoredFramesAndTheirNumbersAreTheSame) {
    const Bytes frame = ubxFrame(0x13, 0x80, "payload");
    unit.port.setDumpFile(Bytes(2000, '.') + frame + "001001");
    handler->restoreNavigationDatabase();
    EXPECT_THAT(unit.port.sent, ElementsAre(frame));
    EXPECT_LOGGED(6, "UBXConfig: Restoring navigation database (1001 of 1001)");
}

// --- Escaped form ---------------------------------------------------------------------------------------

class PrepareUbxCommandString : public HandlerTest {
protected:
    std::string built(const std::string& hexIn) {
        std::string text;
        EXPECT_TRUE(handler->prepareUbxCommandString(hexIn, text, 0, 0));
        return text;
    }
    bool verified(const std::string& hexIn, unsigned char ckA, unsigned char ckB) {
        out.clear();
        return handler->prepareUbxCommandString(hexIn, out, ckA, ckB);
    }

    std::string out;
};

TEST_F(PrepareUbxCommandString, AppendsTheChecksum) {
    EXPECT_EQ(built("b56213800000"), R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)");
    EXPECT_EQ(built("b5620613040001000000"), R"(\xb5\x62\x06\x13\x04\x00\x01\x00\x00\x00\x1e\xd1)");
}

TEST_F(PrepareUbxCommandString, AppendsSmallChecksumBytesAsOneDigit) {
    EXPECT_EQ(built("b56201020000"), R"(\xb5\x62\x01\x02\x00\x00\x3\xa)");
    EXPECT_EQ(built("b5620f"), R"(\xb5\x62\x0f\xf\xf)");
    EXPECT_EQ(built("b56210"), R"(\xb5\x62\x10\x10\x10)");
}

TEST_F(PrepareUbxCommandString, AgreesWithAnotherEncoder) {
    const std::string payload = "00ff7f8001";
    const Bytes frame = ubxFrame(0x13, 0x80, hex(payload));
    EXPECT_EQ(unescaped(built("b56213800500" + payload)), frame);
    ASSERT_EQ(simulator::framesIn(frame).size(), 1u);
}

TEST_F(PrepareUbxCommandString, LetsTheSumsRunOver) {
    EXPECT_EQ(built("b562ffffffff"), R"(\xb5\x62\xff\xff\xff\xff\xfc\xf6)");
}

TEST_F(PrepareUbxCommandString, LeavesTheSyncCharactersOutOfTheChecksum) {
    EXPECT_EQ(built("000013800000"), R"(\x00\x00\x13\x80\x00\x00\x93\xcc)");
}

TEST_F(PrepareUbxCommandString, KeepsTheLetterCaseAndAppendsLowerCase) {
    EXPECT_EQ(built("B562C2aB"), R"(\xB5\x62\xC2\xaB\x6d\x2f)");
}

TEST_F(PrepareUbxCommandString, TakesALastSingleDigitAsAByte) {
    EXPECT_EQ(built("b56213a"), R"(\xb5\x62\x13\xa\x1d\x30)");
}

TEST_F(PrepareUbxCommandString, CountsWhatIsNotHexAsZero) {
    EXPECT_EQ(built("b562zz13"), R"(\xb5\x62\xzz\x13\x13\x13)");
}

TEST_F(PrepareUbxCommandString, CountsAPairThatIsNotAllHexAsZero) {
    EXPECT_EQ(built("b5621g13"), R"(\xb5\x62\x1g\x13\x13\x13)");
}

TEST_F(PrepareUbxCommandString, GivesAnEmptyFrameAnEmptyChecksum) {
    EXPECT_EQ(built(""), R"(\x0\x0)");
    EXPECT_FALSE(verified("", 1, 1));
    EXPECT_EQ(out, "");
}

TEST_F(PrepareUbxCommandString, AppendsToWhatIsThere) {
    out = "prefix";
    EXPECT_TRUE(handler->prepareUbxCommandString("b562", out, 0, 0));
    EXPECT_EQ(out, R"(prefix\xb5\x62\x0\x0)");
}

TEST_F(PrepareUbxCommandString, VerifiesWithoutAppendingAChecksum) {
    EXPECT_TRUE(verified("b56213800000", 0x93, 0xcc));
    EXPECT_EQ(out, R"(\xb5\x62\x13\x80\x00\x00)");
}

TEST_F(PrepareUbxCommandString, VerifiesBothBytes) {
    for (const auto& wrong :
         {std::pair(0x93, 0xcd), std::pair(0x94, 0xcc), std::pair(0, 0xcc), std::pair(0x93, 0)})
        EXPECT_FALSE(verified("b56213800000", static_cast<unsigned char>(wrong.first),
                              static_cast<unsigned char>(wrong.second)));
    EXPECT_EQ(out, R"(\xb5\x62\x13\x80\x00\x00)");
}

TEST_F(PrepareUbxCommandString, BuildsInsteadOfVerifyingAZeroChecksum) {
    EXPECT_TRUE(verified("b56213800000", 0, 0));
    EXPECT_EQ(out, R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)");
}

// --- The configuration's frames -------------------------------------------------------------------------

class UbxConfigurationFrames : public UnitTest {
protected:
    /// What the frame, as another decoder reads it, brings to the receiver.
    simulator::UbxFrame decoded(std::size_t number) {
        const auto frames = simulator::framesIn(unit.port.sent.at(number));
        EXPECT_EQ(frames.size(), 1u) << "checksum or length of frame " << number;
        return frames.at(0);
    }

    UbxConfigHandler handler;
};

TEST_F(UbxConfigurationFrames, AreWrittenAsTheyStand) {
    Lines expected;
    for (const ConfigurationText& text : kConfigurationTexts)
        expected.push_back(written(text.frame));
    EXPECT_EQ(unit.journal.only({"system echo -e"}), expected);
}

TEST_F(UbxConfigurationFrames, CarryTheNamesOfTheirAcknowledgements) {
    using Record = UbxConfigHandler::UbxCommands;
    const auto record = [](const char* description, int msgClass, int msgId) {
        return AllOf(Field(&Record::description, description), Field(&Record::msgClass, msgClass),
                     Field(&Record::msgId, msgId), Field(&Record::acknowledged, true));
    };
    EXPECT_THAT(handler.*memberOf(HandlerRecords()),
                ElementsAre(record("UBXConfig: Setting baud rate to 115200", 0x06, 0x00),
                            record("UBXConfig: Setting NMEA version to 4.10 extended", 0x06, 0x17),
                            record("UBXConfig: Setting GNSS (GPS, Galileo and Glonass)", 0x06, 0x3E),
                            record("UBXConfig: Activating Assisted GPS (NAVX5)", 0x06, 0x23),
                            record("UBXConfig: Enable GNSS antenna diagnosis", 0x06, 0x13)));
}

TEST_F(UbxConfigurationFrames, PortIs115200BaudWithoutParity) {
    constexpr uint32_t kUart1 = 1;
    constexpr uint32_t kEightBitsNoParityOneStop = 0x000008C0;
    constexpr uint32_t kUbxNmeaRtcm2 = 7;
    constexpr uint32_t kUbxNmea = 3;
    PayloadWriter payload;
    payload.u1(kUart1).u1(0).u2(0).u4(kEightBitsNoParityOneStop).u4(115200);
    payload.u2(kUbxNmeaRtcm2).u2(kUbxNmea).u2(0).u2(0);
    EXPECT_EQ(decoded(0), (simulator::UbxFrame{0x06, 0x00, payload.bytes()}));
}

TEST_F(UbxConfigurationFrames, NmeaIsExtended410InConsiderMode) {
    constexpr uint32_t kNmea41 = 0x41;
    constexpr uint32_t kConsiderMode = 0x02;
    PayloadWriter payload;
    payload.u1(0).u1(kNmea41).u1(0).u1(kConsiderMode).u4(0);
    payload.u1(1 /* extended numbers */).u1(0).u1(0).u1(1 /* version */).u2(0).zeros(6);
    EXPECT_EQ(decoded(1), (simulator::UbxFrame{0x06, 0x17, payload.bytes()}));
}

TEST_F(UbxConfigurationFrames, GnssReservesChannelsForEachSystem) {
    PayloadWriter payload;
    payload.u1(0).u1(32).u1(32).u1(7);
    payload.u1(0).u1(8).u1(16).u1(0).u4(0x01010001); // GPS
    payload.u1(1).u1(3).u1(3).u1(0).u4(0x01010001);  // SBAS
    payload.u1(2).u1(8).u1(8).u1(0).u4(0x01010001);  // Galileo
    payload.u1(3).u1(0).u1(16).u1(0).u4(0x01010000); // BeiDou
    payload.u1(4).u1(0).u1(8).u1(0).u4(0x03010000);  // IMES
    payload.u1(5).u1(3).u1(3).u1(0).u4(0x05010001);  // QZSS
    payload.u1(6).u1(8).u1(14).u1(0).u4(0x01010001); // GLONASS
    EXPECT_EQ(decoded(2), (simulator::UbxFrame{0x06, 0x3E, payload.bytes()}));
}

TEST_F(UbxConfigurationFrames, GnssEnablesSbasAndQzssThoughTheTextNamesThreeSystems) {
    enum { Gps, Sbas, Galileo, BeiDou, Imes, Qzss, Glonass, Systems };
    const simulator::UbxFrame frame = decoded(2);
    std::vector<int> enabled;
    for (std::size_t block = 0; block < Systems; ++block)
        if (simulator::PayloadReader(frame.payload).u4(4 + 8 * block + 4) & 1)
            enabled.push_back(simulator::PayloadReader(frame.payload).u1(4 + 8 * block));
    EXPECT_THAT(enabled, ElementsAre(Gps, Sbas, Galileo, Qzss, Glonass));
    EXPECT_LOGGED(6, "UBXConfig: Setting GNSS (GPS, Galileo and Glonass)");
}

TEST_F(UbxConfigurationFrames, NavigationExpertSettingsApplyAcknowledgedAidingAlone) {
    constexpr uint32_t kApplyAckAiding = 0x0400;
    PayloadWriter payload;
    payload.u2(0).u2(kApplyAckAiding).u4(0).zeros(9).u1(1 /* ackAiding, at 17 */).zeros(9);
    payload.u1(1 /* aopCfg, at 27 */).zeros(2).u2(210 /* aopOrbMaxErr, at 30 */).zeros(8);
    EXPECT_EQ(decoded(3), (simulator::UbxFrame{0x06, 0x23, payload.bytes()}));
}

TEST_F(UbxConfigurationFrames, AntennaSupplyIsControlled) {
    EXPECT_EQ(decoded(4), (simulator::UbxFrame{0x06, 0x13, PayloadWriter().u2(1).u2(0).bytes()}));
}

// --- Search ---------------------------------------------------------------------------------------------

class FindInBinary : public HandlerTest {
protected:
    int find(Bytes haystack, Bytes needle, unsigned int start = 0) {
        return handler->findInBinary(bytesOf(haystack), static_cast<unsigned int>(haystack.size()),
                                     bytesOf(needle), static_cast<unsigned int>(needle.size()), start);
    }

    static unsigned char* bytesOf(Bytes& text) { return reinterpret_cast<unsigned char*>(&text[0]); }

    const Bytes header = hex("b5 62 05 01 02 00");
};

TEST_F(FindInBinary, NeverTestsTheLastPosition) {
    EXPECT_EQ(find("...." + header, header), -1);
    EXPECT_EQ(find("..." + header + ".", header), 3);
}

TEST_F(FindInBinary, GivesTheFirstPositionFromTheStartOn) {
    const Bytes twice = "." + header + ".." + header + ".";
    EXPECT_EQ(find(twice, header), 1);
    EXPECT_EQ(find(twice, header, 1), 1);
    EXPECT_EQ(find(twice, header, 2), 9);
    EXPECT_EQ(find(twice, header, 10), -1);
}

TEST_F(FindInBinary, FindsAtPositionZero) { EXPECT_EQ(find(header + ".", header), 0); }

TEST_F(FindInBinary, TakesZeroBytesLikeOthers) {
    EXPECT_EQ(find(Bytes(5, '\0') + "a" + Bytes(9, '\0'), "a"), 5);
}

TEST_F(FindInBinary, GivesNothingForAStartBehindTheLastPosition) {
    EXPECT_EQ(find(header + "....", header, 4), -1);
    EXPECT_EQ(find(header + "....", header, 0xFFFFFFFF), -1);
}

TEST_F(FindInBinary, GivesNothingForANeedleThatIsLonger) { EXPECT_EQ(find("b", "bb"), -1); }

TEST_F(FindInBinary, WantsEveryByteOfTheNeedle) {
    EXPECT_EQ(find(hex("b5 62 05 00 02 00 06 13 00 00 00 00"), header), -1);
}

} // namespace
