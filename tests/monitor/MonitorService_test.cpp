// The service on its own thread, on the virtual clock. Threads that are due at the same moment come in either
// order, so the tests look at what must come.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>

#include "EventQueue.h"
#include "FailingMemory.h"
#include "GpsRecord.h"
#include "LineQueue.h"
#include "Service.h"
#include "VirtualUnit.h"

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using namespace monitor;
using telemetry::Line;
using Step = telemetry::ServiceStep::Step;

/// What the lines of one kind tell, in order.
template <class Content>
std::vector<Content> only(const std::vector<Line>& lines) {
    std::vector<Content> found;
    for (const Line& line : lines)
        if (const auto* const content = std::get_if<Content>(&line.content))
            found.push_back(*content);
    return found;
}

std::vector<Step> stepsOf(const std::vector<Line>& lines) {
    std::vector<Step> steps;
    for (const auto& each : only<telemetry::ServiceStep>(lines))
        if (each.elapsedS <= 0)
            steps.push_back(each.step);
    return steps;
}

bool tellsOfAnEntry(const Line& line) {
    const auto* const crossing = std::get_if<telemetry::GeofenceCrossed>(&line.content);
    return crossing != nullptr && crossing->entered;
}

bool showsAnEntry(const Line& line) {
    const auto* const taken = std::get_if<telemetry::ReadingsTaken>(&line.content);
    return taken != nullptr && taken->readings.geofenceStates[3] == telemetry::GeofenceState::Entered;
}

class TheService : public UnitTest {
protected:
    TheService() {
        unit.useRealThreads();
        unit.gpsd.reportsEvery(1s, fillNorthbound);
        wishes.settings.trackingPeriodS = 10;
        wishes.settings.geofences[3] = {"ahead", {48020000, 11500000}, 10000, 4000, 100};
        wishes.settings.geofencesEnabled = true;
    }

    void start() {
        service = std::make_unique<Service>(wishes, moments);
        service->start();
    }
    void startAndWaitUntilItIsUp() {
        start();
        while (stepsOf(lines).empty() || stepsOf(lines).back() != Step::Running)
            goOnFor(100ms);
    }
    /// As main's loop does.
    void goOnFor(std::chrono::milliseconds time) {
        for (auto gone = 0ms; gone < time; gone += 100ms) {
            unit.clock.advance(100ms);
            take();
        }
    }
    void stopAndWaitUntilItIsDown() {
        service->stop();
        while (!service->isDown())
            goOnFor(100ms);
        take();
    }
    void take() {
        for (Line& line : service->poll())
            lines.push_back(std::move(line));
    }
    bool hasBegun(Step step) const {
        const std::vector<Step> steps = stepsOf(lines);
        return std::find(steps.begin(), steps.end(), step) != steps.end();
    }
    std::uint32_t odometer() { return only<telemetry::ReadingsTaken>(lines).back().readings.odometerM; }

    Wishes wishes;
    Moments moments;
    std::vector<Line> lines;
    std::unique_ptr<Service> service; ///< goes first
};

TEST_F(TheService, ComesUpAndGoesDownStepByStep) {
    startAndWaitUntilItIsUp();
    stopAndWaitUntilItIsDown();
    EXPECT_THAT(stepsOf(lines),
                ElementsAre(Step::Constructing, Step::Initializing, Step::Starting, Step::Running,
                            Step::Stopping, Step::Finalizing, Step::Destroying, Step::Down));
    EXPECT_FALSE(service->hasFailed());
}

TEST_F(TheService, TellsItsSettingsInFrontOfTheFirstReadings) {
    startAndWaitUntilItIsUp();
    goOnFor(2s);
    stopAndWaitUntilItIsDown();
    const auto isOneOf = [](const Line& line) {
        return std::holds_alternative<telemetry::SettingsTaken>(line.content) ||
               std::holds_alternative<telemetry::ReadingsTaken>(line.content);
    };
    const auto first = std::find_if(lines.begin(), lines.end(), isOneOf);
    ASSERT_NE(first, lines.end());
    const auto* const taken = std::get_if<telemetry::SettingsTaken>(&first->content);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->settings.geofences[3].name, "ahead");
}

