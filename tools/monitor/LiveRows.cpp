// The rows of the live view, one function each; where a terminal is narrow, each has a shorter way to say it.

#include "LiveRows.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Geometry.h"
#include "Text.h"

namespace monitor {

namespace {

using telemetry::ServiceStep;

constexpr double kMicrodegrees = 1e6;
constexpr double kThousandths = 1e3;
constexpr std::int64_t kMsPerSecond = 1000;
constexpr double kKmPerHourPerMPerS = 3.6;
constexpr std::uint32_t kAntennaInOrder = 1;
constexpr std::size_t kLabelColumns = 11;
constexpr std::size_t kNarrow = 60; // columns; below, labels and values are shorter
constexpr std::size_t kShortLabelColumns = 6;

// --- Labels ---------------------------------------------------------------------------------------------

std::size_t labelColumns(std::size_t columns) {
    return columns < kNarrow ? kShortLabelColumns : kLabelColumns;
}

Span label(const std::string& text, const std::string& shortText, std::size_t columns) {
    return {Style::Label, padded(columns < kNarrow ? shortText : text, labelColumns(columns))};
}

/// A labelled row with the first of the values that fits.
Row labelled(const Span& name, std::initializer_list<Row> longestFirst, std::size_t columns) {
    const std::size_t taken = std::min(columnsOf(name.text), columns);
    Row row = {name};
    for (const Span& span : fitting(longestFirst, columns - taken))
        row.push_back(span);
    return cutRow(row, columns);
}

Row plain(const std::string& text) { return {{Style::Plain, text}}; }
Row none() { return plain("-"); }

// --- Values ---------------------------------------------------------------------------------------------

const telemetry::Fix* fixOf(const Sight& sight) {
    const auto& readings = sight.model.readings();
    return readings && readings->fix ? &*readings->fix : nullptr;
}

std::string degrees(std::int32_t microdegrees, char positive, char negative) {
    return decimal(std::abs(microdegrees / kMicrodegrees), 6) + " " +
           (microdegrees < 0 ? negative : positive);
}

const char* compassPoint(double course) {
    static const char* const points[] = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
    return points[static_cast<std::size_t>(std::lround(course / 45)) % 8];
}

const char* workOf(ServiceStep::Step step) {
    switch (step) {
    case ServiceStep::Step::Constructing:
        return "resets and configures the receiver";
    case ServiceStep::Step::Initializing:
        return "starts gpsd";
    case ServiceStep::Step::Starting:
        return "connects to gpsd";
    case ServiceStep::Step::Stopping:
        return "stops reading";
    case ServiceStep::Step::Finalizing:
        return "ends gpsd";
    case ServiceStep::Step::Destroying:
        return "saves the receiver's database";
    default:
        return "";
    }
}

std::string bar(double share, std::size_t columns) {
    const auto full = static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * static_cast<double>(columns));
    return "[" + std::string(full, '#') + std::string(columns - full, '.') + "]";
}

bool goesOn(ServiceStep::Step step) {
    return step != ServiceStep::Step::Down && step != ServiceStep::Step::Failed;
}

std::string resultOf(const ServiceStep& step) {
    char text[32] = "";
    if (step.result && *step.result != 0)
        std::snprintf(text, sizeof text, ", result 0x%08X", *step.result);
    return text;
}

// --- What the odometer is likely to be doing ------------------------------------------------------------

struct Guess {
    Tone tone;
    std::string words;
    std::string shortly;
};

Guess droppingGuess(const OdometerEstimate& odometer) {
    const std::string gate = decimal(odometer.gateMetres(), 0) + " m";
    return {Tone::Warning, "drops steps up to " + gate + ", twice the error estimate",
            "drops steps to " + gate};
}

Guess warmUpGuess(const OdometerEstimate& odometer, double seconds) {
    const std::string end = "counts in " + duration(seconds);
    return odometer.hasJumped() ? Guess{Tone::Warning, "jumped, warms up again, " + end, "jumped, " + end}
                                : Guess{Tone::Warning, "warms up, " + end, end};
}

Guess guessOf(const Sight& sight) {
    const OdometerEstimate& odometer = sight.model.odometer();
    switch (odometer.phase(sight.now.uptimeMs)) {
    case OdometerEstimate::Phase::Off:
        break;
    case OdometerEstimate::Phase::WarmUp:
        return warmUpGuess(odometer, odometer.secondsLeft(sight.now.uptimeMs));
    case OdometerEstimate::Phase::NoFix:
        return {Tone::Bad, "counts nothing without a fix", "no fix"};
    case OdometerEstimate::Phase::Standing:
        return {Tone::Plain, "stands", "stands"};
    case OdometerEstimate::Phase::Dropping:
        return droppingGuess(odometer);
    case OdometerEstimate::Phase::Counting:
        return {Tone::Good, "counts", "counts"};
    }
    return {Tone::Plain, "", ""};
}

std::string droppedInWords(const OdometerEstimate& odometer) {
    if (odometer.droppedSteps() == 0)
        return "";
    return "; dropped " + std::to_string(odometer.droppedSteps()) + " steps, " +
           distance(odometer.droppedMetres());
}

// --- Geofences ------------------------------------------------------------------------------------------

telemetry::GeofenceState stateOf(const Sight& sight, std::size_t slot) {
    const auto& readings = sight.model.readings();
    return readings ? readings->geofenceStates[slot] : telemetry::GeofenceState::Unknown;
}

Style styleOf(telemetry::GeofenceState state) {
    switch (state) {
    case telemetry::GeofenceState::Inside:
        return Style::Good;
    case telemetry::GeofenceState::Entered:
    case telemetry::GeofenceState::Left:
        return Style::Warning;
    default:
        return Style::Plain;
    }
}

std::string nameOf(const telemetry::Geofence& geofence, std::size_t slot) {
    return geofence.name.empty() ? "(slot " + std::to_string(slot) + ")" : showable(geofence.name);
}

std::string toBorder(const Sight& sight, std::size_t slot) {
    const telemetry::Fix* const fix = fixOf(sight);
    if (fix == nullptr)
        return "-";
    const telemetry::Geofence& geofence = sight.model.settings().geofences[slot];
    return distance(metresToBorder(geofence, stateOf(sight, slot), fix->position));
}

/// Which border a position has to cross for the next event.
bool isToMargin(const Sight& sight, std::size_t slot) {
    return marginCounts(stateOf(sight, slot)) && sight.model.settings().geofences[slot].margin != 0;
}

std::string sizeInWords(const telemetry::Geofence& geofence) {
    const double northM = geofence.height * kMetresPerMicrodegree;
    const double eastM = geofence.width * kMetresPerMicrodegree * convergence(geofence.centre.latitude);
    const double marginM = geofence.margin * kMetresPerMicrodegree;
    return distance(eastM) + " x " + distance(northM) + " + " + distance(marginM);
}

// --- Keys -----------------------------------------------------------------------------------------------

/// "o odometer  t tracking": the first word of each pair is the key.
Row keys(std::initializer_list<std::pair<const char*, const char*>> pairs, const char* between) {
    Row row;
    for (const auto& [key, words] : pairs) {
        row.push_back({Style::Plain, row.empty() ? "" : between});
        row.push_back({Style::Key, key});
        row.push_back({Style::Plain, *words == '\0' ? "" : std::string(" ") + words});
    }
    return row;
}

Row promptRow(const std::string& digits, std::size_t columns) {
    const Span typed = {Style::Plain, digits + "_"};
    const Row rest = keys({{"Enter", "sets"}, {"Esc", "leaves"}}, "  ");
    Row whole = {{Style::Label, "Odometer in metres: "}, typed, {Style::Plain, "  "}};
    whole.insert(whole.end(), rest.begin(), rest.end());
    return fitting({whole, {{Style::Label, "Metres: "}, typed}, {typed}}, columns);
}

} // namespace

