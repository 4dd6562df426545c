// What docs/semantics.md draws of geofences: the step of the states, the borders of each state, the margin at
// a position that wavers, the date line.

#include <functional>

#include "AdapterFixture.h"
#include "Drawn.h"

namespace {

using State = GPSGeofenceState;

constexpr State kStates[] = {State::Unknown, State::Inside, State::Outside, State::Entered, State::Left};
constexpr int32_t kBeyondAll = 4000;         // microdegrees from the centre
constexpr int32_t kDateLine = 180000000;     // microdegrees
constexpr int32_t kAroundTheDateLine = 9000; // microdegrees that are drawn on each side

const char* nameOf(State state) {
    const char* const names[] = {"Unknown", "Inside", "Outside", "Entered", "Left"};
    return names[static_cast<uint32_t>(state)];
}

/// What the callback is told of a state that a check has led to, "-" for nothing.
const char* eventOf(State state) {
    return state == State::Entered ? "OnGeofenceEntered" : state == State::Left ? "OnGeofenceLeft" : "-";
}

class DrawnGeofence : public AdapterFixture {
protected:
    DrawnGeofence() {
        set([this](GPSParams& p) {
            GPSGeofence& yard = p.geofences[0];
            yard.name.setStr("yard");
            yard.longitude = 10000000;
            yard.latitude = 50000000;
            yard.width = 2000;
            yard.height = 1000;
            yard.margin = 1500;
            p.geofencesEnabled = true;
            geofence = yard;
        });
    }

    State& state() { return member(AdapterGeofenceStates())[0]; }

    /// The state after one check, and in `told` what the callback was told of it, "-" for nothing.
    State check(State from, const GPSData& data) {
        state() = from;
        member(AdapterCurrentData()) = data;
        adapter->UpdateGeofence();
        const Lines lines = AdapterFixture::told();
        told = lines.empty() ? "-" : lines.front().substr(9, lines.front().find(' ', 9) - 9);
        return state();
    }
    GPSData east(int32_t microdegrees) { return fixAt(50000000, 10000000 + microdegrees); }

    /// A row for each run of positions that a state leads to the same next one.
    void drawRuns(Drawn& drawn, State from, int32_t first, int32_t last,
                  const std::function<GPSData(int32_t)>& position) {
        State next = stateAt(from, position(first));
        for (int32_t begin = first, at = first + 1; at <= last + 1; ++at) {
            const State here = at > last ? next : stateAt(from, position(at));
            if (at <= last && here == next)
                continue;
            drawn.row(nameOf(from), begin, at - 1, nameOf(next));
            begin = at;
            next = here;
        }
    }
    State stateAt(State from, const GPSData& data) const {
        State now = from;
        geofence.CheckGeofence(data, now);
        return now;
    }

    GPSGeofence geofence;
    std::string told;
};

TEST_F(DrawnGeofence, HasTheStatesThatItsChecksLeadTo) {
    Drawn drawn(
        "A check of a geofence: from a state, by the position, to the next state; what the callback is told.",
        {"state", "position", "next", "told"});
    for (const State from : kStates)
        for (const bool inside : {true, false}) {
            const State next = check(from, east(inside ? 0 : kBeyondAll));
            drawn.row(nameOf(from), inside ? "inside" : "outside", nameOf(next), told);
        }
    drawn.expectCommitted("geofence-states");
}

TEST_F(DrawnGeofence, HasTheBordersThatEachStateSees) {
    Drawn drawn(
        "A geofence 2000 wide with a margin of 1500, all in microdegrees: from a state, at positions from "
        "and to so far east of its centre, to the next state.",
        {"state", "from", "to", "next"});
    for (const State from : kStates)
        drawRuns(drawn, from, -kBeyondAll, kBeyondAll, [this](int32_t at) { return east(at); });
    drawn.expectCommitted("geofence-borders");
}

TEST_F(DrawnGeofence, IsEnteredAndLeftOnceByAPositionThatWaversWithinItsMargin) {
    Drawn drawn("A drive through that geofence with a position that wavers by 700 microdegrees: second, "
                "position east "
                "of the centre, and what the callback is told with the margin of 1500 and with none.",
                {"second", "east", "with-margin", "without-margin"});
    GPSGeofence bare = geofence;
    bare.margin = 0;
    State bareState = State::Outside;
    State wideState = State::Outside;
    for (int32_t second = 0; second <= 120; ++second) {
        const int32_t wavering[] = {0, 700, 300, -700, -200, 500, -500};
        const int32_t at = -4500 + 75 * second + wavering[second % 7];
        geofence.CheckGeofence(east(at), wideState);
        bare.CheckGeofence(east(at), bareState);
        drawn.row(second, at, eventOf(wideState), eventOf(bareState));
    }
    drawn.expectCommitted("geofence-margin");
}

/// The longitude so far east of the date line.
int32_t longitude(int32_t east) { return east <= 0 ? kDateLine + east : east - kDateLine; }

TEST_F(DrawnGeofence, EndsAtTheDateLine) {
    Drawn drawn(
        "A geofence 6000 wide whose centre lies 1000 west of the date line, with a margin of 1500, in "
        "microdegrees: from a state, at positions from and to so far east of the date line, to the next "
        "state.",
        {"state", "from", "to", "next"});
    geofence.longitude = kDateLine - 1000;
    geofence.width = 6000;
    for (const State from : {State::Inside, State::Outside})
        drawRuns(drawn, from, -kAroundTheDateLine, kAroundTheDateLine,
                 [](int32_t at) { return fixAt(50000000, longitude(at)); });
    drawn.expectCommitted("geofence-date-line");
}

} // namespace
