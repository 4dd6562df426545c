// The handler's sequences: start-up, sending, reload, reset, shut-down. Commands, pauses, opens and closes.

#include "HandlerTest.h"
#include "InstanceNames.h"
#include "SignalMask.h"

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;

namespace {

const std::string kDevice = "/dev/ttymxc1";
const std::string kOpenPort = "fopen /dev/ttymxc1 rb";
const std::string kClosePort = "fclose /dev/ttymxc1";
const std::string kPortMissing = "UBXConfig: Serial port cannot be opened for reading";
const std::string kAllAcknowledged = "UBXConfig: All commands have been acknowledged by positioning chip";

const Lines kResetPulse = {"system echo 0 >  /sys/class/gpio/gpio93/value", "usleep 100",
                           "system echo 1 >  /sys/class/gpio/gpio93/value"};
const Lines kRestoreWithoutFile = {"fopen /data/NavigationDatabaseDump rb",
                                   logged(6, "Failed to open navigation database dump file")};

std::string description(std::size_t number) { return kConfigurationTexts[number].description; }

Lines announced(std::size_t number) {
    return {logged(6, description(number)), written(kConfigurationTexts[number].frame)};
}

std::string acknowledgementText(std::size_t number) {
    return "UBXConfig: Acknowledgment has been received for the command: \"" + description(number) + "\"";
}

Lines acknowledgement(std::size_t number) { return {logged(6, acknowledgementText(number))}; }

Lines portCommand() { return announced(0) + Lines{portSetUp("115200")} + acknowledgement(0); }

// --- Start-up -------------------------------------------------------------------------------------------

class StartUp : public UnitTest {
protected:
    /// What the constructor does.
    Lines startUp() {
        handler = std::make_unique<UbxConfigHandler>();
        return unit.journal.lines();
    }
    void portSetUpFails(int times, int result = 256) {
        unit.shell.systemGives("timeout -t 1 stty", result, times);
    }

    static Lines cycle(int number) {
        const Lines settle(number == 0 ? 1 : 2, "usleep 1000000");
        return Lines{"system killall -9 gpsd"} + kResetPulse + settle;
    }
    static Lines tries(std::size_t count) { return Lines(count, portSetUp("9600")); }
    static Lines configuration() {
        return Lines{kOpenPort} + portCommand() + announced(1) + announced(2) + announced(3) + announced(4) +
               acknowledgement(1) + acknowledgement(2) + acknowledgement(3) + acknowledgement(4) +
               Lines{logged(6, kAllAcknowledged)} + kRestoreWithoutFile + Lines{kClosePort};
    }