// --- Rows of spans --------------------------------------------------------------------------------------

std::string textOf(const Row& row) {
    std::string text;
    for (const Span& span : row)
        text += span.text;
    return text;
}

std::size_t columnsOf(const Row& row) {
    std::size_t columns = 0;
    for (const Span& span : row)
        columns += columnsOf(span.text);
    return columns;
}

Row cutRow(const Row& row, std::size_t columns) {
    if (columnsOf(row) <= columns)
        return row;
    Row shown;
    std::size_t left = columns;
    for (const Span& span : row) {
        const std::size_t taken = columnsOf(span.text);
        // The last one that fits exactly gives its last column to the mark that more would follow.
        shown.push_back({span.style, taken >= left ? cut(span.text + " ", left) : span.text});
        if (taken >= left)
            break;
        left -= taken;
    }
    return shown;
}

Row fitting(std::initializer_list<Row> longestFirst, std::size_t columns) {
    const Row* last = nullptr;
    for (const Row& row : longestFirst) {
        last = &row;
        if (columnsOf(row) <= columns)
            return row;
    }
    return last == nullptr ? Row() : cutRow(*last, columns);
}

Row paddedRow(const Row& row, std::size_t columns, Style style) {
    Row shown = cutRow(row, columns);
    const std::size_t taken = columnsOf(shown);
    if (taken < columns)
        shown.push_back({style, std::string(columns - taken, ' ')});
    return shown;
}

