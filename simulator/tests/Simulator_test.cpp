#include "simulator/Simulator.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "simulator/Geometry.h"
#include "simulator/Nmea.h"

using namespace simulator;
using namespace std::chrono_literals;

namespace {

// An engine that is told what to answer.
class ScriptedEngine : public ProtocolEngine {
public:
    Reaction receive(std::string_view bytes, TimePoint) override {
        received += bytes;
        return answer;
    }
    Reaction reset(ResetCause cause, TimePoint) override {
        resets.push_back(cause);
        return {};
    }
    Reaction epoch(const Epoch&, TimePoint) override { return messages; }
    uint32_t baudRate() const override { return baud; }
    const OutputConfiguration& output() const override { return configuration; }
    Duration timeToFirstFix(const FixTimes& times) const override { return knows ? times.warm : times.cold; }
    CommandReply command(const std::vector<std::string>& words, TimePoint) override {
        if (words[0] != "nak")
            return {};
        const bool bad = words.size() > 1;
        return {bad ? CommandResult::Bad : CommandResult::Done, bad ? "nak takes nothing" : "", {}};
    }
    std::vector<KeyValue> state() const override { return {{"engine_key", "7"}}; }
    Knowledge knowledge() const override { return {leapSource, orbits}; }

    std::string received;
    std::vector<ResetCause> resets;
    Reaction answer;
    Reaction messages;
    uint32_t baud = 9600;
    bool knows = false;
    LeapSource leapSource = LeapSource::Firmware;
    bool orbits = false;
    OutputConfiguration configuration;
};

} // namespace

class SimulatorTest : public ::testing::Test {
protected:
    SimulatorTest() { settings.route = Route(GeoPosition{47.2852, 8.5653, 450, 47}); }

