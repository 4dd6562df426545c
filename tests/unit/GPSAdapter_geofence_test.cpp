// The adapter's watch over its twelve geofences. The rectangle and its states: GPSGeofence_test.cpp.

#include <limits>
#include <string>

#include "AdapterFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kSource[] = "src/GPSAdapter.cpp";
constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

const Lines kLockedOnce = {"sem_wait lock", "sem_post lock"};

class UpdateGeofence : public AdapterFixture {
protected:
    UpdateGeofence() { member(AdapterCurrentData()) = fixAt(50000000, 10000000); }

    void place(std::size_t index, const char* name, int32_t longitude = 10000000) {
        GPSGeofence& geofence = member(AdapterParams()).geofences[index];
        geofence.name.setStr(name);
        geofence.longitude = longitude;
        geofence.latitude = 50000000;
        geofence.width = geofence.height = 2000;
    }
    void stand(int32_t longitude) { member(AdapterCurrentData()).longitude = longitude; }
    GPSGeofenceState& state(std::size_t index) { return member(AdapterGeofenceStates())[index]; }
};

using State = GPSGeofenceState;

TEST_F(UpdateGeofence, DoesNothingWithoutConfiguredGeofences) {
    for (State& s : member(AdapterGeofenceStates()))
        s = State::Inside;
    EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    EXPECT_EQ(unit.journal.take(), kLockedOnce);
    for (const State s : readings().geofenceStates)
        EXPECT_EQ(s, State::Unknown);
}

TEST_F(UpdateGeofence, TellsNothingWhenTheFirstPositionLiesInside) {
    place(0, "yard");
    EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    EXPECT_EQ(state(0), State::Inside);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UpdateGeofence, TellsThatItWasLeftWhenTheFirstPositionLiesOutside) {
    place(0, "yard", 11000000);
    EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    EXPECT_EQ(state(0), State::Left);
    EXPECT_THAT(told(), ElementsAre("callback OnGeofenceLeft yard"));
}

TEST_F(UpdateGeofence, TellsEachEventOnce) {
    place(0, "yard");
    for (const int32_t longitude : {10000000, 11000000, 11000000, 10000000, 10000000, 10000000}) {
        stand(longitude);
        EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    }
    EXPECT_THAT(told(), ElementsAre("callback OnGeofenceLeft yard", "callback OnGeofenceEntered yard"));
}

TEST_F(UpdateGeofence, HandsOutItsOwnGeofenceUnderTheLock) {
    place(7, "yard", 11000000);
    bool held = false;
    callback.atCall = [&](const std::string&) { held = VirtualSemaphores::isTaken(lock()); };
    adapter->UpdateGeofence();
    EXPECT_EQ(callback.geofence, &member(AdapterParams()).geofences[7]);
    EXPECT_TRUE(held);
    EXPECT_EQ(unit.journal.count("sem_wait lock"), 1u);
}

TEST_F(UpdateGeofence, ChecksAllTwelveInOrder) {
    for (std::size_t i = 0; i < 12; ++i)
        place(i, std::to_string(i).c_str(), 11000000);
    state(4) = State::Outside;
    adapter->UpdateGeofence();
    Lines all;
    for (const int i : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11})
        all.push_back("callback OnGeofenceLeft " + std::to_string(i));
    EXPECT_EQ(told(), all);
}

TEST_F(UpdateGeofence, ReturnsTheResultOfTheLastGeofenceAlone) {
    callback.result = 0x42;
    place(0, "first", 11000000);
    place(10, "last but one", 11000000);
    EXPECT_EQ(adapter->UpdateGeofence(), 0u) << "the last one is not configured";
    EXPECT_THAT(logged(), IsEmpty());
    place(11, "last", 11000000);
    EXPECT_EQ(adapter->UpdateGeofence(), 0x42u);
    EXPECT_THAT(logged(), ElementsAre("3 GPSAdapter: check geofence returns rc=0x00000042"));
    EXPECT_EQ(source(), kSource);
}

TEST_F(UpdateGeofence, ReturnsTheResultOfAnEnteredCallToo) {
    callback.result = 0x43;
    place(11, "last");
    state(11) = State::Outside;
    EXPECT_EQ(adapter->UpdateGeofence(), 0x43u);
    EXPECT_THAT(told(), ElementsAre("callback OnGeofenceEntered last"));
}