Style styleOf(Tone tone) {
    switch (tone) {
    case Tone::Good:
        return Style::Good;
    case Tone::Warning:
        return Style::Warning;
    case Tone::Bad:
        return Style::Bad;
    case Tone::Plain:
        break;
    }
    return Style::Plain;
}

std::string timeOfDay(std::int64_t utcMs) {
    const std::string whole = telemetry::utcText(utcMs, false);
    return whole.substr(whole.find('T') + 1);
}

// --- The service ----------------------------------------------------------------------------------------

Row titleRow(const Sight& sight, std::size_t columns) {
    const ServiceStep::Step step = sight.model.step().step;
    const std::string state = std::string(telemetry::inWords(step)) +
                              (goesOn(step) ? " " + duration(sight.model.secondsInStep(sight.now)) : "");
    const std::string time = timeOfDay(sight.now.utcMs);
    const std::string date = telemetry::utcText(sight.now.utcMs, false);
    const std::string day = date.substr(0, date.find('T')) + " ";
    const auto row = [&](const std::string& left, const std::string& right) -> Row {
        const std::size_t taken = columnsOf(left) + columnsOf(right);
        return {{Style::Title, left + std::string(taken < columns ? columns - taken : 1, ' ') + right}};
    };
    return fitting({row(" ruxogps-monitor: service " + state, day + time + " "), row(" " + state, time + " "),
                    row(" " + state, "")},
                   columns);
}

Row stepRow(const Sight& sight, std::size_t columns) {
    const ServiceStep& step = sight.model.step();
    if (step.step == ServiceStep::Step::Failed)
        return cutRow({{Style::Bad, "The service failed" + resultOf(step)}}, columns);
    if (!goesOn(step.step))
        return cutRow({{Style::Plain, "The service is down"}}, columns);
    const double seconds = sight.model.secondsInStep(sight.now);
    const std::string longest = step.longestS > 0 ? " of at most " + duration(step.longestS) : "";
    const std::string time = duration(seconds) + longest;
    const std::string share = step.longestS > 0 ? bar(seconds / step.longestS, 16) + " " : "";
    const Style style = step.longestS > 0 && seconds > step.longestS ? Style::Bad : Style::Warning;
    return labelled({Style::Label, padded(telemetry::inWords(step.step), 13)},
                    {{{style, share + time}, {Style::Plain, std::string("  ") + workOf(step.step)}},
                     {{style, time}, {Style::Plain, std::string("  ") + workOf(step.step)}},
                     {{style, time}}},
                    columns);
}

// --- Readings -------------------------------------------------------------------------------------------

