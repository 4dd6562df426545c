// The geofence: a rectangle with a hysteresis band, and the state machine over it.

#include "GPSGeofence.h"

#include <array>
#include <gtest/gtest.h>

#include <limits>

#include "FailingMemory.h"
#include "GPSErrors.h"
#include "InstanceNames.h"

namespace {

using State = GPSGeofenceState;

GPSData at(int32_t longitude, int32_t latitude) {
    GPSData data;
    data.valid = true;
    data.longitude = longitude;
    data.latitude = latitude;
    return data;
}

/// 2000 x 1000 microdegrees around 10 E, 50 N, with a band of 1500.
GPSGeofence yard() {
    GPSGeofence geofence;
    geofence.name.setStr("yard");
    geofence.longitude = 10000000;
    geofence.latitude = 50000000;
    geofence.width = 2000;
    geofence.height = 1000;
    geofence.margin = 1500;
    return geofence;
}

State after(State state, const GPSData& data, const GPSGeofence& geofence = yard()) {
    EXPECT_EQ(geofence.CheckGeofence(data, state), 0u);
    return state;
}

const GPSData kCentre = at(10000000, 50000000);
const GPSData kFarAway = at(11000000, 50000000);
const GPSData kInTheBand = at(10002500, 50000000);

// --- The record -----------------------------------------------------------------------------------------

TEST(GPSGeofenceRecord, StartsUnconfiguredWithAnEmptyNameAndAMarginOf1500) {
    const GPSGeofence geofence;
    EXPECT_STREQ(geofence.name.getStr(), "");
    EXPECT_EQ(geofence.longitude, 0);
    EXPECT_EQ(geofence.latitude, 0);
    EXPECT_EQ(geofence.width, 0u);
    EXPECT_EQ(geofence.height, 0u);
    EXPECT_EQ(geofence.margin, 1500u);
}

TEST(GPSGeofenceRecord, ClearsItsFiveNumbersMarginIncludedAndKeepsItsName) {
    GPSGeofence geofence = yard();
    geofence.Clear();
    EXPECT_STREQ(geofence.name.getStr(), "yard");
    EXPECT_EQ(geofence.longitude, 0);
    EXPECT_EQ(geofence.latitude, 0);
    EXPECT_EQ(geofence.width, 0u);
    EXPECT_EQ(geofence.height, 0u);
    EXPECT_EQ(geofence.margin, 0u);
}

void expectYard(const GPSGeofence& geofence) {
    EXPECT_STREQ(geofence.name.getStr(), "yard");
    EXPECT_EQ(geofence.longitude, 10000000);
    EXPECT_EQ(geofence.latitude, 50000000);
    EXPECT_EQ(geofence.width, 2000u);
    EXPECT_EQ(geofence.height, 1000u);
    EXPECT_EQ(geofence.margin, 1500u);
}

TEST(GPSGeofenceRecord, AssignsAllFieldsAndReturnsItself) {
    GPSGeofence geofence;
    EXPECT_EQ(&(geofence = yard()), &geofence);
    expectYard(geofence);
}

TEST(GPSGeofenceRecord, OwnsTheNameItWasAssigned) {
    GPSGeofence original = yard();
    GPSGeofence copy;
    copy = original;
    original.name.setStr("elsewhere");
    EXPECT_STREQ(copy.name.getStr(), "yard");
}

TEST(GPSGeofenceRecord, SurvivesAnAssignmentToItself) {
    GPSGeofence geofence = yard();
    const GPSGeofence& same = geofence;
    geofence = same;
    expectYard(geofence);
}

TEST(GPSGeofenceRecord, CopiesAllFieldsWhenConstructedFromAnother) {
    const GPSGeofence original = yard();
    const GPSGeofence copy(original);
    expectYard(copy);
}

TEST(GPSGeofenceRecord, StaysWholeWhenThereIsNoMemoryForAnotherName) {
    GPSGeofence geofence = yard();
    const GPSGeofence unnamed;
    {
        const FailingMemory memory(1);
        EXPECT_EQ(&(geofence = unnamed), &geofence);
        EXPECT_TRUE(memory.hasFailed());
    }
    expectYard(geofence);
}

TEST(GPSGeofenceRecord, NeedsNoMemoryForTheNameThatItHas) {
    GPSGeofence geofence = yard();
    geofence.Clear();
    const GPSGeofence other = yard();
    const FailingMemory memory(1);
    geofence = other;
    EXPECT_FALSE(memory.hasFailed());
    expectYard(geofence);
}

TEST(GPSGeofenceRecord, CanNotBeMadeWithoutMemoryForItsName) {
    const GPSGeofence original = yard();
    const FailingMemory memory(1);
    EXPECT_THROW(GPSGeofence(), std::bad_alloc);
    EXPECT_THROW(GPSGeofence copy(original), std::bad_alloc);
}

// --- checkInside ----------------------------------------------------------------------------------------

struct Inside {
    int32_t longitude;
    int32_t latitude;
    unsigned int margin;
    bool inside;
};

class GPSGeofenceRectangle : public ::testing::TestWithParam<Inside> {};

TEST_P(GPSGeofenceRectangle, IncludesItsBounds) {
    const Inside& row = GetParam();
    EXPECT_EQ(yard().checkInside(at(row.longitude, row.latitude), row.margin), row.inside);
}

INSTANTIATE_TEST_SUITE_P(AtEachSide, GPSGeofenceRectangle,
                         ::testing::Values(Inside{10000000, 50000000, 0, true},     // centre
                                           Inside{10001000, 50000000, 0, true},     // east
                                           Inside{10001001, 50000000, 0, false},    //
                                           Inside{9999000, 50000000, 0, true},      // west
                                           Inside{9998999, 50000000, 0, false},     //
                                           Inside{10000000, 50000500, 0, true},     // north
                                           Inside{10000000, 50000501, 0, false},    //
                                           Inside{10000000, 49999500, 0, true},     // south
                                           Inside{10000000, 49999499, 0, false},    //
                                           Inside{10002500, 50000000, 1500, true},  // east, with a margin
                                           Inside{10002501, 50000000, 1500, false}, //
                                           Inside{10000000, 50002000, 1500, true},  // north, with a margin
                                           Inside{10000000, 50002001, 1500, false}, //
                                           Inside{10001001, 50000501, 0, false}),   // beyond a corner
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.longitude, p.latitude, "margin", p.margin);
                         });

