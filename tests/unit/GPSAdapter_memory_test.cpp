// What the adapter's and the worker's operations do when there is no memory: nothing is thrown, every lock is
// given back, and no geofence is half taken.

#include <string>

#include "FailingMemory.h"
#include "WorkerFixture.h"

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// Runs `step` with the 1st, 2nd, ... allocation failing, and with all from there on, until none fails any
/// more. Returns how many allocations there were.
template <typename Step>
std::size_t withoutEachAllocation(Step step) {
    for (std::size_t n = 1;; ++n) {
        bool failed = false;
        for (const std::size_t count : {std::size_t(1), FailingMemory::kForever})
            failed = step(n, count) || failed;
        if (!failed)
            return n - 1;
    }
}

/// Twelve geofences whose names are too long for any place but the heap.
GPSParams settingsOf(const std::string& owner, uint32_t number) {
    GPSParams p;
    p.positionInterval = p.statusInterval = p.odometerValue = p.logInterval = number;
    p.trackingPeriod = p.trackingBase = p.trackingOffset = static_cast<int32_t>(number);
    p.enabled = p.trackingEnabled = p.geofencesEnabled = p.resetTimeDeviation = p.setOdometer =
        number % 2 == 1;
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i) {
        GPSGeofence& geofence = p.geofences[i];
        geofence.name.setStr(
            (owner + " of a yard with a rather long name, number " + std::to_string(i)).c_str());
        geofence.longitude = geofence.latitude = static_cast<int32_t>(number);
        geofence.width = geofence.height = geofence.margin = number;
    }
    return p;
}

bool isWhole(const GPSGeofence& geofence, const GPSGeofence& model) {
    return geofence.name.equals(model.name) && geofence.longitude == model.longitude &&
           geofence.latitude == model.latitude && geofence.width == model.width &&
           geofence.height == model.height && geofence.margin == model.margin;
}

class SettingsWithoutMemory : public AdapterFixture {
protected:
    SettingsWithoutMemory() : before(settingsOf("one", 2)), after(settingsOf("another", 3)) {}

    /// Every number and flag of the new settings, and every geofence of either; counts the old ones.
    void expectTaken(const GPSParams& p) {
        EXPECT_EQ(p.positionInterval + p.statusInterval + p.odometerValue + p.logInterval, 12u);
        EXPECT_EQ(p.trackingPeriod + p.trackingBase + p.trackingOffset, 9);
        EXPECT_TRUE(p.enabled && p.trackingEnabled && p.geofencesEnabled && p.resetTimeDeviation &&
                    p.setOdometer);
        for (std::size_t i = 0; i < kGPSMaxGeofences; ++i) {
            const bool old = isWhole(p.geofences[i], before.geofences[i]);
            EXPECT_TRUE(old || isWhole(p.geofences[i], after.geofences[i])) << i;
            oldOnes += old;
        }
    }
    /// From the old settings to the new ones, with states and time deviation at hand to be forgotten.
    bool set(std::size_t first, std::size_t count) {
        adapter->SetParams(before);
        for (GPSGeofenceState& state : member(AdapterGeofenceStates()))
            state = GPSGeofenceState::Inside;
        member(AdapterTimeDeviationValid()) = true;
        const FailingMemory memory(first, count);
        EXPECT_EQ(adapter->SetParams(after), 0u);
        return memory.hasFailed();
    }

    const GPSParams before;
    const GPSParams after;
    int oldOnes = 0;
};

TEST_F(SettingsWithoutMemory, AreTakenButForGeofencesThatStayWhole) {
    const std::size_t allocations = withoutEachAllocation([&](std::size_t first, std::size_t count) {
        const bool failed = set(first, count);
        EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
        expectTaken(member(AdapterParams()));
        return failed;
    });
    EXPECT_GE(allocations, 12u) << "a name each";
    EXPECT_GT(oldOnes, 0);
}

TEST_F(SettingsWithoutMemory, ForgetStatesDeviationAndOdometerAllTheSame) {
    withoutEachAllocation([&](std::size_t first, std::size_t count) {
        member(AdapterOdometer()) = 77;
        const bool failed = set(first, count);
        for (const GPSGeofenceState state : member(AdapterGeofenceStates()))
            EXPECT_EQ(state, GPSGeofenceState::Unknown);
        EXPECT_FALSE(member(AdapterTimeDeviationValid()));
        EXPECT_EQ(member(AdapterOdometer()), 3u);
        return failed;
    });
}

TEST_F(SettingsWithoutMemory, NeedNoneForNamesThatStay) {
    adapter->SetParams(before);
    GPSParams moved = before;
    for (GPSGeofence& geofence : moved.geofences)
        ++geofence.latitude;
    const FailingMemory memory(1);
    EXPECT_EQ(adapter->SetParams(moved), 0u);
    EXPECT_FALSE(memory.hasFailed());
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i)
        EXPECT_TRUE(isWhole(member(AdapterParams()).geofences[i], moved.geofences[i])) << i;
}

TEST_F(SettingsWithoutMemory, AreHandedOutButForGeofencesThatStayWhole) {
    adapter->SetParams(after);
    const std::size_t allocations = withoutEachAllocation([&](std::size_t first, std::size_t count) {
        GPSParams record = before;
        bool failed = false;
        {
            const FailingMemory memory(first, count);
            EXPECT_EQ(adapter->GetParams(record), 0u);
            failed = memory.hasFailed();
        }
        EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
        expectTaken(record);
        return failed;
    });
    EXPECT_EQ(allocations, 12u) << "a name each";
    EXPECT_GT(oldOnes, 0);
}

