#include "simulator/NmeaWriter.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "simulator/Nmea.h"

using namespace simulator;

class NmeaWriterTest : public ::testing::Test {
protected:
    NmeaWriterTest() {
        epoch.utc = utcOf({2024, 5, 17, 9, 27, 25, 0});
        epoch.timeKnown = true;
        epoch.fix = FixType::ThreeD;
        epoch.quality = 2;
        epoch.position = {47.2852395, 8.565265, 499.6, 48.0};
        epoch.speedMps = 10;
        epoch.courseDeg = 77.52;
        epoch.dops.position = 1.94;
        epoch.dops.horizontal = 1.18;
        epoch.dops.vertical = 1.54;
        epoch.satellites = {{Constellation::Gps, 7, 45.4, 120.2, 41.6, true},
                            {Constellation::Sbas, 120, 31, 211, 38, false},
                            {Constellation::Glonass, 9, 12, 359.7, 0, false},
                            {Constellation::Glonass, 10, 60, 30, 44, true},
                            {Constellation::Galileo, 11, 22, 300, 35, true}};
    }

    // All sentences of this kind, without their line ends.
    std::vector<std::string> written(const std::string& kind, uint64_t counter = 0) const {
        std::vector<std::string> found;
        for (const SentenceGroup& group : writeSentences(epoch, output, counter))
            for (const std::string& sentence : group)
                if (sentence.substr(3, 3) == kind)
                    found.push_back(sentence.substr(0, sentence.size() - 2));
        return found;
    }
    using Texts = std::vector<std::string>;

    Epoch epoch;
    OutputConfiguration output;
};

// --- Factory configuration: NMEA 4.0, strict numbers, GPS and GLONASS -----------------------------------

TEST_F(NmeaWriterTest, CorrectedFixInFactoryConfiguration) {
    EXPECT_EQ(Texts{"$GNRMC,092725.00,A,4717.11437,N,00833.91590,E,19.438,77.52,170524,,,D*72"},
              written("RMC"));
    EXPECT_EQ(Texts{"$GNVTG,77.52,T,,M,19.438,N,36.000,K,D*13"}, written("VTG"));
    EXPECT_EQ(Texts{"$GNGGA,092725.00,4717.11437,N,00833.91590,E,2,03,1.18,499.6,M,48.0,M,,0000*46"},
              written("GGA"));
    EXPECT_EQ(Texts{"$GNGLL,4717.11437,N,00833.91590,E,092725.00,A,D*70"}, written("GLL"));
    EXPECT_EQ(
        (Texts{"$GNGSA,A,3,07,,,,,,,,,,,,1.94,1.18,1.54*1F", "$GNGSA,A,3,74,,,,,,,,,,,,1.94,1.18,1.54*1B"}),
        written("GSA"));
    EXPECT_EQ(
        (Texts{"$GPGSV,1,1,02,07,45,120,42,33,31,211,38*73", "$GLGSV,1,1,02,73,12,000,,74,60,030,44*66"}),
        written("GSV"));
}

TEST_F(NmeaWriterTest, SatelliteWithoutOrbitHasNeitherElevationNorAzimuth) {
    epoch.satellites[0].orbitKnown = false;
    EXPECT_EQ("$GPGSV,1,1,02,07,,,42,33,31,211,38*41", written("GSV")[0]);
}

TEST_F(NmeaWriterTest, WithoutTheWeekThereIsATimeButNoDate) {
    epoch.weekKnown = false;
    EXPECT_EQ("092725.00", parseSentence(written("RMC")[0]).fieldAt(1));
    EXPECT_EQ("", parseSentence(written("RMC")[0]).fieldAt(9));
}

TEST_F(NmeaWriterTest, SentencesComeInTheReceiversOrder) {
    std::string order;
    for (const SentenceGroup& group : writeSentences(epoch, output, 0))
        order += group.front().substr(3, 3) + " ";
    EXPECT_EQ("RMC VTG GGA GSA GSV GSV GLL ", order);
}

