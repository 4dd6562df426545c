// Every CFG message: what it changes, what a poll returns, what is refused.
#include <array>
#include <cmath>

#include "UbxTestSupport.h"

namespace simulator {
namespace {

using UbxConfigurationTest = UbxTest;

Bytes port(uint8_t id, uint32_t baud, uint32_t in = 7, uint32_t out = 3, uint32_t mode = 0x8C0) {
    return PayloadWriter().u1(id).zeros(3).u4(mode).u4(baud).u2(in).u2(out).zeros(4).bytes();
}

Bytes nmea(uint8_t version, uint8_t numbering = 0) {
    return PayloadWriter()
        .u1(0)
        .u1(version)
        .u1(0)
        .u1(2)
        .u4(0)
        .u1(numbering)
        .u1(0)
        .u1(0)
        .u1(1)
        .zeros(8)
        .bytes();
}

// Semi-major axis and inverse flattening; three shifts, three turns and the scale against WGS 84.
Bytes datum(const std::array<double, 2>& figures, const std::array<float, 7>& againstWgs84) {
    PayloadWriter payload;
    for (const double figure : figures)
        payload.r8(figure);
    for (const float figure : againstWgs84)
        payload.r4(figure);
    return payload.bytes();
}

Bytes rate(uint32_t ms, uint32_t cycles = 1, uint32_t reference = 1) {
    return PayloadWriter().u2(ms).u2(cycles).u2(reference).bytes();
}

struct Gnss {
    uint8_t system;
    uint8_t reserved;
    uint8_t most;
    bool enabled;
};

Bytes gnss(const std::vector<Gnss>& blocks) {
    PayloadWriter payload;
    payload.u1(0).u1(32).u1(32).u1(static_cast<uint32_t>(blocks.size()));
    for (const Gnss& block : blocks) {
        payload.u1(block.system).u1(block.reserved).u1(block.most).u1(0);
        payload.u4(0x01010000u | (block.enabled ? 1u : 0u));
    }
    return payload.bytes();
}

// --- Factory --------------------------------------------------------------------------------------------

TEST_F(UbxConfigurationTest, TheFactoryReceiverTalksNmeaAt9600) {
    EXPECT_EQ(receiver.baudRate(), 9600u);
    EXPECT_TRUE(receiver.output().nmeaOut);
    EXPECT_EQ(state("nmea_version"), "4.0");
    EXPECT_EQ(state("sv_numbering"), "strict");
    EXPECT_EQ(state("gnss"), "GPS+SBAS+QZSS+GLONASS");
    EXPECT_EQ(state("ack_aiding"), "off");
    EXPECT_EQ(state("antenna_flags"), "0x001f");
}

TEST(UbxConfigurationFactory, FollowsTheOptionsItWasMadeWith) {
    EngineOptions options;
    options.baudRate = 38400;
    options.factory.nmeaVersion = NmeaVersion::V41;
    options.factory.enabled = {Constellation::Gps, Constellation::Galileo};
    options.factory.epochPeriod = 200ms;
    options.factory.setRate(Sentence::Zda, 1);
    const UbxConfiguration configuration(options);
    EXPECT_EQ(configuration.baudRate(), 38400u);
    EXPECT_EQ(configuration.output().nmeaVersion, NmeaVersion::V41);
    EXPECT_EQ(configuration.output().enabled, options.factory.enabled);
    EXPECT_EQ(configuration.output().epochPeriod, 200ms);
    EXPECT_EQ(configuration.output().rateOf(Sentence::Zda), 1);
}

// --- CFG-PRT --------------------------------------------------------------------------------------------

TEST_F(UbxConfigurationTest, PrtChangesTheSpeedAndIsAcknowledgedAtTheNewOne) {
    EXPECT_EQ(configure(ubx::kCfgPrt, port(1, 115200)), only(ack(ubx::kCfgPrt)));
    EXPECT_EQ(receiver.baudRate(), 115200u);
    EXPECT_EQ(last.outgoing.at(0).baudRate, 0u) << "0 is the speed when the bytes leave";
    EXPECT_GE(last.outgoing.at(0).delay, 100ms) << "the host's port must have time to follow";
}

TEST_F(UbxConfigurationTest, PrtAtTheSameSpeedIsAcknowledgedAtOnce) {
    configure(ubx::kCfgPrt, port(1, 9600));
    EXPECT_LT(last.outgoing.at(0).delay, 50ms);
}

TEST_F(UbxConfigurationTest, PrtIsPolledForThisPortAndForANamedOne) {
    configure(ubx::kCfgPrt, port(1, 115200));
    EXPECT_EQ(poll(ubx::kCfgPrt), port(1, 115200));
    EXPECT_EQ(poll(ubx::kCfgPrt, {1}), port(1, 115200));
    EXPECT_EQ(poll(ubx::kCfgPrt, {3}).at(0), 3);
}

TEST_F(UbxConfigurationTest, PrtOfAnotherPortLeavesTheSpeedAlone) {
    EXPECT_EQ(configure(ubx::kCfgPrt, port(2, 57600)), only(ack(ubx::kCfgPrt)));
    EXPECT_EQ(receiver.baudRate(), 9600u);
}

TEST_F(UbxConfigurationTest, PrtRefusesSpeedsFramingsPortsAndLengthsThatDoNotExist) {
    const std::vector<Bytes> wrong = {port(1, 12345), port(1, 9600, 7, 3, 0x0000), port(7, 9600),
                                      Bytes(19, 0), Bytes(21, 0)};
    for (const Bytes& payload : wrong)
        EXPECT_EQ(configure(ubx::kCfgPrt, payload), only(nak(ubx::kCfgPrt)));
    EXPECT_EQ(receiver.baudRate(), 9600u);
}

TEST_F(UbxConfigurationTest, PrtKeepsOnlyProtocolsThatThisFirmwareHas) {
    configure(ubx::kCfgPrt, port(1, 9600, 0x27, 0x23));
    EXPECT_EQ(poll(ubx::kCfgPrt), port(1, 9600, 0x07, 0x03));
}

TEST_F(UbxConfigurationTest, PrtSwitchesTheOutputProtocols) {
    configure(ubx::kCfgPrt, port(1, 9600, 7, 1));
    EXPECT_FALSE(receiver.output().nmeaOut);
    EXPECT_TRUE(configure(ubx::kCfgPrt, port(1, 9600, 7, 2)).empty()) << "no UBX output, no acknowledgement";
    EXPECT_TRUE(receiver.output().nmeaOut);
    EXPECT_FALSE(receiver.output().ubxOut);
}

TEST_F(UbxConfigurationTest, PrtWithoutUbxInputMakesTheReceiverDeaf) {
    configure(ubx::kCfgPrt, port(1, 9600, 2, 3));
    EXPECT_TRUE(configure(ubx::kCfgAnt, {1, 0, 0, 0}).empty());
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    EXPECT_NE(last.log.at(0).find("ignored: UBX input is off"), std::string::npos);
}

// --- CFG-MSG --------------------------------------------------------------------------------------------

TEST_F(UbxConfigurationTest, MsgSwitchesSentencesOfThisPort) {
    EXPECT_EQ(configure(ubx::kCfgMsg, {0xF0, 0x00, 0}), only(ack(ubx::kCfgMsg)));
    EXPECT_EQ(configure(ubx::kCfgMsg, {0xF0, 0x08, 5}), only(ack(ubx::kCfgMsg)));
    EXPECT_EQ(receiver.output().rateOf(Sentence::Gga), 0);
    EXPECT_EQ(receiver.output().rateOf(Sentence::Zda), 5);
}

TEST_F(UbxConfigurationTest, MsgSetsAllPortsAndIsPolled) {
    EXPECT_EQ(configure(ubx::kCfgMsg, {0x01, 0x07, 1, 2, 3, 4, 5, 6}), only(ack(ubx::kCfgMsg)));
    EXPECT_EQ(poll(ubx::kCfgMsg, {0x01, 0x07}), (Bytes{0x01, 0x07, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(receiver.configuration().rateOf(0x01, 0x07), 2u);
}

TEST_F(UbxConfigurationTest, MsgRefusesMessagesThatTheReceiverDoesNotSendAndWrongLengths) {
    for (const Bytes& payload :
         {Bytes{0x77, 0x01, 1}, Bytes{0x06, 0x00, 1}, Bytes{0x01}, Bytes{0x01, 7, 1, 1}})
        EXPECT_EQ(configure(ubx::kCfgMsg, payload), only(nak(ubx::kCfgMsg)));
}

// --- CFG-NMEA -------------------------------------------------------------------------------------------

TEST_F(UbxConfigurationTest, NmeaSetsVersionNumberingAndTalkers) {
    Bytes wanted = nmea(0x41, 1);
    wanted[9] = 3;
    wanted[10] = 1;
    EXPECT_EQ(configure(ubx::kCfgNmea, wanted), only(ack(ubx::kCfgNmea)));
    EXPECT_EQ(receiver.output().nmeaVersion, NmeaVersion::V41);
    EXPECT_TRUE(receiver.output().extendedNumbering);
    EXPECT_EQ(receiver.output().mainTalker, MainTalker::Gn);
    EXPECT_TRUE(receiver.output().gsvUsesMainTalker);
    EXPECT_EQ(poll(ubx::kCfgNmea), wanted);
}

TEST_F(UbxConfigurationTest, NmeaTakesTheOlderLengthsToo) {
    EXPECT_EQ(configure(ubx::kCfgNmea, {0, 0x23, 0, 2}), only(ack(ubx::kCfgNmea)));
    EXPECT_EQ(state("nmea_version"), "2.3");
    EXPECT_EQ(configure(ubx::kCfgNmea, {0, 0x21, 0, 2, 0, 0, 0, 0, 1, 0, 0, 0}), only(ack(ubx::kCfgNmea)));
    EXPECT_EQ(state("nmea_version"), "2.1");
    EXPECT_EQ(state("sv_numbering"), "extended");
}

TEST_F(UbxConfigurationTest, NmeaRefusesWhatDoesNotExist) {
    Bytes badTalker = nmea(0x41);
    badTalker[9] = 6;
    Bytes badLayout = nmea(0x41);
    badLayout[11] = 2;
    for (const Bytes& wrong : {nmea(0x50), nmea(0x41, 2), badTalker, badLayout, Bytes(19, 0)})
        EXPECT_EQ(configure(ubx::kCfgNmea, wrong), only(nak(ubx::kCfgNmea)));
    EXPECT_EQ(state("nmea_version"), "4.0");
}

// --- CFG-GNSS -------------------------------------------------------------------------------------------

TEST_F(UbxConfigurationTest, GnssSwitchesSystemsAndRestartsTheNavigation) {
    EXPECT_EQ(configure(ubx::kCfgGnss, gnss({{2, 8, 8, true}})), only(ack(ubx::kCfgGnss)));
    EXPECT_EQ(state("gnss"), "GPS+SBAS+Galileo+QZSS+GLONASS");
    EXPECT_TRUE(last.navigationRestarted);
    EXPECT_EQ(poll(ubx::kCfgGnss).size(), 60u);
}

TEST_F(UbxConfigurationTest, GnssThatChangesNothingDoesNotRestart) {
    EXPECT_EQ(configure(ubx::kCfgGnss, gnss({{0, 8, 16, true}})), only(ack(ubx::kCfgGnss)));
    EXPECT_FALSE(last.navigationRestarted);
}

TEST_F(UbxConfigurationTest, GnssRefusesWhatFrontEndAndChannelsCannotDo) {
    const std::vector<Bytes> wrong = {
        gnss({{3, 8, 16, true}}),                                      // GPS, GLONASS and BeiDou at once
        gnss({{0, 0, 0, false}, {6, 0, 0, false}}),                    // no system left
        gnss({{0, 0, 3, true}}),                                       // too few channels for a system
        gnss({{0, 17, 16, true}}),                                     // more reserved than allowed
        gnss({{0, 16, 16, true}, {2, 8, 8, true}, {6, 14, 14, true}}), // more than 32 in all
        gnss({{7, 8, 8, true}}),                                       // no such system
        Bytes(59, 0),
    };
    for (const Bytes& payload : wrong)
        EXPECT_EQ(configure(ubx::kCfgGnss, payload), only(nak(ubx::kCfgGnss)));
    EXPECT_EQ(state("gnss"), "GPS+SBAS+QZSS+GLONASS");
}

TEST_F(UbxConfigurationTest, GnssAsksForFourChannelsAtMostNotForFourReserved) {
    EXPECT_EQ(configure(ubx::kCfgGnss, gnss({{0, 0, 4, true}})), only(ack(ubx::kCfgGnss)));
}

TEST_F(UbxConfigurationTest, GnssAsksForASignalOfEachEnabledSystem) {
    Bytes silent = gnss({{0, 8, 16, true}});
    silent.at(4 + 6) = 0; // the signals of its only block
    EXPECT_EQ(configure(ubx::kCfgGnss, silent), only(nak(ubx::kCfgGnss)));
    silent.at(4 + 4) = 0; // not enabled
    EXPECT_EQ(configure(ubx::kCfgGnss, silent), only(ack(ubx::kCfgGnss)));
}

// --- CFG-NAVX5, CFG-NAV5, CFG-ANT, CFG-RATE, the rest ---------------------------------------------------

TEST_F(UbxConfigurationTest, Navx5AppliesOnlyWhatItsMaskNames) {
    Bytes wanted(40, 0);
    wanted[17] = 1;
    wanted[27] = 1;
    EXPECT_EQ(configure(ubx::kCfgNavx5, wanted), only(ack(ubx::kCfgNavx5)));
    EXPECT_EQ(state("ack_aiding"), "off");
    wanted[3] = 0x04;
    configure(ubx::kCfgNavx5, wanted);
    EXPECT_EQ(state("ack_aiding"), "on");
    EXPECT_EQ(poll(ubx::kCfgNavx5)[27], 0) << "autonomous orbits were not in the mask";
}

TEST_F(UbxConfigurationTest, Navx5RefusesOtherLayouts) {
    Bytes laterVersion(40, 0);
    laterVersion[0] = 3;
    EXPECT_EQ(configure(ubx::kCfgNavx5, laterVersion), only(nak(ubx::kCfgNavx5)));
    EXPECT_EQ(configure(ubx::kCfgNavx5, Bytes(44, 0)), only(nak(ubx::kCfgNavx5)));
}

TEST_F(UbxConfigurationTest, Nav5AppliesOnlyWhatItsMaskNames) {
    Bytes wanted(36, 0);
    wanted[0] = 0x01;
    wanted[2] = 4;   // automotive
    wanted[12] = 15; // elevation mask, not in the mask
    EXPECT_EQ(configure(ubx::kCfgNav5, wanted), only(ack(ubx::kCfgNav5)));
    const Bytes block = poll(ubx::kCfgNav5);
    EXPECT_EQ(block[2], 4);
    EXPECT_EQ(block[12], 5);
    wanted[2] = 1;
    EXPECT_EQ(configure(ubx::kCfgNav5, wanted), only(nak(ubx::kCfgNav5))) << "no such dynamic model";
}

TEST_F(UbxConfigurationTest, AntSetsTheFlagsAndPinsOnlyOnRequest) {
    const Bytes before = poll(ubx::kCfgAnt);
    EXPECT_EQ(configure(ubx::kCfgAnt, {0x01, 0, 0, 0}), only(ack(ubx::kCfgAnt)));
    EXPECT_EQ(state("antenna_flags"), "0x0001");
    EXPECT_EQ(poll(ubx::kCfgAnt), (Bytes{0x01, 0, before[2], before[3]}));
    configure(ubx::kCfgAnt, {0x00, 0, 0x34, 0x92});
    EXPECT_EQ(poll(ubx::kCfgAnt), (Bytes{0, 0, 0x34, 0x12}));
    EXPECT_EQ(configure(ubx::kCfgAnt, {0, 0, 0}), only(nak(ubx::kCfgAnt)));
}

TEST_F(UbxConfigurationTest, RateSetsTheEpochs) {
    EXPECT_EQ(configure(ubx::kCfgRate, rate(100, 2)), only(ack(ubx::kCfgRate)));
    EXPECT_EQ(receiver.output().epochPeriod, 200ms);
    EXPECT_EQ(poll(ubx::kCfgRate), rate(100, 2));
    for (const Bytes& wrong : {rate(20), rate(1000, 0), rate(1000, 200), rate(1000, 1, 9), Bytes(5, 1)})
        EXPECT_EQ(configure(ubx::kCfgRate, wrong), only(nak(ubx::kCfgRate)));
}

TEST_F(UbxConfigurationTest, BlocksWithoutEffectAreKeptAndPolled) {
    const std::vector<std::pair<uint8_t, std::size_t>> blocks = {
        {ubx::kCfgOdo, 20},  {ubx::kCfgItfm, 8}, {ubx::kCfgLogfilter, 12},
        {ubx::kCfgUsb, 108}, {ubx::kCfgPm2, 44}, {ubx::kCfgPms, 8}};
    for (const auto& [id, length] : blocks) {
        const Bytes wanted(length, 0x15);
        EXPECT_EQ(configure(id, wanted), only(ack(id)));
        EXPECT_EQ(poll(id), wanted);
        EXPECT_EQ(configure(id, Bytes(length + 1, 0)), only(nak(id)));
    }
}

TEST_F(UbxConfigurationTest, SbasRxmTimePulseAndInfAreChecked) {
    EXPECT_EQ(configure(ubx::kCfgSbas, {1, 7, 3, 0, 0, 0, 0, 0}), only(ack(ubx::kCfgSbas)));
    EXPECT_EQ(configure(ubx::kCfgSbas, {1, 7, 4, 0, 0, 0, 0, 0}), only(nak(ubx::kCfgSbas)));
    EXPECT_EQ(configure(ubx::kCfgRxm, {8, 1}), only(ack(ubx::kCfgRxm)));
    EXPECT_EQ(configure(ubx::kCfgRxm, {8, 9}), only(nak(ubx::kCfgRxm)));
    EXPECT_EQ(poll(ubx::kCfgTp5, {1}).at(0), 1);
    EXPECT_EQ(configure(ubx::kCfgTp5, Bytes(32, 9)), only(nak(ubx::kCfgTp5))) << "no time pulse 9";
    EXPECT_EQ(poll(ubx::kCfgInf, {1}).size(), 10u);
}

TEST_F(UbxConfigurationTest, InfTakesSeveralProtocolsAtOnceOrNone) {
    const Bytes ubxAll{0, 0, 0, 0, 7, 7, 7, 7, 7, 0};
    Bytes both = ubxAll;
    both.insert(both.end(), {1, 0, 0, 0, 1, 1, 1, 1, 1, 0});
    EXPECT_EQ(configure(ubx::kCfgInf, both), only(ack(ubx::kCfgInf)));
    EXPECT_EQ(poll(ubx::kCfgInf, {0}), ubxAll);
    EXPECT_EQ(poll(ubx::kCfgInf, {1}).at(5), 1);
    both.at(10) = 9; // no such protocol
    both.at(5) = 0;
    EXPECT_EQ(configure(ubx::kCfgInf, both), only(nak(ubx::kCfgInf)));
    EXPECT_EQ(poll(ubx::kCfgInf, {0}), ubxAll);
}

TEST_F(UbxConfigurationTest, DatumInventoryAndGeofencesHaveLengthsOfTheirOwn) {
    EXPECT_EQ(poll(ubx::kCfgDat).size(), 52u);
    EXPECT_EQ(configure(ubx::kCfgDat, Bytes(52, 0)), only(nak(ubx::kCfgDat)));
    EXPECT_EQ(configure(ubx::kCfgRinv, Bytes(31, 'x')), only(ack(ubx::kCfgRinv)));
    EXPECT_EQ(configure(ubx::kCfgRinv, Bytes(32, 'x')), only(nak(ubx::kCfgRinv)));
    EXPECT_EQ(configure(ubx::kCfgGeofence, Bytes(8, 0)), only(ack(ubx::kCfgGeofence)));
    EXPECT_EQ(configure(ubx::kCfgGeofence, Bytes(20, 0)), only(nak(ubx::kCfgGeofence)));
}

TEST_F(UbxConfigurationTest, DatIsWgs84UntilTheUserSetsAnother) {
    const Bytes wgs84 = poll(ubx::kCfgDat);
    EXPECT_EQ(text(wgs84).substr(2, 6), std::string("WGS84\0", 6));
    EXPECT_EQ(PayloadReader(wgs84).r8(8), 6378137.0);
    EXPECT_EQ(PayloadReader(wgs84).r8(16), 298.257223563);
    EXPECT_EQ(Bytes(wgs84.begin() + 24, wgs84.end()), Bytes(28, 0)) << "no shift, no turn, no scale";
    const Bytes bessel = datum({6377397.155, 299.1528128}, {582, 105, 414, 1.04F, 0.35F, -3.08F, 8.3F});
    EXPECT_EQ(configure(ubx::kCfgDat, bessel), only(ack(ubx::kCfgDat)));
    const Bytes user = poll(ubx::kCfgDat);
    EXPECT_EQ(PayloadReader(user).u2(0), 0xFFFF);
    EXPECT_EQ(text(user).substr(2, 6), std::string("USER\0\0", 6));
    EXPECT_EQ(Bytes(user.begin() + 8, user.end()), bessel);
}

TEST_F(UbxConfigurationTest, DatRefusesFiguresBeyondTheirLimits) {
    const std::array<double, 2> axes{6.4e6, 300};
    for (const std::array<double, 2>& wrong : {std::array<double, 2>{6299999, 300},
                                               {6500001, 300},
                                               {6.4e6, -1},
                                               {6.4e6, 501},
                                               {std::nan(""), 300}})
        EXPECT_EQ(configure(ubx::kCfgDat, datum(wrong, {})), only(nak(ubx::kCfgDat)));
    const std::array<float, 7> limits{5000, 5000, 5000, 20, 20, 20, 50};
    EXPECT_EQ(configure(ubx::kCfgDat, datum(axes, limits)), only(ack(ubx::kCfgDat)));
    for (std::size_t field = 0; field < limits.size(); ++field) {
        std::array<float, 7> beyond = limits;
        beyond[field] += 1;
        EXPECT_EQ(configure(ubx::kCfgDat, datum(axes, beyond)), only(nak(ubx::kCfgDat))) << field;
    }
    EXPECT_EQ(PayloadReader(poll(ubx::kCfgDat)).r4(48), 50);
}

TEST_F(UbxConfigurationTest, MsgTakesRatesOfMessagesThatAnM8HasAndThisOneNeverSends) {
    EXPECT_EQ(configure(ubx::kCfgMsg, {0x02, 0x15, 1}), only(ack(ubx::kCfgMsg)));
    EXPECT_EQ(configure(ubx::kCfgMsg, {0x01, 0x09, 1}), only(ack(ubx::kCfgMsg)));
    EXPECT_TRUE(pass(goodEpoch()).empty());
}

TEST_F(UbxConfigurationTest, AnUnknownCfgMessageIsRefused) {
    EXPECT_EQ(configure(0x99, {1, 2, 3}), only(nak(0x99)));
    EXPECT_EQ(configure(0x99, {}), only(nak(0x99)));
}

// --- CFG-CFG, CFG-RST -----------------------------------------------------------------------------------

Bytes saveAndLoad(uint32_t clear, uint32_t save, uint32_t load) {
    return PayloadWriter().u4(clear).u4(save).u4(load).bytes();
}

TEST_F(UbxConfigurationTest, CfgLoadsFactoryValuesWhereNothingWasSaved) {
    configure(ubx::kCfgNmea, nmea(0x41));
    EXPECT_EQ(configure(ubx::kCfgCfg, saveAndLoad(0, 0, 0xFFFF)), only(ack(ubx::kCfgCfg)));
    EXPECT_EQ(state("nmea_version"), "4.0");
}

TEST_F(UbxConfigurationTest, CfgSavesForARestartButNotForTheResetLine) {
    configure(ubx::kCfgNmea, nmea(0x41));
    configure(ubx::kCfgCfg, saveAndLoad(0, 0xFFFF, 0));
    configure(ubx::kCfgNmea, nmea(0x23));
    configure(ubx::kCfgRst, {0, 0, 1, 0});
    EXPECT_EQ(state("nmea_version"), "4.1");
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_EQ(state("nmea_version"), "4.0");
}

TEST_F(UbxConfigurationTest, CfgTouchesOnlyTheSectionsOfItsMask) {
    configure(ubx::kCfgNmea, nmea(0x41));
    configure(ubx::kCfgAnt, {1, 0, 0, 0});
    configure(ubx::kCfgCfg, saveAndLoad(0, 0, 0x0400));
    EXPECT_EQ(state("nmea_version"), "4.1");
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    EXPECT_EQ(configure(ubx::kCfgCfg, Bytes(11, 0)), only(nak(ubx::kCfgCfg)));
}

} // namespace
} // namespace simulator