Row positionRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Position", "Pos", columns);
    const telemetry::Fix* const fix = fixOf(sight);
    if (fix == nullptr)
        return labelled(name, {{{Style::Bad, "no fix yet"}}}, columns);
    const std::string latitude = degrees(fix->position.latitude, 'N', 'S');
    const std::string longitude = degrees(fix->position.longitude, 'E', 'W');
    return labelled(name,
                    {plain(latitude + "  " + longitude + "   altitude " +
                           decimal(fix->altitudeMm / kThousandths, 1) + " m"),
                     plain(latitude + "  " + longitude),
                     plain(decimal(fix->position.latitude / kMicrodegrees, 3) + "," +
                           decimal(fix->position.longitude / kMicrodegrees, 3))},
                    columns);
}

Row fixRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Fix", "Fix", columns);
    const telemetry::Fix* const fix = fixOf(sight);
    if (fix == nullptr)
        return labelled(name, {none()}, columns);
    const std::uint32_t ageS = sight.model.fixAgeS(sight.now).value_or(0);
    const bool isFresh = ageS <= sight.model.settings().positionIntervalS + 1;
    const Style style = ageS > OdometerEstimate::kFreshS ? Style::Bad
                        : isFresh                        ? Style::Good
                                                         : Style::Warning;
    const Span age = {style, "age " + duration(ageS)};
    const std::string at = " at " + telemetry::utcText(fix->utcS * kMsPerSecond, false);
    const std::string altitude = "  altitude " + decimal(fix->altitudeMm / kThousandths, 1) + " m";
    return columns < kNarrow ? labelled(name, {{age, {Style::Plain, altitude}}, {age}}, columns)
                             : labelled(name, {{age, {Style::Plain, "  " + at.substr(1)}}, {age}}, columns);
}

Row speedRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Speed", "Speed", columns);
    const telemetry::Fix* const fix = fixOf(sight);
    if (fix == nullptr)
        return labelled(name, {none()}, columns);
    const double speed = fix->speedMmPerS / kThousandths;
    const double course = fix->courseMdeg / kThousandths;
    const std::string slow = decimal(speed, 1) + " m/s";
    const std::string fast = decimal(speed * kKmPerHourPerMPerS, 0) + " km/h";
    const std::string to = decimal(course, 0) + " deg " + compassPoint(course);
    return labelled(
        name,
        {plain(slow + ", " + fast + "   course " + decimal(course, 1) + " deg " + compassPoint(course)),
         plain(slow + ", " + fast + "  " + to), plain(slow)},
        columns);
}

Row dilutionRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Dilution", "DOP", columns);
    const telemetry::Fix* const fix = fixOf(sight);
    if (fix == nullptr)
        return labelled(name, {none()}, columns);
    const std::string h = decimal(fix->hdop, 1);
    const std::string t = decimal(fix->tdop, 1);
    const std::string p = decimal(fix->pdop, 1);
    const std::string g = decimal(fix->gdop, 1);
    return labelled(name,
                    {plain("HDOP " + h + "   PDOP " + p + "   TDOP " + t + "   GDOP " + g),
                     plain("H " + h + "  P " + p + "  T " + t + "  G " + g), plain("H" + h + " P" + p)},
                    columns);
}

Row signalRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Signal", "Sig", columns);
    const auto& readings = sight.model.readings();
    if (!readings)
        return labelled(name, {none()}, columns);
    const std::string satellites = std::to_string(readings->satellites);
    const std::string signal = std::to_string(readings->snrDbHz);
    return labelled(name,
                    {plain(satellites + " satellites, " + signal + " dB-Hz"),
                     plain(satellites + " sat, " + signal + " dB-Hz"), plain(satellites + " sat")},
                    columns);
}