    std::unique_ptr<UbxConfigHandler> handler;
};

TEST_F(StartUp, RunsItsStepsInThisOrder) { EXPECT_EQ(startUp(), cycle(0) + tries(1) + configuration()); }

TEST_F(StartUp, TriesThePortTwiceAfterTheReset) {
    portSetUpFails(1);
    EXPECT_EQ(startUp(), cycle(0) + tries(2) + configuration());
}

TEST_F(StartUp, ResetsAgainWhenBothTriesFailed) {
    portSetUpFails(2);
    EXPECT_EQ(startUp(), cycle(0) + tries(2) + cycle(1) + tries(1) + configuration());
}

TEST_F(StartUp, GoesOnWithTheLastTry) {
    portSetUpFails(3);
    EXPECT_EQ(startUp(), cycle(0) + tries(2) + cycle(1) + tries(2) + configuration());
}

using StartUpDeathTest = StartUp;

TEST_F(StartUpDeathTest, EndsTheProcessWithStatus255WhenNoTrySucceeds) {
    portSetUpFails(4);
    std::string steps;
    for (const std::string& line : cycle(0) + tries(2) + cycle(1) + tries(2))
        steps += line + "\n";
    EXPECT_EXIT(startUp(), ExitedWithCode(255), ::testing::Matcher<const std::string&>(steps));
}

TEST_F(StartUpDeathTest, CountsAShellThatCanNotRunAsFailed) {
    portSetUpFails(4, -1);
    EXPECT_EXIT(startUp(), ExitedWithCode(255), "killall");
}

TEST_F(StartUp, GoesOnWithoutAPort) {
    unit.port.openFails(kDevice);
    Lines expected = cycle(0) + tries(1) + Lines{kOpenPort + " failed", logged(2, kPortMissing)} +
                     announced(0) + Lines{portSetUp("115200")};
    for (std::size_t i = 1; i < 5; ++i)
        expected = expected + announced(i);
    EXPECT_EQ(startUp(), expected + kRestoreWithoutFile);
    EXPECT_EQ(unit.port.reads, 0);
}

TEST_F(StartUp, SendsNothingTwiceToASilentReceiver) {
    unit.port.receiver = silentReceiver;
    startUp();
    EXPECT_THAT(unit.port.sent, SizeIs(5));
    EXPECT_EQ(unit.port.reads, 2 * 276);
    EXPECT_EQ(unit.log.count(6, kAllAcknowledged), 0);
}

TEST_F(StartUp, TakesAsLongAsItsPausesWithASilentReceiver) {
    using namespace std::chrono_literals;
    unit.port.receiver = silentReceiver;
    startUp();
    EXPECT_EQ(unit.clock.elapsed(), 100us + 1s + 2 * 275 * 21701us);
}

TEST_F(StartUp, SpendsTheWholeBudgetWhenThePortCommandWasMissed) {
    unit.port.receiver = [](const Bytes& frame) { return frame[3] == 0 ? "" : contentReceiver(frame); };
    startUp();
    EXPECT_EQ(unit.port.reads, 2 * 276);
    EXPECT_LOGGED(6, acknowledgementText(4));
    EXPECT_NOT_LOGGED(6, acknowledgementText(0));
    EXPECT_NOT_LOGGED(6, kAllAcknowledged);
}

TEST_F(StartUp, TakesARefusalForSilence) {
    unit.port.receiver = [](const Bytes& frame) { return ubxFrame(0x05, 0x00, frame.substr(2, 2)); };
    startUp();
    EXPECT_EQ(unit.port.reads, 2 * 276);
    EXPECT_THAT(unit.port.sent, SizeIs(5));
}

TEST_F(StartUp, TakesALateAcknowledgementOfThePortCommandWithTheOthers) {
    unit.port.receiver = [](const Bytes& frame) {
        const Bytes late = frame[3] == 0x17 ? ackAck(6, 0) : "";
        return frame[3] == 0 ? "" : late + contentReceiver(frame);
    };
    startUp();
    EXPECT_EQ(unit.port.reads, 276 + 1);
    EXPECT_LOGGED(6, acknowledgementText(0));
    EXPECT_LOGGED(6, kAllAcknowledged);
}

class StartedHandler : public HandlerTest {};

TEST_F(StartedHandler, HasAcknowledgedRecordsAndTheServiceSpeed) {
    EXPECT_THAT(acknowledged(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 5u);
    EXPECT_EQ(member(HandlerBaudRate()), "115200");
}

TEST_F(StartedHandler, HasClosedThePortAndKeepsItsBuffer) {
    EXPECT_FALSE(unit.port.isOpen());
    EXPECT_EQ(member(HandlerSerialPort()), nullptr);
    EXPECT_NE(member(HandlerReadBuffer()), nullptr);
}

TEST_F(StartedHandler, HasABudgetOfSixSeconds) {
    EXPECT_EQ(member(HandlerReadBufferSize()), 5000u);
    EXPECT_EQ(member(HandlerReadDelayUs()), 21701u);
    EXPECT_EQ(member(HandlerMaxReads()), 276u);
}

TEST_F(StartedHandler, HasCountedNoAssistance) {
    EXPECT_EQ(used(), 0u);
    EXPECT_EQ(notUsed(), 0u);
}

// --- Sending --------------------------------------------------------------------------------------------

class SendConfig : public HandlerTest {
protected:
    SendConfig() {
        openPort();
        unit.forget();
    }
};

TEST_F(SendConfig, WritesOneRecordAndWaitsForIt) {
    nothingIsAcknowledged();
    handler->sendConfig(4, false, false, true);
    EXPECT_EQ(unit.journal.lines(), announced(4) + acknowledgement(4));
}

TEST_F(SendConfig, WritesRecordZeroByItsIndexWithoutPortSetUp) {
    nothingIsAcknowledged();
    handler->sendConfig(0, false, false, true);
    EXPECT_EQ(unit.journal.lines(), announced(0) + acknowledgement(0));
}

TEST_F(SendConfig, LogsNoDescriptionUnasked) {
    handler->sendConfig(4, false, false, false);
    EXPECT_EQ(unit.journal.lines(), Lines{written(kConfigurationTexts[4].frame)});
}

class SendConfigOfNoRecord : public SendConfig, public ::testing::WithParamInterface<signed char> {};

TEST_P(SendConfigOfNoRecord, DoesNothing) {
    handler->sendConfig(GetParam(), false, true, true);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_EQ(unit.port.reads, 0);
}

INSTANTIATE_TEST_SUITE_P(Indices, SendConfigOfNoRecord, Values(-128, -127, -2, 5, 6, 127),
                         [](const auto& made) { return instanceName(made.param); });

TEST_F(SendConfig, WritesAllButTheFirstBackToBack) {
    nothingIsAcknowledged();
    records()[0].acknowledged = true;
    handler->sendConfig(-1, false, false, true);
    EXPECT_EQ(unit.journal.lines(), announced(1) + announced(2) + announced(3) + announced(4) +
                                        acknowledgement(1) + acknowledgement(2) + acknowledgement(3) +
                                        acknowledgement(4) + Lines{logged(6, kAllAcknowledged)});
}

TEST_F(SendConfig, AwaitsRecordZeroThoughItIsNotSent) {
    nothingIsAcknowledged();
    handler->sendConfig(-1, false, false, false);
    EXPECT_THAT(unit.port.sent, SizeIs(4));
    EXPECT_THAT(acknowledged(), ElementsAre(1, 2, 3, 4));
    expectTimeOut();
}

TEST_F(SendConfig, WaitsForTheOnlyRecordWithoutWritingIt) {
    records().resize(1);
    nothingIsAcknowledged();
    handler->sendConfig(-1, false, false, false);
    EXPECT_THAT(unit.port.sent, IsEmpty());
    expectTimeOut();
}

TEST_F(SendConfig, WaitsEvenWithAnEmptyList) {
    records().clear();
    handler->sendConfig(-1, false, false, false);
    expectTimeOut();
}

TEST_F(SendConfig, LetsTheLineFollowThePortCommand) {
    nothingIsAcknowledged();
    handler->sendConfig(-2, true, false, true);
    EXPECT_EQ(unit.journal.lines(), portCommand());
}

TEST_F(SendConfig, SetsThePortUpAtTheCurrentSpeed) {
    member(HandlerBaudRate()) = "9600";
    handler->sendConfig(0, true, false, false);
    EXPECT_EQ(unit.journal.count(portSetUp("9600")), 1u);
}

TEST_F(SendConfig, TriesThePortThreeTimesWithAPauseAfterEachFailure) {
    unit.shell.systemGives("timeout -t 1 stty", 256, 2);
    handler->sendConfig(0, true, false, false);
    const std::string setUp = portSetUp("115200");
    EXPECT_EQ(unit.journal.lines(),
              (Lines{written(kConfigurationTexts[0].frame), setUp, "sleep 1", setUp, "sleep 1", setUp}));
}

TEST_F(SendConfig, GoesOnWhenThePortCanNotBeSetUp) {
    unit.shell.systemGives("timeout -t 1 stty", 256, 100);
    nothingIsAcknowledged();
    handler->sendConfig(0, true, false, false);
    EXPECT_EQ(unit.journal.count(portSetUp("115200")), 3u);
    EXPECT_EQ(unit.journal.count("sleep 1"), 3u);
    EXPECT_THAT(acknowledged(), ElementsAre(0));
}

TEST_F(SendConfig, WaitsWithThePortCommandForTheFirstRecordAlone) {
    nothingIsAcknowledged();
    unit.port.receiver = [](const Bytes&) { return ackAck(6, 0x17); };
    handler->sendConfig(1, true, false, false);
    expectTimeOut();
}

TEST_F(SendConfig, IgnoresThatAFrameCanNotBeWritten) {
    nothingIsAcknowledged();
    unit.shell.systemGives("echo -e", 256);
    handler->sendConfig(1, false, false, true);
    EXPECT_EQ(unit.journal.count("system echo -e"), 1u);
    expectTimeOut();
}

TEST_F(SendConfig, HandsTheDumpFlagOn) {
    handler->sendConfig(1, false, false, false);
    EXPECT_FALSE(unit.port.dumpFile());
    handler->sendConfig(1, false, true, false);
    EXPECT_EQ(unit.port.dumpFile(), "000000");
}

TEST_F(SendConfig, DoesNotCloseThePort) {
    handler->sendConfig(-1, false, false, false);
    EXPECT_TRUE(unit.port.isOpen());
}

// --- Reload ---------------------------------------------------------------------------------------------

class ReloadConfig : public HandlerTest {};

TEST_F(ReloadConfig, RunsItsStepsInThisOrder) {
    Lines expected =
        Lines{kOpenPort, portSetUp("9600")} + kResetPulse + Lines{"usleep 1000000"} + portCommand();
    for (std::size_t i = 1; i < 5; ++i)
        expected = expected + announced(i) + acknowledgement(i);
    handler->reloadConfig();
    EXPECT_EQ(unit.journal.lines(), expected + Lines{kClosePort});
}

TEST_F(ReloadConfig, DoesNeitherKillGpsdNorRestoreTheDatabase) {
    unit.port.setDumpFile(ubxFrame(0x13, 0x80, "payload") + "000001");
    handler->reloadConfig();
    EXPECT_EQ(unit.journal.count("system killall"), 0u);
    EXPECT_EQ(unit.journal.count("fopen /data"), 0u);
    EXPECT_THAT(unit.port.sent, SizeIs(5));
}

TEST_F(ReloadConfig, TriesTheOldSpeedOnceAndNeverEndsTheProcess) {
    unit.shell.systemGives("timeout -t 1 stty", 256, 100);
    handler->reloadConfig();
    EXPECT_EQ(unit.journal.count(portSetUp("9600")), 1u);
    EXPECT_EQ(unit.journal.count(portSetUp("115200")), 3u);
}

TEST_F(ReloadConfig, WaitsForEachRecordOfASilentReceiverByItself) {
    unit.port.receiver = silentReceiver;
    handler->reloadConfig();
    EXPECT_EQ(unit.port.reads, 5 * 276);
    EXPECT_THAT(unit.port.sent, SizeIs(5));
    EXPECT_THAT(acknowledged(), IsEmpty());
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 0u);
}

TEST_F(ReloadConfig, ForgetsOldAcknowledgements) {
    unit.port.receiver = [](const Bytes& frame) { return frame[3] == 0x13 ? contentReceiver(frame) : ""; };
    handler->reloadConfig();
    EXPECT_THAT(acknowledged(), ElementsAre(4));
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 1u);
}