TEST_F(NmeaWriterTest, WithoutFixAndTimeTheFieldsAreEmpty) {
    epoch = Epoch{};
    EXPECT_EQ(Texts{"$GNRMC,,V,,,,,,,,,,N*4D"}, written("RMC"));
    EXPECT_EQ(Texts{"$GNVTG,,,,,,,,,N*2E"}, written("VTG"));
    EXPECT_EQ(Texts{"$GNGGA,,,,,,0,00,99.99,,,,,,*56"}, written("GGA"));
    EXPECT_EQ(Texts(2, "$GNGSA,A,1,,,,,,,,,,,,,99.99,99.99,99.99*2E"), written("GSA"));
    EXPECT_EQ((Texts{"$GPGSV,1,1,00*79", "$GLGSV,1,1,00*65"}), written("GSV"));
    EXPECT_EQ(Texts{"$GNGLL,,,,,,V,N*7A"}, written("GLL"));
}

TEST_F(NmeaWriterTest, TimeComesBeforeTheFirstFix) {
    epoch.fix = FixType::None;
    EXPECT_EQ(Texts{"$GNRMC,092725.00,V,,,,,,,170524,,,N*6D"}, written("RMC"));
    EXPECT_EQ(Texts{"$GNGLL,,,,,092725.00,V,N*5F"}, written("GLL"));
}

TEST_F(NmeaWriterTest, AutonomousFixHasQualityOneAndModeA) {
    epoch.quality = 1;
    EXPECT_EQ("1", parseSentence(written("GGA")[0]).fieldAt(6));
    EXPECT_EQ("", parseSentence(written("GGA")[0]).fieldAt(14));
    EXPECT_EQ("A", parseSentence(written("RMC")[0]).fieldAt(12));
}

TEST_F(NmeaWriterTest, StandingReceiverHasNoCourse) {
    epoch.speedMps = 0.05;
    EXPECT_EQ("", parseSentence(written("RMC")[0]).fieldAt(8));
    EXPECT_EQ("", parseSentence(written("VTG")[0]).fieldAt(1));
}

TEST_F(NmeaWriterTest, CourseNeverReads360) {
    epoch.courseDeg = 359.999;
    EXPECT_EQ("0.00", parseSentence(written("RMC")[0]).fieldAt(8));
}

TEST_F(NmeaWriterTest, GgaCountsTwelveSatellitesAtMost) {
    epoch.satellites.assign(20, {Constellation::Gps, 1, 45, 0, 40, true});
    EXPECT_EQ("12", parseSentence(written("GGA")[0]).fieldAt(7));
}

TEST_F(NmeaWriterTest, ManySatellitesFillSeveralGsvSentences) {
    epoch.satellites.assign(9, {Constellation::Gps, 5, 45, 0, 40, true});
    const Texts gsv = written("GSV");
    ASSERT_EQ(4u, gsv.size()); // three of GPS, one of GLONASS
    EXPECT_EQ("$GPGSV,3,3,09,05,45,000,40*40", gsv[2]);
}

// --- Versions, numbers, talkers -------------------------------------------------------------------------

TEST_F(NmeaWriterTest, Version41NamesSystemsAndSignals) {
    output.nmeaVersion = NmeaVersion::V41;
    output.enabled = {Constellation::Gps, Constellation::Glonass, Constellation::Galileo};
    EXPECT_EQ("V", parseSentence(written("RMC")[0]).fieldAt(13));
    const Texts gsa = written("GSA");
    ASSERT_EQ(3u, gsa.size());
    EXPECT_EQ("$GNGSA,A,3,11,,,,,,,,,,,,1.94,1.18,1.54,3*07", gsa[2]);
    EXPECT_EQ("$GAGSV,1,1,01,11,22,300,35,7*47", written("GSV")[2]);
}

TEST_F(NmeaWriterTest, Version21HasNoModeLetter) {
    output.nmeaVersion = NmeaVersion::V21;
    EXPECT_EQ(12u, parseSentence(written("RMC")[0]).fields.size());
    EXPECT_EQ(9u, parseSentence(written("VTG")[0]).fields.size());
}

TEST_F(NmeaWriterTest, StrictNumbersBefore41DontShowGalileo) {
    output.enabled = {Constellation::Gps, Constellation::Glonass, Constellation::Galileo};
    EXPECT_EQ(2u, written("GSA").size());
    output.extendedNumbering = true;
    EXPECT_EQ("$GAGSV,1,1,01,311,22,300,35*6F", written("GSV")[2]);
}