TEST_F(TheService, BringsFixesAndEvents) {
    startAndWaitUntilItIsUp();
    goOnFor(200s);
    stopAndWaitUntilItIsDown();
    const auto readings = only<telemetry::ReadingsTaken>(lines);
    EXPECT_GT(readings.size(), 150u); // a fix a second
    EXPECT_EQ(readings.back().readings.satellites, 12u);
    ASSERT_TRUE(readings.back().readings.fix);
    EXPECT_EQ(readings.back().readings.fix->position.longitude, 11500000);
    EXPECT_GT(only<telemetry::PositionUpdated>(lines).size(), 10u);
    EXPECT_FALSE(only<telemetry::AvailabilityChanged>(lines).empty());
}

TEST_F(TheService, SaysWhichGeofenceWasCrossedAndWhere) {
    startAndWaitUntilItIsUp();
    goOnFor(200s);
    stopAndWaitUntilItIsDown();
    const auto crossings = only<telemetry::GeofenceCrossed>(lines);
    ASSERT_GE(crossings.size(), 3u); // left at first, as it lies ahead; entered; left
    EXPECT_TRUE(crossings[1].entered);
    EXPECT_EQ(crossings[1].name, "ahead");
    EXPECT_EQ(crossings[1].slot, 3u);
    ASSERT_TRUE(crossings[1].where);
    EXPECT_NEAR(crossings[1].where->latitude, 48018000, 400);
}

TEST_F(TheService, PutsAnEventInFrontOfTheReadingsThatWereTakenAfterIt) {
    startAndWaitUntilItIsUp();
    goOnFor(200s);
    stopAndWaitUntilItIsDown();
    const auto event = std::find_if(lines.begin(), lines.end(), tellsOfAnEntry);
    const auto readings = std::find_if(lines.begin(), lines.end(), showsAnEntry);
    EXPECT_NE(event, lines.end());
    EXPECT_NE(readings, lines.end());
    EXPECT_LT(event, readings);
}

TEST_F(TheService, SetsTheOdometerOnceHoweverOftenSettingsChangeAfterwards) {
    startAndWaitUntilItIsUp();
    service->setOdometer(100000);
    goOnFor(300s); // it counts after 180
    const std::uint32_t counted = odometer();
    EXPECT_GT(counted, 101000u);
    service->setTracking(true);
    service->setGeofences(false);
    goOnFor(5s);
    EXPECT_GE(odometer(), counted);
    service->setOdometer(7);
    goOnFor(500ms);
    stopAndWaitUntilItIsDown();
    EXPECT_LT(odometer(), 100u);
}

TEST_F(TheService, SetsTheOdometerThatWasWishedForBeforeItStarts) {
    wishes.odometerM = 70000;
    startAndWaitUntilItIsUp();
    goOnFor(300s);
    const std::uint32_t counted = odometer();
    EXPECT_GT(counted, 71000u);
    service->setTracking(true);
    goOnFor(5s);
    stopAndWaitUntilItIsDown();
    EXPECT_GE(odometer(), counted);
}

TEST_F(TheService, TellsEachRequestAndTheSettingsThatItMakes) {
    startAndWaitUntilItIsUp();
    service->setTracking(true);
    service->setGeofences(false);
    goOnFor(1s);
    stopAndWaitUntilItIsDown();
    const auto commands = only<telemetry::Command>(lines);
    const auto settings = only<telemetry::SettingsTaken>(lines);
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(commands[0].kind, telemetry::Command::Kind::Tracking);
    EXPECT_EQ(commands[1].kind, telemetry::Command::Kind::Geofences);
    ASSERT_EQ(settings.size(), 3u);
    EXPECT_TRUE(settings[1].settings.trackingEnabled && settings[1].settings.geofencesEnabled);
    EXPECT_TRUE(settings[2].settings.trackingEnabled && !settings[2].settings.geofencesEnabled);
}

TEST_F(TheService, DoesWhatItWasAskedForBetweenItsLastRoundAndItsEnd) {
    std::atomic<std::thread::id> servicesThread{}; // the first that takes a lock
    std::atomic<bool> isLastRound{false};
    unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call, const sem_t*) {
        if (servicesThread.load() == std::thread::id())
            servicesThread = std::this_thread::get_id();
        if (std::this_thread::get_id() != servicesThread.load() || !isLastRound.exchange(false))
            return;
        service->setTracking(true); // it asks for its readings: requests were looked for before
        service->stop();
    };
    startAndWaitUntilItIsUp();
    isLastRound = true;
    while (!service->isDown())
        goOnFor(100ms);
    take();
    ASSERT_EQ(only<telemetry::Command>(lines).size(), 1u);
    EXPECT_TRUE(only<telemetry::SettingsTaken>(lines).back().settings.trackingEnabled);
    unit.semaphores.beforeEachCall = nullptr;
}