    void powerUp() {
        auto owned = std::make_unique<ScriptedEngine>();
        engine = owned.get();
        engine->baud = baud;
        engine->configuration = configuration;
        receiver = std::make_unique<Simulator>(settings, std::move(owned), now, kNoon);
        receiver->setLog([this](const std::string& line) { log.push_back(line); });
    }
    // Lets time pass as the program does and returns what arrived.
    std::string after(Duration duration) {
        std::string bytes;
        for (const TimePoint end = now + duration; now < end;) {
            now = std::min(end, std::max(now + 1ns, receiver->nextEvent()));
            for (const Line::Piece& piece : receiver->advance(now))
                bytes += piece.bytes;
        }
        return bytes;
    }
    std::string command(const std::string& line) { return receiver->command(line, now); }
    std::string stateOf(const std::string& key) const {
        for (const KeyValue& line : receiver->state(now))
            if (line.key == key)
                return line.value;
        return "no such key";
    }
    static std::vector<ParsedSentence> sentencesIn(const std::string& bytes, const std::string& kind = "") {
        std::vector<ParsedSentence> found;
        for (std::size_t begin = 0, end = 0; (end = bytes.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            found.push_back(parseSentence(bytes.substr(begin, end - begin)));
            if (!kind.empty() && found.back().kind() != kind)
                found.pop_back();
        }
        return found;
    }
    static long validIn(const std::string& bytes) {
        const auto all = sentencesIn(bytes);
        return std::count_if(all.begin(), all.end(), [](const ParsedSentence& s) { return s.valid; });
    }

    static constexpr UtcTime kNoon{std::chrono::seconds(1'715'947'200)}; // 2024-05-17 12:00:00
    TimePoint now{1000s};
    SimulatorSettings settings;
    OutputConfiguration configuration;
    uint32_t baud = 9600;
    std::unique_ptr<Simulator> receiver;
    ScriptedEngine* engine = nullptr;
    std::vector<std::string> log;
};

// --- Epochs and fixes -----------------------------------------------------------------------------------

TEST_F(SimulatorTest, BannerComesFirstThenOneEpochASecond) {
    powerUp();
    EXPECT_EQ(0u, after(900ms).find("$GNTXT,01,01,02,u-blox AG - www.u-blox.com*4E\r\n"));
    const auto rmc = sentencesIn(after(5100ms), "RMC");
    ASSERT_EQ(5u, rmc.size());
}

TEST_F(SimulatorTest, EpochsStandOnWholeSecondsOfTheCalendar) {
    settings.fixTimes.cold = 1s;
    powerUp();
    const auto rmc = sentencesIn(after(4s), "RMC");
    ASSERT_LE(3u, rmc.size());
    EXPECT_EQ("120001.00", rmc[0].fieldAt(1));
    EXPECT_EQ("120002.00", rmc[1].fieldAt(1));
}

TEST_F(SimulatorTest, LeapSecondsAreCorrectedMinutesAfterAColdStartAndStayKnownInATunnel) {
    configuration.enabled = {Constellation::Gps, Constellation::Sbas};
    settings.fixTimes.cold = 2s;
    settings.timeToLeapSeconds = 60s;
    powerUp();
    after(50s);
    EXPECT_EQ("120051.00", sentencesIn(after(1s), "RMC").at(0).fieldAt(1)) << "a second ahead";
    after(14s);
    EXPECT_EQ("120105.00", sentencesIn(after(1s), "RMC").at(0).fieldAt(1));
    command("nosatellites");
    after(3s);
    EXPECT_EQ("120109.00", sentencesIn(after(1s), "RMC").at(0).fieldAt(1));
}

TEST_F(SimulatorTest, StandingPositionsDriftByCommand) {
    settings.fixTimes.cold = 2s;
    powerUp();
    after(5s);
    EXPECT_DOUBLE_EQ(47.2852, receiver->lastEpoch().position.latitudeDeg);
    EXPECT_EQ("", command("drift 3 60"));
    after(1s);
    const double first = receiver->lastEpoch().position.latitudeDeg;
    EXPECT_NE(47.2852, first);
    after(1s);
    EXPECT_NE(first, receiver->lastEpoch().position.latitudeDeg);
    EXPECT_EQ("", command("drift 0"));
    after(1s);
    EXPECT_DOUBLE_EQ(47.2852, receiver->lastEpoch().position.latitudeDeg);
    EXPECT_EQ("47.28520000", stateOf("latitude")) << "where it truly is";
}

TEST_F(SimulatorTest, SatellitesFallSickByCommand) {
    settings.fixTimes.cold = 2s;
    powerUp();
    after(10s);
    const uint32_t before = usedSatellites(receiver->lastEpoch());
    EXPECT_EQ("", command("unhealthy 3"));
    after(1s);
    EXPECT_LT(usedSatellites(receiver->lastEpoch()), before);
}

TEST_F(SimulatorTest, OrbitsAreThoseThatTheEngineKnewBeforeTheFirstFix) {
    settings.fixTimes.cold = 2s;
    powerUp();
    const auto areAllKnown = [this] {
        const auto& satellites = receiver->lastEpoch().satellites;
        return std::all_of(satellites.begin(), satellites.end(),
                           [](const Satellite& s) { return s.orbitKnown; });
    };
    after(10s);
    EXPECT_FALSE(areAllKnown());
    engine->orbits = true;
    after(1s);
    EXPECT_FALSE(areAllKnown()) << "learnt since then";
    command("reset");
    after(5s);
    EXPECT_TRUE(areAllKnown());
}

TEST_F(SimulatorTest, LeapSecondsAreKnownAtOnceToAnEngineThatWasToldThem) {
    configuration.enabled = {Constellation::Gps, Constellation::Sbas};
    settings.fixTimes.cold = 2s;
    powerUp();
    engine->leapSource = LeapSource::Host;
    after(4s);
    EXPECT_EQ("120004.00", sentencesIn(after(1s), "RMC").at(0).fieldAt(1));
    engine->leapSource = LeapSource::Firmware;
    EXPECT_EQ("120005.00", sentencesIn(after(1s), "RMC").at(0).fieldAt(1));
}

TEST_F(SimulatorTest, FirstFixComesAfterTheTimeToFirstFix) {
    powerUp();
    after(25900ms);
    EXPECT_EQ("0", stateOf("fix"));
    after(200ms);
    EXPECT_EQ("1", stateOf("fix"));
    EXPECT_EQ("26.000", stateOf("first_fix_s"));
}

TEST_F(SimulatorTest, ReceiverThatKnowsMoreHasItsFixSooner) {
    powerUp();
    engine->knows = true;
    after(2100ms);
    EXPECT_EQ("2.000", stateOf("first_fix_s"));
}

TEST_F(SimulatorTest, RestartedNavigationStartsAnew) {
    powerUp();
    after(27s);
    engine->answer.navigationRestarted = true;
    receiver->fromHost("x", 9600, now);
    after(1s);
    EXPECT_EQ("0", stateOf("fix"));
    after(26s);
    EXPECT_EQ("1", stateOf("fix"));
}

TEST_F(SimulatorTest, EveryEpochOfAFactoryReceiverFitsIntoItsSecond) {
    settings.fixTimes.cold = 1s;
    powerUp();
    after(120s);
    EXPECT_EQ("0", stateOf("sentences_dropped"));
    EXPECT_EQ("120", stateOf("epochs"));
}

TEST_F(SimulatorTest, AtTenHertzASlowLineCarriesOnlyTheFirstSentences) {
    settings.outputBufferBytes = 0; // full at once
    configuration.epochPeriod = 100ms;
    settings.fixTimes.cold = 0s;
    powerUp();
    after(2s);
    const std::string bytes = after(1s);
    EXPECT_LE(9u, sentencesIn(bytes, "RMC").size());
    EXPECT_EQ(0u, sentencesIn(bytes, "GGA").size());
    EXPECT_GE(961u, bytes.size());
}

TEST_F(SimulatorTest, AtTenHertzAFastLineCarriesAll) {
    configuration.epochPeriod = 100ms;
    baud = 115'200;
    settings.fixTimes.cold = 0s;
    powerUp();
    after(2s);
    const std::string bytes = after(1s);
    EXPECT_EQ(10u, sentencesIn(bytes, "RMC").size());
    EXPECT_EQ(10u, sentencesIn(bytes, "GLL").size());
    EXPECT_EQ("0", stateOf("sentences_dropped"));
}

TEST_F(SimulatorTest, SuspendedProcessDoesNotCatchUp) {
    powerUp();
    after(1s);
    now += 1h;
    EXPECT_GE(60u, sentencesIn(after(1s)).size());
}

// --- Motion ---------------------------------------------------------------------------------------------

TEST_F(SimulatorTest, DrivenRouteIsSeenInPositionSpeedAndCourse) {
    settings.route = Route(parseWaypoints("47.28,8.56,15;47.30,8.56,15", {}), false);
    settings.fixTimes.cold = 1s;
    powerUp();
    const auto rmc = sentencesIn(after(60100ms), "RMC");
    EXPECT_EQ("29.158", rmc.back().fieldAt(7));
    EXPECT_EQ("0.00", rmc.back().fieldAt(8));
    EXPECT_EQ("2223.902", stateOf("route_length_m"));
    EXPECT_EQ("843.750", stateOf("travelled_m"));
    EXPECT_FALSE(receiver->ended(now));
    after(200s);
    EXPECT_TRUE(receiver->ended(now));
    EXPECT_EQ("2223.902", stateOf("travelled_m"));
}

TEST_F(SimulatorTest, HeldRouteWaitsForGo) {
    settings.route = Route(parseWaypoints("47.28,8.56,15;47.30,8.56,15", {}), false);
    settings.hold = true;
    powerUp();
    after(100s);
    EXPECT_EQ("0.000", stateOf("travelled_m"));
    EXPECT_EQ("", command("go"));
    after(10s);
    EXPECT_NE("0.000", stateOf("travelled_m"));
    EXPECT_EQ("nothing is held", command("go"));
}

TEST_F(SimulatorTest, TunnelLosesTheFixAndItsEndBringsItBack) {
    settings.route =
        Route(parseWaypoints("47.28,8.56,15;47.29,8.56,15,tunnel;47.30,8.56,15;47.32,8.56,15", {}), false);
    settings.fixTimes.cold = 1s;
    powerUp();
    after(70s);
    EXPECT_EQ("1", stateOf("fix"));
    after(30s);
    EXPECT_EQ("0", stateOf("fix"));
    after(70s);
    EXPECT_EQ("1", stateOf("fix"));
}

TEST_F(SimulatorTest, GotoStandsAtAnotherPlace) {
    settings.fixTimes.cold = 1s;
    powerUp();
    EXPECT_EQ("", command("goto -33.5,151.25,20"));
    const auto gga = sentencesIn(after(3s), "GGA");
    EXPECT_EQ("3330.00000", gga.back().fieldAt(2));
    EXPECT_EQ("S", gga.back().fieldAt(3));
    EXPECT_EQ("20.0", gga.back().fieldAt(9));
}

// --- Faults ---------------------------------------------------------------------------------------------

class FaultTest : public SimulatorTest {
protected:
    FaultTest() {
        settings.fixTimes.cold = 1s;
        powerUp();
        after(5s + 950ms);
    }
};

TEST_F(FaultTest, SilenceSendsNothingAndEndsByItself) {
    EXPECT_EQ("", command("silence 3"));
    EXPECT_EQ("silence", stateOf("fault"));
    EXPECT_EQ("", after(3s));
    EXPECT_LT(5, validIn(after(2s)));
    EXPECT_EQ("none", stateOf("fault"));
}

TEST_F(FaultTest, GarbageIsAsMuchAsTheSentencesButNoneOfThem) {
    command("garbage 2");
    const std::string bytes = after(1900ms);
    EXPECT_LT(500u, bytes.size());
    EXPECT_EQ(0, validIn(bytes));
}

TEST_F(FaultTest, HalfSentencesLackTheirEnd) {
    command("half 2");
    const std::string bytes = after(1900ms);
    EXPECT_NE(std::string::npos, bytes.find("$GNRMC,"));
    EXPECT_EQ(std::string::npos, bytes.find('*'));
}

TEST_F(FaultTest, BadChecksumsSpoilEverySentence) {
    command("badchecksum 2");
    const std::string bytes = after(1900ms);
    EXPECT_LT(5u, sentencesIn(bytes).size());
    EXPECT_EQ(0, validIn(bytes));
}

TEST_F(FaultTest, NoFixKeepsTheSatellites) {
    command("nofix");
    const std::string bytes = after(2s);
    EXPECT_EQ("V", sentencesIn(bytes, "RMC").back().fieldAt(2));
    EXPECT_EQ("0", stateOf("satellites_used"));
    EXPECT_NE("0", stateOf("satellites_tracked"));
    EXPECT_EQ("", command("clear"));
    EXPECT_EQ("A", sentencesIn(after(2s), "RMC").back().fieldAt(2));
}

TEST_F(FaultTest, NoSatellitesLosesFixAndSignals) {
    command("nosatellites 4");
    after(3s);
    EXPECT_EQ("0", stateOf("satellites_tracked"));
    EXPECT_EQ("0", stateOf("fix"));
    after(5s);
    EXPECT_EQ("1", stateOf("fix"));
}

TEST_F(FaultTest, FaultsAddUp) {
    command("nofix 100");
    command("badchecksum 1");
    EXPECT_EQ("badchecksum,nofix", stateOf("fault"));
    after(2s);
    EXPECT_EQ("nofix", stateOf("fault"));
}

// --- Commands -------------------------------------------------------------------------------------------

TEST_F(SimulatorTest, WhatIsNotUnderstoodChangesNothingAndIsReported) {
    powerUp();
    EXPECT_EQ("unknown command 'dance'", command("dance all night"));
    EXPECT_EQ("unknown command 'dance'", stateOf("last_command_error"));
    EXPECT_EQ("'-1' is no number from 0 to 1e+06", command("silence -1"));
    EXPECT_EQ("'quality' wants: quality 1|2", command("quality"));
    EXPECT_EQ("'clear' wants: clear ", command("clear all"));
    EXPECT_EQ("'here' is not LAT,LON[,ALT]", command("goto here"));
    EXPECT_EQ("'0.5' is no rate from 1 to 10, and not 0", command("hz 0.5"));
    EXPECT_EQ("", command("   "));
    EXPECT_EQ("none", stateOf("fault"));
    EXPECT_FALSE(receiver->quitRequested());
}

TEST_F(SimulatorTest, CommandsChangeTheReceiver) {
    settings.fixTimes.cold = 1s;
    baud = 115'200;
    powerUp();
    EXPECT_EQ("", command("hz 5"));
    EXPECT_EQ("", command("quality 1"));
    after(2s);
    const auto gga = sentencesIn(after(1s), "GGA");
    EXPECT_EQ(5u, gga.size());
    EXPECT_EQ("1", gga.back().fieldAt(6));
    EXPECT_EQ("", command("quit"));
    EXPECT_TRUE(receiver->quitRequested());
}

TEST_F(SimulatorTest, RawBytesGoOutAsTheyAreAlsoInSilence) {
    powerUp();
    command("silence");
    after(2s);
    EXPECT_EQ("", command("raw 00b5FF0d"));
    EXPECT_EQ(std::string("\0\xb5\xff", 3), after(transmissionTime(3, baud))) << "at the line's pace";
    EXPECT_EQ("\r", after(3s));
}

TEST_F(SimulatorTest, WhatIsNoRowOfBytesIsRefusedWhole) {
    powerUp();
    command("silence");
    after(2s);
    for (const char* word : {"b", "b5f", "b5g0", "0x", "+1", "-1"})
        EXPECT_EQ("'" + std::string(word) + "' is no row of bytes of two hexadecimal digits",
                  command(std::string("raw ") + word));
    EXPECT_EQ("'raw' wants: raw HEX", command("raw"));
    EXPECT_EQ("'raw' wants: raw HEX", command("raw b5 62"));
    EXPECT_EQ("", after(3s));
}

TEST_F(SimulatorTest, EngineCommandsReachTheEngine) {
    powerUp();
    EXPECT_EQ("", command("nak"));
    EXPECT_EQ("nak takes nothing", command("nak twice"));
    EXPECT_EQ("7", stateOf("engine_key"));
}

TEST_F(SimulatorTest, EveryCommandHasHelp) {
    for (const KeyValue& row : Simulator::commandHelp())
        EXPECT_FALSE(row.value.empty()) << row.key;
    EXPECT_LE(17u, Simulator::commandHelp().size());
}

// --- Host and engine ------------------------------------------------------------------------------------

TEST_F(SimulatorTest, HostIsUnderstoodAtTheReceiversSpeedOnly) {
    powerUp();
    receiver->fromHost("hello", 9600, now);
    EXPECT_EQ("hello", engine->received);
    receiver->fromHost("hello", 115'200, now);
    EXPECT_NE("hellohello", engine->received);
    EXPECT_EQ("10", stateOf("bytes_from_host"));
}

TEST_F(SimulatorTest, LogHasTimeSpeedsAndBytes) {
    powerUp();
    now += 1500ms;
    receiver->fromHost("\xB5\x62", 9600, now);
    ASSERT_EQ(1u, log.size());
    EXPECT_EQ("2024-05-17T12:00:01.500Z 1.500 port=9600 receiver=9600 received 2 bytes: b5 62", log[0]);
}

TEST_F(SimulatorTest, EnginesOwnLogLinesReplaceTheBytes) {
    powerUp();
    engine->answer.log = {"CFG-PRT"};
    receiver->fromHost("x", 115'200, now);
    EXPECT_EQ(std::vector<std::string>{"2024-05-17T12:00:00.000Z 0.000 port=115200 receiver=9600 CFG-PRT"},
              log);
}

TEST_F(SimulatorTest, AnswersLeaveWithTheirDelayAndSpeed) {
    powerUp();
    after(999ms);
    engine->configuration.nmeaOut = false;
    engine->answer.outgoing = {{"late", 2s, 0, false}, {"soon", 0s, 115'200, false}};
    receiver->fromHost("x", 9600, now);
    EXPECT_EQ("soon", after(1s));
    EXPECT_EQ("late", after(2s));
}

TEST_F(SimulatorTest, EnginesMessagesFollowTheSentencesOfAnEpoch) {
    powerUp();
    after(1900ms);
    engine->messages.outgoing = {{"UBX", 0s, 0, false}};
    const std::string bytes = after(1s);
    EXPECT_LT(bytes.find("GLL"), bytes.find("UBX"));
}

TEST_F(SimulatorTest, ResetLineSilencesAndRestartsTheReceiver) {
    powerUp();
    after(27s);
    receiver->setResetLine(true, now);
    EXPECT_EQ("", after(3s));
    receiver->fromHost("deaf", 9600, now);
    receiver->setResetLine(false, now);
    EXPECT_EQ("", engine->received);
    EXPECT_EQ((std::vector<ResetCause>{ResetCause::PowerUp, ResetCause::ResetLine}), engine->resets);
    EXPECT_EQ(0u, after(1s).find("$GNTXT"));
    EXPECT_EQ("0", stateOf("fix"));
}

TEST_F(SimulatorTest, DeafAfterPowerUpItTakesNothingIn) {
    settings.deafTime = 500ms;
    powerUp();
    receiver->fromHost("lost", 9600, now + 499ms);
    EXPECT_EQ("", engine->received);
    ASSERT_FALSE(log.empty());
    EXPECT_NE(std::string::npos, log.back().find(" deaf after its start, lost 4 bytes: 6c 6f 73 74"));
    receiver->fromHost("heard", 9600, now + 500ms);
    EXPECT_EQ("heard", engine->received);
}

TEST_F(SimulatorTest, DeafAgainAfterEachResetAndLossOfPower) {
    settings.deafTime = 500ms;
    powerUp();
    for (const char* restart : {"reset", "powercycle"}) {
        after(1s);
        command(restart);
        receiver->fromHost("lost", 9600, now + 499ms);
        receiver->fromHost(restart, 9600, now + 500ms);
    }
    EXPECT_EQ("resetpowercycle", engine->received);
}

// --- Playback -------------------------------------------------------------------------------------------

class PlaybackTest : public SimulatorTest {
protected:
    PlaybackTest() {
        for (const char* time : {"000941.00", "000942.00", "000943.00"})
            bytes +=
                NmeaSentence("GNGLL").field("4404.13387,N,12118.85628,W").field(time).field("A,A").text();
        settings.recording = Recording::parse(bytes);
    }
    std::string bytes;
};

TEST_F(PlaybackTest, RecordingIsPlayedAtItsOwnPace) {
    powerUp();
    EXPECT_EQ(1u, sentencesIn(after(900ms)).size());
    EXPECT_EQ(1u, sentencesIn(after(1s)).size());
    EXPECT_FALSE(receiver->ended(now));
    EXPECT_EQ(1u, sentencesIn(after(2s)).size());
    EXPECT_TRUE(receiver->ended(now));
    EXPECT_EQ("3", stateOf("recorded_epochs_played"));
}

TEST_F(PlaybackTest, BytesAreThoseOfTheRecording) {
    powerUp();
    EXPECT_EQ(bytes, after(5s));
}

TEST_F(PlaybackTest, RecordingThatIsOverBeforeTheFirstLookIsPlayedAllTheSame) {
    settings.playbackSpeed = 100;
    powerUp();
    now += 100ms;
    EXPECT_FALSE(receiver->ended(now));
    EXPECT_EQ(bytes, after(1s));
    EXPECT_TRUE(receiver->ended(now));
}

TEST_F(PlaybackTest, FasterPlaybackShortensThePauses) {
    settings.playbackSpeed = 10;
    powerUp();
    EXPECT_EQ(3u, sentencesIn(after(400ms)).size());
}

TEST_F(PlaybackTest, RestampedRecordingIsOfNow) {
    settings.restamp = true;
    powerUp();
    const auto gll = sentencesIn(after(5s), "GLL");
    EXPECT_EQ("120000.00", gll.at(0).fieldAt(5));
    EXPECT_EQ("120002.00", gll.at(2).fieldAt(5));
    EXPECT_TRUE(gll.at(2).valid);
}

TEST_F(PlaybackTest, RepeatedRecordingBeginsAgainAfterItsLastEpoch) {
    settings.repeatRecording = true;
    powerUp();
    EXPECT_EQ(bytes + bytes, after(5900ms));
    EXPECT_FALSE(receiver->ended(now));
}

TEST_F(PlaybackTest, HeldRecordingWaitsForGo) {
    settings.hold = true;
    powerUp();
    EXPECT_EQ("", after(10s));
    command("go");
    EXPECT_EQ(bytes, after(5s));
}

TEST_F(PlaybackTest, FaultsSpoilRecordingsToo) {
    powerUp();
    command("badchecksum");
    after(100ms);
    EXPECT_EQ(0, validIn(after(5s)));
}