TEST(GPSGeofenceRectangle, DoesNotAskWhetherThePositionIsValid) {
    GPSData data = kCentre;
    data.valid = false;
    EXPECT_TRUE(yard().checkInside(data, 0));
}

TEST(GPSGeofenceRectangle, HasOnlyItsCentreAtAWidthOfOne) {
    GPSGeofence line = yard();
    line.width = 1;
    EXPECT_TRUE(line.checkInside(at(10000000, 50000000), 0));
    EXPECT_FALSE(line.checkInside(at(10000001, 50000000), 0));
    EXPECT_FALSE(line.checkInside(at(9999999, 50000000), 0));
    EXPECT_TRUE(line.checkInside(at(10000007, 50000000), 7));
}

TEST(GPSGeofenceRectangle, RoundsHalfAnOddExtentDown) {
    GPSGeofence odd = yard();
    odd.width = 2001;
    odd.height = 1001;
    EXPECT_TRUE(odd.checkInside(at(10001000, 50000500), 0));
    EXPECT_FALSE(odd.checkInside(at(10001001, 50000500), 0));
    EXPECT_FALSE(odd.checkInside(at(10001000, 50000501), 0));
}

TEST(GPSGeofenceRectangle, DoesNotWrapAroundAtTheDateLine) {
    GPSGeofence island = yard();
    island.longitude = 179999500;
    EXPECT_TRUE(island.checkInside(at(180000000, 50000000), 0));
    EXPECT_FALSE(island.checkInside(at(-179999999, 50000000), 0));
}

TEST(GPSGeofenceRectangle, EnclosesNothingWhenItsSumsWrap) {
    GPSGeofence huge = yard();
    huge.width =
        std::numeric_limits<uint32_t>::max(); // half is 2^31 - 1: the east bound wraps below the west
    EXPECT_FALSE(huge.checkInside(kCentre, 0));
    huge.width = 2000;
    huge.height = std::numeric_limits<uint32_t>::max();
    EXPECT_FALSE(huge.checkInside(kCentre, 0));
}

TEST(GPSGeofenceRectangle, WrapsTheSumOfMarginAndHalfWidth) {
    // 2^32 - 500 + 1000 is 500 again.
    EXPECT_TRUE(yard().checkInside(at(10000500, 50000000), 4294966796u));
    EXPECT_FALSE(yard().checkInside(at(10000501, 50000000), 4294966796u));
}

// --- CheckGeofence --------------------------------------------------------------------------------------

struct Step {
    State before;
    State inside;
    State outside;
};

class GPSGeofenceStep : public ::testing::TestWithParam<Step> {};