Row antennaRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Antenna", "Ant", columns);
    const auto& readings = sight.model.readings();
    if (!readings)
        return labelled(name, {none()}, columns);
    const Span antenna = {readings->antennaState == kAntennaInOrder ? Style::Good : Style::Bad,
                          telemetry::antennaInWords(readings->antennaState)};
    const Span available = {readings->available ? Style::Good : Style::Bad,
                            readings->available ? "available" : "not available"};
    return labelled(name,
                    {{antenna, {Style::Plain, "   position "}, available},
                     {antenna, {Style::Plain, ", "}, available},
                     {antenna}},
                    columns);
}

Row errorsRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Error", "Err", columns);
    const auto& readings = sight.model.readings();
    if (!readings)
        return labelled(name, {none()}, columns);
    const std::string metres = std::to_string(readings->horizontalErrorM) + " m";
    const std::string time = std::to_string(readings->timeErrorMs) + " ms";
    return labelled(name, {plain("horizontal " + metres + ", time " + time), plain(metres + ", " + time)},
                    columns);
}

Row clockRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Clock", "Clock", columns);
    const auto& readings = sight.model.readings();
    if (!readings || !readings->timeDeviationS)
        return labelled(name, {plain("deviation not measured yet"), plain("not measured")}, columns);
    const std::int64_t deviation = *readings->timeDeviationS;
    const std::string seconds = duration(static_cast<double>(std::abs(deviation)));
    if (std::abs(deviation) <= 1)
        return labelled(
            name,
            {{{Style::Good, "the system's clock agrees with GPS (" + std::to_string(deviation) + " s)"}},
             {{Style::Good, "agrees, " + std::to_string(deviation) + " s"}}},
            columns);
    const char* const where = deviation > 0 ? "behind" : "ahead of";
    return labelled(
        name,
        {{{Style::Warning, std::string("the system's clock is ") + seconds + " " + where + " GPS"}},
         {{Style::Warning, seconds + " " + where + " GPS"}}},
        columns);
}

// --- What is worked out ---------------------------------------------------------------------------------

Row odometerRow(const Sight& sight, std::size_t columns) {
    const auto& readings = sight.model.readings();
    const Guess guess = guessOf(sight);
    const std::string metres = readings ? std::to_string(readings->odometerM) + " m" : "-";
    if (sight.model.odometer().phase(sight.now.uptimeMs) == OdometerEstimate::Phase::Off)
        return labelled(label("Odometer", "Odo", columns), {plain(metres)}, columns);
    const Span mark = {Style::Estimate, "   estimate: "};
    const Span shortMark = {Style::Estimate, " ~ "};
    const std::string dropped = droppedInWords(sight.model.odometer());
    const Style style = styleOf(guess.tone);
    return labelled(label("Odometer", "Odo", columns),
                    {{{Style::Plain, metres}, mark, {style, guess.words + dropped}},
                     {{Style::Plain, metres}, mark, {style, guess.shortly + dropped}},
                     {{Style::Plain, metres}, mark, {style, guess.words}},
                     {{Style::Plain, metres}, mark, {style, guess.shortly}},
                     {{Style::Plain, metres}, shortMark, {style, guess.shortly}},
                     plain(metres)},
                    columns);
}

Row trackingRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Tracking", "Track", columns);
    const telemetry::Settings& settings = sight.model.settings();
    if (!sight.model.hasSettings())
        return labelled(name, {none()}, columns);
    if (!settings.trackingEnabled)
        return labelled(name, {plain("off")}, columns);
    if (settings.trackingPeriodS == 0)
        return labelled(
            name,
            {{{Style::Warning, "on, but without a period: no reports"}}, {{Style::Warning, "on, no period"}}},
            columns);
    const std::string every = "every " + std::to_string(settings.trackingPeriodS) + " s";
    const auto seconds = sight.model.secondsToTracking(sight.now);
    if (!seconds)
        return labelled(name, {plain(every)}, columns);
    const std::string next = *seconds == 0 ? "now" : "in " + duration(static_cast<double>(*seconds));
    const std::string at = *seconds == 0 ? "" : " at " + timeOfDay(sight.now.utcMs + *seconds * kMsPerSecond);
    const std::string orLater = sight.model.trackingMayComeLater() ? " or later" : "";
    return labelled(name,
                    {{{Style::Plain, every + ", next "}, {Style::Estimate, next + at + orLater}},
                     {{Style::Plain, every + ", "}, {Style::Estimate, next + orLater}},
                     {{Style::Estimate, next + orLater}}},
                    columns);
}

