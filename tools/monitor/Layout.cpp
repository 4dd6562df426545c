#include "Layout.h"

#include <algorithm>
#include <limits>

#include "LiveRows.h"
#include "Text.h"

namespace monitor {

namespace {

constexpr std::size_t kWide = 110; // columns; from there on the events have a column of their own
constexpr std::size_t kLeftOfWide = 70;
constexpr std::size_t kTwoGeofences = 76; // columns that two of them need side by side
constexpr std::size_t kFewGeofences = 3;  // stand below each other
constexpr int kAlways = 0;

/// A row and how much it is wanted: the lower, the more.
struct Wanted {
    int rank;
    Row row;
};

/// What fits, in its order; of the same rank the later ones go first.
std::vector<Row> mostWanted(const std::vector<Wanted>& all, std::size_t rows) {
    std::vector<std::size_t> order(all.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return all[a].rank < all[b].rank; });
    order.resize(std::min(order.size(), rows));
    std::sort(order.begin(), order.end());
    std::vector<Row> shown;
    for (const std::size_t i : order)
        shown.push_back(all[i].row);
    return shown;
}

// --- The overview ---------------------------------------------------------------------------------------

std::vector<Wanted> valueRows(const Sight& sight, std::size_t columns) {
    std::vector<Wanted> rows;
    if (!sight.model.isRunning())
        rows.push_back({kAlways, stepRow(sight, columns)});
    rows.push_back({1, positionRow(sight, columns)});
    rows.push_back({3, fixRow(sight, columns)});
    rows.push_back({2, speedRow(sight, columns)});
    rows.push_back({12, dilutionRow(sight, columns)});
    rows.push_back({6, signalRow(sight, columns)});
    rows.push_back({7, antennaRow(sight, columns)});
    rows.push_back({13, errorsRow(sight, columns)});
    rows.push_back({11, clockRow(sight, columns)});
    rows.push_back({5, odometerRow(sight, columns)});
    rows.push_back({9, trackingRow(sight, columns)});
    return rows;
}

std::vector<std::size_t> slotsInUse(const LiveModel& model) {
    std::vector<std::size_t> slots;
    for (std::size_t slot = 0; slot < telemetry::kGeofences; ++slot)
        if (model.settings().geofences[slot].isConfigured())
            slots.push_back(slot);
    return slots;
}

/// Two side by side where there are many and the terminal is wide enough.
std::vector<Wanted> geofenceRows(const Sight& sight, std::size_t columns) {
    std::vector<Wanted> rows = {{8, geofencesRow(sight, columns)}};
    const std::vector<std::size_t> slots = slotsInUse(sight.model);
    if (columns < kTwoGeofences || slots.size() <= kFewGeofences) {
        for (const std::size_t slot : slots)
            rows.push_back({8, geofenceRow(sight, slot, columns)});
        return rows;
    }
    const std::size_t half = (slots.size() + 1) / 2;
    const std::size_t width = columns / 2 - 1;
    for (std::size_t i = 0; i < half; ++i) {
        Row row = paddedRow(geofenceRow(sight, slots[i], width), columns / 2);
        if (i + half < slots.size())
            for (const Span& span : geofenceRow(sight, slots[i + half], width))
                row.push_back(span);
        rows.push_back({8, row});
    }
    return rows;
}

/// The newest first, under a heading.
std::vector<Wanted> eventRows(const Sight& sight, std::size_t rows, std::size_t columns) {
    std::vector<Wanted> shown = {{10, {{Style::Label, "Events"}}}};
    const auto& events = sight.model.events();
    const std::uint64_t lost = sight.model.lostEvents();
    if (lost != 0)
        shown[0].row.push_back({Style::Bad, "   lost " + std::to_string(lost)});
    if (events.empty())
        shown.push_back({10, {{Style::Plain, cut("  none yet", columns)}}});
    for (auto event = events.rbegin(); event != events.rend() && shown.size() <= rows; ++event)
        shown.push_back({shown.size() == 1 ? 4 : shown.size() == 2 ? 10 : 14, eventRow(*event, columns)});
    shown[0].row = cutRow(shown[0].row, columns);
    return shown;
}

void append(std::vector<Wanted>& to, const std::vector<Wanted>& rows) {
    to.insert(to.end(), rows.begin(), rows.end());
}

std::vector<Row> narrowOverview(const Sight& sight, Size size) {
    std::vector<Wanted> rows = valueRows(sight, size.columns);
    append(rows, geofenceRows(sight, size.columns));
    append(rows, eventRows(sight, size.rows, size.columns));
    return mostWanted(rows, size.rows);
}

std::vector<Row> wideOverview(const Sight& sight, Size size) {
    std::vector<Wanted> wanted = valueRows(sight, kLeftOfWide);
    append(wanted, geofenceRows(sight, kLeftOfWide));
    std::vector<Row> rows = mostWanted(wanted, size.rows);
    rows.resize(size.rows);
    const std::size_t right = size.columns - kLeftOfWide - 1;
    const std::vector<Row> events = mostWanted(eventRows(sight, size.rows, right), size.rows);
    for (std::size_t i = 0; i < events.size(); ++i) {
        rows[i] = paddedRow(rows[i], kLeftOfWide + 1);
        rows[i].insert(rows[i].end(), events[i].begin(), events[i].end());
    }
    return rows;
}

// --- Pages of one thing ---------------------------------------------------------------------------------

/// The last rows that fit, or earlier ones when scrolled back.
std::vector<Row> scrolled(const std::vector<Row>& all, std::size_t rows, std::size_t back) {
    if (all.size() <= rows)
        return all;
    const std::size_t begin = all.size() - rows - std::min(back, all.size() - rows);
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(rows)};
}