TEST_P(GPSGeofenceStep, LeadsToTheStateInTheTable) {
    const Step& row = GetParam();
    EXPECT_EQ(after(row.before, kCentre), row.inside);
    EXPECT_EQ(after(row.before, kFarAway), row.outside);
}

std::string nameOfState(State state) {
    const std::array<const char*, 5> names{"Unknown", "Inside", "Outside", "Entered", "Left"};
    return names.at(static_cast<std::size_t>(state));
}

INSTANTIATE_TEST_SUITE_P(FromEachState, GPSGeofenceStep,
                         ::testing::Values(Step{State::Unknown, State::Inside, State::Left},
                                           Step{State::Inside, State::Inside, State::Left},
                                           Step{State::Outside, State::Entered, State::Outside},
                                           Step{State::Entered, State::Inside, State::Left},
                                           Step{State::Left, State::Entered, State::Outside}),
                         [](const auto& made) { return nameOfState(made.param.before); });

TEST(GPSGeofenceCheck, HasTheStatesNumbers) {
    EXPECT_EQ(static_cast<uint32_t>(State::Unknown), 0u);
    EXPECT_EQ(static_cast<uint32_t>(State::Inside), 1u);
    EXPECT_EQ(static_cast<uint32_t>(State::Outside), 2u);
    EXPECT_EQ(static_cast<uint32_t>(State::Entered), 3u);
    EXPECT_EQ(static_cast<uint32_t>(State::Left), 4u);
}

TEST(GPSGeofenceCheck, TreatsAnUnknownStateLikeInside) {
    EXPECT_EQ(after(State::Unknown, kInTheBand), State::Inside);
}

TEST(GPSGeofenceCheck, RaisesLeftButNotEnteredFromUnknown) {
    EXPECT_EQ(after(State::Unknown, kCentre), State::Inside);
    EXPECT_EQ(after(State::Unknown, kFarAway), State::Left);
}

TEST(GPSGeofenceCheck, AppliesTheMarginWhileInsideAndJustEntered) {
    EXPECT_EQ(after(State::Inside, kInTheBand), State::Inside);
    EXPECT_EQ(after(State::Entered, kInTheBand), State::Inside);
    EXPECT_EQ(after(State::Inside, at(10002501, 50000000)), State::Left);
}

TEST(GPSGeofenceCheck, AppliesNoMarginWhileOutsideAndJustLeft) {
    EXPECT_EQ(after(State::Outside, kInTheBand), State::Outside);
    EXPECT_EQ(after(State::Left, kInTheBand), State::Outside);
    EXPECT_EQ(after(State::Outside, at(10001000, 50000000)), State::Entered);
    EXPECT_EQ(after(State::Left, at(10001001, 50000000)), State::Outside);
}

TEST(GPSGeofenceCheck, KeepsAnEventForExactlyOneCheck) {
    State state = State::Outside;
    yard().CheckGeofence(kCentre, state);
    EXPECT_EQ(state, State::Entered);
    yard().CheckGeofence(kCentre, state);
    EXPECT_EQ(state, State::Inside);
    yard().CheckGeofence(kFarAway, state);
    EXPECT_EQ(state, State::Left);
    yard().CheckGeofence(kFarAway, state);
    EXPECT_EQ(state, State::Outside);
}

class UnconfiguredGeofence : public ::testing::TestWithParam<State> {};

TEST_P(UnconfiguredGeofence, HasAnUnknownStateAndNoError) {
    GPSGeofence flat = yard();
    flat.height = 0;
    EXPECT_EQ(after(GetParam(), kCentre, flat), State::Unknown);
    GPSGeofence thin = yard();
    thin.width = 0;
    EXPECT_EQ(after(GetParam(), kCentre, thin), State::Unknown);
}

TEST_P(UnconfiguredGeofence, DoesNotAskWhetherThePositionIsValid) {
    GPSGeofence thin = yard();
    thin.width = 0;
    EXPECT_EQ(after(GetParam(), GPSData(), thin), State::Unknown);
}

TEST_P(UnconfiguredGeofence, DiffersFromAConfiguredOneWithoutAValidPosition) {
    State state = GetParam();
    GPSData invalid = kCentre;
    invalid.valid = false;
    EXPECT_EQ(yard().CheckGeofence(invalid, state), 0x17000021u);
    EXPECT_EQ(state, State::Unknown);
}

INSTANTIATE_TEST_SUITE_P(FromEachState, UnconfiguredGeofence,
                         ::testing::Values(State::Unknown, State::Inside, State::Outside, State::Entered,
                                           State::Left),
                         [](const auto& made) { return nameOfState(made.param); });

} // namespace