TEST_F(TheService, SendsTrackingReportsOnceTheyAreAskedFor) {
    startAndWaitUntilItIsUp();
    goOnFor(30s);
    EXPECT_TRUE(only<telemetry::Tracked>(lines).empty());
    service->setTracking(true);
    goOnFor(30s);
    stopAndWaitUntilItIsDown();
    EXPECT_GE(only<telemetry::Tracked>(lines).size(), 2u);
}

TEST_F(TheService, PassesRequestsOverWhileItIsNotUp) {
    start();
    service->setOdometer(5);
    stopAndWaitUntilItIsDown();
    service->setOdometer(5);
    goOnFor(1s);
    EXPECT_TRUE(only<telemetry::Command>(lines).empty());
}

TEST_F(TheService, GoesDownFromEachStep) {
    for (const Step step : {Step::Constructing, Step::Initializing, Step::Starting}) {
        lines.clear();
        start();
        while (!hasBegun(step))
            goOnFor(100ms);
        stopAndWaitUntilItIsDown();
        EXPECT_EQ(stepsOf(lines).back(), Step::Down);
        EXPECT_FALSE(service->hasFailed());
    }
}

TEST_F(TheService, TellsNoReadingsWhereItIsStoppedInFrontOfItsSettings) {
    start();
    stopAndWaitUntilItIsDown();
    EXPECT_EQ(stepsOf(lines).front(), Step::Constructing);
    EXPECT_TRUE(only<telemetry::SettingsTaken>(lines).empty());
    EXPECT_TRUE(only<telemetry::ReadingsTaken>(lines).empty());
}

TEST_F(TheService, SaysWithWhichCodeItDoesNotComeUp) {
    unit.semaphores.fail(VirtualSemaphores::TimedWait, EINVAL); // the worker's start token
    start();
    while (!service->isDown())
        goOnFor(100ms);
    take();
    EXPECT_TRUE(service->hasFailed());
    EXPECT_THAT(service->problem(), HasSubstr("the service does not start (error code 0x17000003)"));
    const auto steps = only<telemetry::ServiceStep>(lines);
    const auto failed =
        std::find_if(steps.begin(), steps.end(), [](const auto& step) { return step.step == Step::Failed; });
    ASSERT_NE(failed, steps.end());
    EXPECT_EQ(failed->result, 0x17000003u);
    EXPECT_EQ(stepsOf(lines).back(), Step::Down);
}

// --- The queues -----------------------------------------------------------------------------------------

TEST(EventQueue, KeepsSoManyEventsAndCountsTheRest) {
    const Moments moments;
    EventQueue queue(moments);
    for (std::size_t i = 0; i < EventQueue::kRoom + 7; ++i)
        EXPECT_EQ(queue.OnPositionUpdate(), 0u);
    const EventQueue::Taken taken = queue.takeAll();
    EXPECT_EQ(taken.events.size(), EventQueue::kRoom);
    EXPECT_EQ(taken.lost, 7u);
    EXPECT_TRUE(queue.takeAll().events.empty());
}

TEST(EventQueue, CountsAnEventForWhichThereIsNoMemory) {
    const Moments moments;
    EventQueue queue(moments);
    {
        const FailingMemory memory(1);
        EXPECT_EQ(queue.OnPositionUpdate(), 0u);
    }
    EXPECT_EQ(queue.takeAll().lost, 1u);
}

TEST(LineQueue, LeavesReadingsOutFirstAndCountsEvents) {
    const Moments moments;
    LineQueue queue(moments);
    for (std::size_t i = 0; i < LineQueue::kRoom; ++i)
        queue.put(telemetry::Content(telemetry::ReadingsTaken()));
    for (std::size_t i = 0; i < LineQueue::kRoom; ++i)
        queue.put(telemetry::Content(telemetry::PositionUpdated()));
    const std::vector<Line> lines = queue.takeAll();
    EXPECT_EQ(only<telemetry::ReadingsTaken>(lines).size(), LineQueue::kRoomForReadings);
    EXPECT_EQ(only<telemetry::PositionUpdated>(lines).size(), LineQueue::kRoom - LineQueue::kRoomForReadings);
    ASSERT_EQ(only<telemetry::Lost>(lines).size(), 1u);
    EXPECT_EQ(only<telemetry::Lost>(lines)[0].events, LineQueue::kRoomForReadings);
}

} // namespace