TEST_F(SettingsWithoutMemory, DoNotConcernReadingsAndDefaults) {
    adapter->SetParams(after);
    GPSReadings r;
    const FailingMemory memory(1);
    EXPECT_EQ(adapter->GetReadings(r), 0u);
    EXPECT_EQ(adapter->ResetParams(), 0u);
    EXPECT_FALSE(memory.hasFailed());
}

// --- Updates --------------------------------------------------------------------------------------------

class UpdateWithoutMemory : public AdapterFixture {
protected:
    void become(GPSAntennaState state) { hal->antenna = state; }
    unsigned int updateWithoutMemory() {
        const FailingMemory memory(1);
        return adapter->UpdateAntennaStatus();
    }
};

TEST_F(UpdateWithoutMemory, OfTheAntennaFailsAndLeavesTheChangeToTheNextOne) {
    EXPECT_EQ(updateWithoutMemory(), 0x17000001u);
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(readings().antennaState, 2u);
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0u);
    EXPECT_THAT(told(), ElementsAre("callback OnAntennaStateChanged 1"));
    EXPECT_EQ(readings().antennaState, 1u);
}

TEST_F(UpdateWithoutMemory, OfTheAntennaClearsTheAvailabilityAtOnce) {
    adapter->UpdateAntennaStatus();
    member(AdapterAvailable()) = true;
    become(GPS_ANTENNA_SHORT);
    EXPECT_EQ(updateWithoutMemory(), 0x17000001u);
    EXPECT_FALSE(readings().available);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
}

TEST_F(UpdateWithoutMemory, OfAnUnchangedAntennaNeedsNone) {
    adapter->UpdateAntennaStatus();
    hal->antennaResult = 0x42;
    EXPECT_EQ(updateWithoutMemory(), 0x42u);
}

TEST_F(AdapterWithoutCallback, NeedsNoMemoryForAnAntennaChange) {
    const FailingMemory memory(1);
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x17000003u);
    EXPECT_EQ(member(AdapterAntennaState()), GPS_ANTENNA_OK);
}

TEST_F(UpdateWithoutMemory, GoesOnAsUsualWhereNothingIsNeeded) {
    adapter->UpdateAntennaStatus();
    hal->fix = fixAt(48137154, 11576124);
    const FailingMemory memory(1);
    for (auto update :
         {&GPSAdapter::UpdateCurrentPosition, &GPSAdapter::UpdateOdometer, &GPSAdapter::UpdateGeofence,
          &GPSAdapter::UpdateSatelliteCount, &GPSAdapter::UpdateSNR, &GPSAdapter::UpdateErrorEstimates,
          &GPSAdapter::UpdateAntennaStatus, &GPSAdapter::UpdateSystemTimeDeviation,
          &GPSAdapter::SendTracking})
        EXPECT_EQ(((*adapter).*update)(), 0u);
    EXPECT_FALSE(memory.hasFailed());
}

TEST_F(UpdateWithoutMemory, LosesTheDetailLinesAlone) {
    {
        const FailingMemory memory(1);
        EXPECT_EQ(adapter->LogDetails(), 0u);
    }
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
}

// --- Worker ---------------------------------------------------------------------------------------------

class WorkerWithoutMemory : public WorkerFixture {
protected:
    /// Runs the body, which is to stop in its `sleeps`-th sleep.
    bool run(int sleeps, std::size_t first, std::size_t count) {
        stopRequested() = false;
        unit.clock.afterEachSleep = [&](VirtualClock::Duration) { stopRequested() = --sleeps <= 0; };
        const FailingMemory memory(first, count);
        worker().Run();
        return memory.hasFailed();
    }
    const std::string kNoSettings = "3 GPS worker failed to get setting parameters (error code 0x17000001)!";
    const std::string kStarts = "6 GPS worker starts and should not exit immediately, usleep 250000.";
};

TEST_F(WorkerWithoutMemory, TriesAgainAfterAPause) {
    set([](GPSParams& p) { p.logInterval = 0; });
    EXPECT_TRUE(run(2, 1, 1));
    EXPECT_THAT(logged(), ElementsAre(kNoSettings, kStarts, "6 GPS worker stopped."));
    EXPECT_EQ(unit.journal.count("usleep 250000"), 2u);
    EXPECT_EQ(ticks["GetData"].size(), 1u);
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerWithoutMemory, EndsWhenItIsToStop) {
    EXPECT_TRUE(run(3, 1, FailingMemory::kForever));
    EXPECT_EQ(unit.journal.count("usleep 250000"), 3u);
    EXPECT_EQ(ticks.count("GetData"), 0u);
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerWithoutMemory, SurvivesWhicheverAllocationFails) {
    adapter->SetParams(settingsOf("one", 1));
    const std::size_t allocations = withoutEachAllocation([&](std::size_t first, std::size_t count) {
        const bool failed = run(3, first, count);
        EXPECT_FALSE(worker().IsActive());
        EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
        return failed;
    });
    EXPECT_GE(allocations, 24u) << "the names of an empty record and of the settings, and the log";
}

} // namespace
