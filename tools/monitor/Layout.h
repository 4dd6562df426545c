#ifndef LAYOUT_H
#define LAYOUT_H

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "LiveModel.h"

/// The live view as text: pure, so that it can be looked at without a terminal.
namespace monitor {

enum class Style { Plain, Title, Label, Good, Warning, Bad, Estimate, Key };

/// A piece of printable text.
struct Span {
    Style style = Style::Plain;
    std::string text;
};

using Row = std::vector<Span>;

struct Size {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// What of it is to be seen.
enum class Page { Overview, Geofences, Events, Log, Help };

/// What the person at the keys has made of the view.
struct ViewState {
    Page page = Page::Overview;
    std::optional<std::string> odometerInput; ///< the digits typed so far, while they are
    std::string hint;                         ///< an answer to the last key, until the next one
    std::deque<std::string> log;              ///< the last lines on standard error, the oldest first
    std::size_t scrolledBack = 0;             ///< rows of a long page, from its last ones
};

/// Exactly `size.rows` rows, none wider than `size.columns`.
std::vector<Row> layOut(const LiveModel& model, const ViewState& view, const telemetry::Moment& now,
                        Size size);

/// How far the page can be scrolled back.
std::size_t farthestBack(const LiveModel& model, const ViewState& view, Size size);

/// The row without its styles.
std::string textOf(const Row& row);

} // namespace monitor

#endif