std::vector<Row> under(const Row& heading, const std::vector<Row>& rows) {
    std::vector<Row> page = {heading};
    page.insert(page.end(), rows.begin(), rows.end());
    return page;
}

std::vector<Row> geofencePage(const Sight& sight, Size size) {
    std::vector<Row> rows;
    for (const std::size_t slot : slotsInUse(sight.model))
        rows.push_back(geofenceDetailRow(sight, slot, size.columns));
    return under(geofencesRow(sight, size.columns), rows);
}

std::vector<Row> allEvents(const LiveModel& model, std::size_t columns) {
    std::vector<Row> rows;
    for (const LiveModel::Event& event : model.events())
        rows.push_back(eventRow(event, columns));
    if (rows.empty())
        rows.push_back(cutRow({{Style::Plain, "  none yet"}}, columns));
    return rows;
}

/// Its last rows: at least so many, where it has them.
std::vector<Row> lastOfLog(const ViewState& view, std::size_t columns, std::size_t wanted) {
    std::vector<Row> rows;
    for (auto line = view.log.rbegin(); line != view.log.rend() && rows.size() < wanted; ++line) {
        const std::vector<std::string> pieces = wrapped(showable(*line), columns);
        for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece)
            rows.push_back({{Style::Plain, cut(*piece, columns)}});
    }
    if (rows.empty())
        rows.push_back(cutRow({{Style::Plain, "  nothing yet"}}, columns));
    std::reverse(rows.begin(), rows.end());
    return rows;
}

std::vector<Row> scrollingPage(const char* heading, const std::vector<Row>& all, const ViewState& view,
                               Size size) {
    return under(cutRow({{Style::Label, heading}}, size.columns),
                 scrolled(all, size.rows - 1, view.scrolledBack));
}

const char* const kHelp[] = {
    "o        set the odometer: metres, then Enter; Esc leaves",
    "t        tracking reports on or off",
    "g        geofences on or off",
    "l        the service's log, and back",
    "Tab      next page: overview, geofences, events, log",
    "up down  scroll events and log",
    "Ctrl-L   draw the screen anew",
    "Ctrl-Z   pause; the service stands still as well",
    "q Ctrl-C end the service, then leave",
    "",
    "estimate, ~: worked out here, not told by the service.",
    "Distances: to the border of the next event; 'to margin' or + while the margin counts.",
    "Sizes: east-west x north-south + margin.",
};

std::vector<Row> helpPage(Size size) {
    std::vector<Row> rows;
    for (const char* const line : kHelp)
        for (const std::string& piece : wrapped(line, size.columns))
            rows.push_back({{Style::Plain, cut(piece, size.columns)}});
    return rows;
}

std::vector<Row> pageOf(const Sight& sight, const ViewState& view, Size size) {
    switch (view.page) {
    case Page::Geofences:
        return geofencePage(sight, size);
    case Page::Events:
        return scrollingPage("Events", allEvents(sight.model, size.columns), view, size);
    case Page::Log:
        return scrollingPage("Log: the service's words on standard error",
                             lastOfLog(view, size.columns, size.rows + view.scrolledBack), view, size);
    case Page::Help:
        return helpPage(size);
    case Page::Overview:
        break;
    }
    return size.columns < kWide ? narrowOverview(sight, size) : wideOverview(sight, size);
}

} // namespace

std::size_t farthestBack(const LiveModel& model, const ViewState& view, Size size) {
    constexpr std::size_t kFixedRows = 3; // title, heading and keys
    const std::size_t all =
        view.page == Page::Events ? allEvents(model, size.columns).size()
        : view.page == Page::Log
            ? lastOfLog(view, size.columns, std::numeric_limits<std::size_t>::max()).size()
            : 0;
    return all + kFixedRows > size.rows ? all + kFixedRows - size.rows : 0;
}

std::vector<Row> layOut(const LiveModel& model, const ViewState& view, const telemetry::Moment& now,
                        Size size) {
    constexpr std::size_t kTitleAndKeys = 2;
    const Sight sight = {model, now};
    std::vector<Row> rows = {titleRow(sight, size.columns)};
    if (size.rows > kTitleAndKeys)
        for (const Row& row : pageOf(sight, view, {size.columns, size.rows - kTitleAndKeys}))
            rows.push_back(row);
    rows.resize(std::max<std::size_t>(size.rows, 1) - 1);
    rows.push_back(keysRow(view, size.columns));
    rows.resize(size.rows);
    return rows;
}

} // namespace monitor