TEST_F(ReloadConfig, SendsWhatWasAppendedAgain) {
    handler->addInitialPosition(1, 1, 10, 1000);
    handler->addInitialTime();
    const std::vector<Bytes> assistance = unit.port.sent;
    unit.forget();
    handler->reloadConfig();
    EXPECT_THAT(unit.port.sent, SizeIs(7));
    EXPECT_EQ(std::vector<Bytes>(unit.port.sent.begin() + 5, unit.port.sent.end()), assistance);
}

TEST_F(ReloadConfig, KeepsTheAssistanceCounters) {
    handler->addInitialPosition(1, 1, 10, 1000);
    EXPECT_EQ(used(), 1u);
    handler->reloadConfig();
    EXPECT_EQ(used(), 2u);
}

TEST_F(ReloadConfig, GoesOnWithoutAPort) {
    unit.port.openFails(kDevice);
    handler->reloadConfig();
    EXPECT_LOGGED(2, kPortMissing);
    EXPECT_THAT(unit.port.sent, SizeIs(5));
    EXPECT_EQ(unit.port.reads, 0);
    EXPECT_EQ(unit.journal.count(kClosePort), 0u);
}

TEST_F(ReloadConfig, EndsWithMoreThan255Records) {
    fillListTo(300);
    member(HandlerMaxReads()) = 1;
    handler->reloadConfig();
    // 0 to 127 by themselves, none for 128 to 254, all but the first for 255, then 0 to 43 once more
    EXPECT_EQ(unit.journal.count("system echo -e"), 128u + 299u + 44u);
    EXPECT_FALSE(unit.port.isOpen());
}