TEST_F(NmeaWriterTest, NumbersFollowTheTable) {
    const auto number = [](Constellation system, int own, NmeaVersion version, bool extended) {
        return sentenceNumber({system, own, 0, 0, 0, false}, version, extended).value_or(-1);
    };
    EXPECT_EQ(33, number(Constellation::Sbas, 120, NmeaVersion::V40, false));
    EXPECT_EQ(-1, number(Constellation::Sbas, 152, NmeaVersion::V40, false));
    EXPECT_EQ(152, number(Constellation::Sbas, 152, NmeaVersion::V40, true));
    EXPECT_EQ(-1, number(Constellation::Qzss, 1, NmeaVersion::V41, false));
    EXPECT_EQ(193, number(Constellation::Qzss, 1, NmeaVersion::V41, true));
    EXPECT_EQ(301, number(Constellation::Galileo, 1, NmeaVersion::V23, true));
    EXPECT_EQ(1, number(Constellation::Galileo, 1, NmeaVersion::V41, true));
    EXPECT_EQ(65, number(Constellation::Glonass, 1, NmeaVersion::V40, false));
}

TEST_F(NmeaWriterTest, TalkerIsGpWithGpsAlone) {
    output.enabled = {Constellation::Gps, Constellation::Sbas, Constellation::Qzss};
    EXPECT_EQ("GP", mainTalker(output));
    EXPECT_EQ("$GPGSA", written("GSA")[0].substr(0, 6));
    EXPECT_EQ(1u, written("GSV").size());
}

TEST_F(NmeaWriterTest, TalkerCanBeForced) {
    output.mainTalker = MainTalker::Gp;
    output.gsvUsesMainTalker = true;
    EXPECT_EQ("$GPRMC", written("RMC")[0].substr(0, 6));
    EXPECT_EQ("$GPGSV", written("GSV")[1].substr(0, 6));
}

// --- Rates and further sentences ------------------------------------------------------------------------

TEST_F(NmeaWriterTest, RatesThinSentencesOut) {
    output.setRate(Sentence::Gll, 3);
    output.setRate(Sentence::Vtg, 0);
    EXPECT_EQ(1u, written("GLL", 6).size());
    EXPECT_EQ(0u, written("GLL", 7).size());
    EXPECT_EQ(0u, written("VTG", 0).size());
}

TEST_F(NmeaWriterTest, NothingIsWrittenWhenThePortHasNoNmea) {
    output.nmeaOut = false;
    EXPECT_TRUE(writeSentences(epoch, output, 0).empty());
    EXPECT_TRUE(powerUpBanner(output).empty());
}

TEST_F(NmeaWriterTest, FurtherSentencesCanBeSwitchedOn) {
    for (const Sentence sentence :
         {Sentence::Zda, Sentence::Gst, Sentence::Gbs, Sentence::Gns, Sentence::Dtm})
        output.setRate(sentence, 1);
    epoch.horizontalAccuracyM = 2;
    epoch.verticalAccuracyM = 3;
    EXPECT_EQ(Texts{"$GNZDA,092725.00,17,05,2024,00,00*74"}, written("ZDA"));
    EXPECT_EQ(Texts{"$GNGST,092725.00,1.2,,,,1.4,1.4,3.0*6C"}, written("GST"));
    EXPECT_EQ(Texts{"$GNGBS,092725.00,1.4,1.4,3.0,,,,*57"}, written("GBS"));
    EXPECT_EQ(Texts{"$GNGNS,092725.00,4717.11437,N,00833.91590,E,DD,03,1.18,499.6,48.0,,*6F"},
              written("GNS"));
    EXPECT_EQ(Texts{"$GNDTM,W84,,0.0,N,0.0,E,0.0,W84*71"}, written("DTM"));
}

TEST_F(NmeaWriterTest, BannerNamesTheReceiver) {
    const Texts banner = powerUpBanner(output);
    ASSERT_FALSE(banner.empty());
    EXPECT_EQ("$GNTXT,01,01,02,u-blox AG - www.u-blox.com*4E\r\n", banner[0]);
    EXPECT_TRUE(std::all_of(banner.begin(), banner.end(),
                            [](const std::string& line) { return parseSentence(line).valid; }));
}