TEST_F(UpdateGeofence, ReadsTheStateAnewAfterTheEnteredCall) {
    place(11, "last");
    state(11) = State::Outside;
    callback.atCall = [&](const std::string& call) {
        callback.result = call == "OnGeofenceEntered last" ? 0x42 : 0x43;
        state(11) = State::Left;
    };
    EXPECT_EQ(adapter->UpdateGeofence(), 0x43u);
    EXPECT_THAT(told(), ElementsAre("callback OnGeofenceEntered last", "callback OnGeofenceLeft last"));
}

TEST_F(UpdateGeofence, TellsALeftOneWhateverTheEnteredCallReturned) {
    place(11, "last");
    state(11) = State::Outside;
    callback.result = 0x42;
    callback.atCall = [&](const std::string&) { state(11) = State::Left; };
    adapter->UpdateGeofence();
    EXPECT_EQ(unit.journal.count("callback OnGeofenceLeft last"), 1u);
}

TEST_F(UpdateGeofence, LogsAfterTheLockWasGivenBack) {
    callback.result = 0x43;
    place(11, "last", 11000000);
    adapter->UpdateGeofence();
    const Lines lines = unit.journal.lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "sem_post lock");
    EXPECT_EQ(lines.back(), "log 3 src/GPSAdapter.cpp GPSAdapter: check geofence returns rc=0x00000043");
}

TEST_F(UpdateGeofence, HasNoPositionBeforeTheFirstFix) {
    member(AdapterCurrentData()).Clear();
    place(0, "first");
    EXPECT_EQ(adapter->UpdateGeofence(), 0u) << "the first one's error is lost";
    place(11, "last");
    state(11) = State::Inside;
    EXPECT_EQ(adapter->UpdateGeofence(), 0x17000021u);
    EXPECT_LOGGED(3, "GPSAdapter: check geofence returns rc=0x17000021");
    EXPECT_EQ(state(11), State::Unknown);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UpdateGeofence, GoesOnWithTheLastFixWhenTheFixIsLost) {
    place(0, "yard");
    adapter->UpdateGeofence();
    hal->fix = GPSData();
    adapter->UpdateCurrentPosition();
    adapter->UpdateGeofence();
    EXPECT_EQ(state(0), State::Inside);
}

TEST_F(UpdateGeofence, SurvivesHugeGeofences) {
    for (std::size_t i = 0; i < 12; ++i) {
        place(i, "huge", i % 2 == 0 ? kIntMax : kIntMin);
        GPSGeofence& geofence = member(AdapterParams()).geofences[i];
        geofence.latitude = i % 3 == 0 ? kIntMax : kIntMin;
        geofence.width = geofence.height = kUnsignedMax;
        geofence.margin = i < 6 ? kUnsignedMax : 0;
    }
    for (const int32_t position : {kIntMin, -1, 0, kIntMax}) {
        member(AdapterCurrentData()) = fixAt(position, position);
        EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    }
}

TEST_F(UpdateGeofence, ChecksNoneWhenNoneIsWatched) {
    place(0, "yard", 11000000);
    member(AdapterMaxGeofences()) = 0;
    EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    EXPECT_EQ(unit.journal.take(), kLockedOnce);
    member(AdapterMaxGeofences()) = 12;
}

TEST_F(AdapterWithoutCallback, AnswersALastGeofencesEventWithNotAvailable) {
    member(AdapterCurrentData()) = fixAt(50000000, 10000000);
    GPSGeofence& last = member(AdapterParams()).geofences[11];
    last.width = last.height = 10;
    EXPECT_EQ(adapter->UpdateGeofence(), 0x17000003u);
    EXPECT_LOGGED(3, "GPSAdapter: check geofence returns rc=0x17000003");
    EXPECT_EQ(adapter->UpdateGeofence(), 0u) << "outside is no event";
}

TEST_F(AdapterWithoutCallback, AnswersAnEnteredGeofenceWithNotAvailableAsWell) {
    member(AdapterCurrentData()) = fixAt(50000000, 10000000);
    GPSGeofence& last = member(AdapterParams()).geofences[11];
    last.width = last.height = 10;
    adapter->UpdateGeofence();
    member(AdapterCurrentData()) = fixAt(1, 1);
    EXPECT_EQ(adapter->UpdateGeofence(), 0x17000003u);
    EXPECT_EQ(adapter->UpdateGeofence(), 0u) << "inside is no event";
}

TEST_F(AdapterWithoutCallback, AnswersAnEventOfAnotherGeofenceWithTheLastOnesResult) {
    member(AdapterCurrentData()) = fixAt(50000000, 10000000);
    GPSGeofence& first = member(AdapterParams()).geofences[0];
    first.width = first.height = 10;
    EXPECT_EQ(adapter->UpdateGeofence(), 0u);
    EXPECT_THAT(logged(), IsEmpty());
}

} // namespace