// --- Pauses ---------------------------------------------------------------------------------------------

class HandlersPauses : public HandlerTest {
protected:
    // The handler goes after this, and pauses once more while it does.
    ~HandlersPauses() override { unit.clock.afterEachSleep = nullptr; }

    /// How many of the pauses so far an application's timer could have cut short.
    std::size_t disturbed = 0;
    std::size_t pauses = 0;

    void count() {
        ++pauses;
        if (!blocks(maskOfThisThread(), SIGALRM))
            ++disturbed;
    }
};

TEST_F(HandlersPauses, AreNotCutShortByTheApplicationsTimers) {
    unit.clock.afterEachSleep = [this](auto) { count(); };
    unit.shell.systemGives("timeout -t 1 stty", 256, 3);
    unit.port.receiver = silentReceiver;
    handler->reloadConfig();
    EXPECT_EQ(pauses, 2u + 2u + 5u * 275u); // around the reset, after a failed stty, between the reads
    EXPECT_EQ(disturbed, 0u);
}

// --- Reset ----------------------------------------------------------------------------------------------

class ResetConfig : public HandlerTest {
protected:
    /// Resets a handler that waits with an open port.
    ResetConfig() {
        openPort();
        unit.forget();
        handler->resetConfig();
    }
};

TEST_F(ResetConfig, EmptiesTheHandler) {
    EXPECT_THAT(records(), IsEmpty());
    EXPECT_EQ(member(HandlerBaudRate()), "9600");
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 0u);
    EXPECT_EQ(member(HandlerReadBuffer()), nullptr);
    EXPECT_EQ(member(HandlerSerialPort()), nullptr);
}