// --- Geofences and events -------------------------------------------------------------------------------

Row geofencesRow(const Sight& sight, std::size_t columns) {
    const Span name = label("Geofences", "Geo", columns);
    if (!sight.model.hasSettings())
        return labelled(name, {none()}, columns);
    const bool enabled = sight.model.settings().geofencesEnabled;
    const std::size_t used = sight.model.configuredGeofences();
    const std::string count = std::to_string(used) + " of " + std::to_string(telemetry::kGeofences);
    const Span state = {enabled ? Style::Plain : Style::Warning, enabled ? "on, " : "off, "};
    return labelled(name, {{state, {Style::Plain, count + " in use"}}, {state, {Style::Plain, count}}},
                    columns);
}

Row geofenceRow(const Sight& sight, std::size_t slot, std::size_t columns) {
    constexpr std::size_t kRoomy = 46;
    constexpr std::size_t kTail = 18; // state and distance
    constexpr std::size_t kLongestName = 24;
    const telemetry::GeofenceState state = stateOf(sight, slot);
    const std::string name = nameOf(sight.model.settings().geofences[slot], slot);
    const bool margin = isToMargin(sight, slot);
    const std::string border = columns < kRoomy ? (margin ? "+" : " ") : margin ? " to margin" : " to border";
    const std::string metres = toBorder(sight, slot);
    const std::size_t tail = kTail + border.size();
    const std::size_t nameColumns = std::min(columns > tail + 2 ? columns - tail - 2 : 0, kLongestName);
    return cutRow(
        {{Style::Plain, "  " + padded(name, nameColumns)},
         {styleOf(state), " " + padded(telemetry::inWords(state), 8)},
         {Style::Plain, std::string(metres.size() < 9 ? 9 - metres.size() : 0, ' ') + metres + border}},
        columns);
}

Row geofenceDetailRow(const Sight& sight, std::size_t slot, std::size_t columns) {
    constexpr std::size_t kBeside = 78;
    constexpr std::size_t kSizeColumns = 30;
    const std::string size = sizeInWords(sight.model.settings().geofences[slot]);
    if (columns < kBeside)
        return geofenceRow(sight, slot, columns);
    Row row = geofenceRow(sight, slot, columns - kSizeColumns);
    row.push_back({Style::Plain, "   " + size});
    return cutRow(row, columns);
}

Row eventRow(const LiveModel::Event& event, std::size_t columns) {
    constexpr std::size_t kTiny = 30;
    const std::string time = timeOfDay(event.at.utcMs);
    const std::string shortTime = columns < kTiny ? time.substr(0, 5) : time;
    return cutRow({{Style::Plain, (columns < kTiny ? "" : "  ") + shortTime + " "},
                   {styleOf(event.tone), showable(event.text)},
                   {Style::Plain, event.times == 1 ? "" : "  x" + std::to_string(event.times)}},
                  columns);
}

Row keysRow(const ViewState& view, std::size_t columns) {
    if (view.odometerInput)
        return promptRow(*view.odometerInput, columns);
    if (!view.hint.empty())
        return cutRow({{Style::Warning, view.hint}}, columns);
    return fitting(
        {keys({{"o", "odometer"},
               {"t", "tracking"},
               {"g", "geofences"},
               {"l", "log"},
               {"Tab", "pages"},
               {"?", "help"},
               {"q", "quit"}},
              "  "),
         keys({{"o", "odo"}, {"t", "trk"}, {"g", "geo"}, {"l", "log"}, {"?", "help"}, {"q", "quit"}}, " "),
         keys({{"o", ""}, {"t", ""}, {"g", ""}, {"l", ""}, {"?", ""}, {"q", ""}}, " ")},
        columns);
}

} // namespace monitor