TEST_F(ResetConfig, ClosesThePortAndSendsNothing) {
    EXPECT_THAT(unit.journal.lines(), ElementsAre(kClosePort));
}

TEST_F(ResetConfig, MayBeRepeated) {
    handler->resetConfig();
    EXPECT_THAT(unit.journal.lines(), ElementsAre(kClosePort));
}

TEST_F(ResetConfig, LeavesNothingToSend) {
    unit.forget();
    handler->sendConfig(0, true, false, true);
    handler->sendConfig(0, false, false, true);
    handler->sendConfig(-1, false, false, true);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(ResetConfig, LeavesAReloadWithItsPulseAlone) {
    unit.forget();
    handler->reloadConfig();
    EXPECT_EQ(unit.journal.lines(),
              (Lines{kOpenPort, portSetUp("9600")} + kResetPulse + Lines{"usleep 1000000", kClosePort}));
}

TEST_F(ResetConfig, LetsAPositionAllocateTheBufferAgain) {
    handler->addInitialPosition(1, 1, 10, 1000);
    EXPECT_EQ(used(), 1u);
    EXPECT_THAT(acknowledged(), ElementsAre(0));
}

TEST_F(ResetConfig, LetsATimeBeWrittenWithoutAWait) {
    handler->addInitialTime();
    EXPECT_THAT(unit.port.sent, SizeIs(1));
    EXPECT_EQ(unit.port.reads, 0);
    EXPECT_FALSE(unit.port.isOpen());
}

TEST_F(ResetConfig, LetsTheShutDownKeepTheOldDatabase) {
    unit.port.setDumpFile("old");
    shutDown();
    EXPECT_EQ(unit.port.dumpFile(), "old");
    EXPECT_EQ(unit.port.sent, std::vector<Bytes>{hex("b5 62 13 80 00 00 93 cc")});
}

TEST_F(ResetConfig, KeepsTheAssistanceCounters) {
    startUp();
    handler->addInitialPosition(1, 1, 10, 1000);
    handler->resetConfig();
    EXPECT_EQ(used(), 1u);
}

// --- Shut-down ------------------------------------------------------------------------------------------

class ShutDown : public HandlerTest {};

TEST_F(ShutDown, RunsItsStepsInThisOrder) {
    shutDown();
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre(kOpenPort, logged(6, "UBXConfig: Polling navigation database"),
                            written(R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)"),
                            "fopen /data/NavigationDatabaseDump wb", kClosePort, portSetUp("9600")));
}

TEST_F(ShutDown, TriesTheOldSpeedOnce) {
    unit.shell.systemGives("timeout -t 1 stty", 256, 100);
    shutDown();
    EXPECT_EQ(unit.journal.count("system timeout"), 1u);
    EXPECT_EQ(unit.journal.count("sleep"), 0u);
}

TEST_F(ShutDown, SetsTheLineBackWithoutAPort) {
    unit.port.openFails(kDevice);
    shutDown();
    EXPECT_LOGGED(2, kPortMissing);
    EXPECT_EQ(unit.journal.lines().back(), portSetUp("9600"));
}

TEST_F(ShutDown, LeavesTheReceiverAtItsSpeed) {
    shutDown();
    EXPECT_THAT(unit.port.sent, ElementsAre(hex("b5 62 13 80 00 00 93 cc")));
}

} // namespace
