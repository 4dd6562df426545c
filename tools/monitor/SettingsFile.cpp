#include "SettingsFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <toml++/toml.h>

namespace monitor {

namespace {

constexpr char kDegrees[] = "a number of degrees";
constexpr char kMetres[] = "a number of metres";
constexpr char kWhole[] = "a whole number";

/// A table of the file, asked key by key.
class Table {
public:
    Table(const toml::table& table, std::string file) : table_(table), file_(std::move(file)) {}

    /// Throws for a key that nobody asks for.
    void knows(std::initializer_list<std::string_view> keys) const {
        for (const auto& [key, value] : table_)
            if (std::find(keys.begin(), keys.end(), key.str()) == keys.end())
                throw SettingError(place(key.source(), key.str()) + " is unknown; it must be one of " +
                                   listed(keys));
    }

    bool has(std::string_view key) const { return table_.contains(key); }

    std::string place(std::string_view key) const {
        const toml::node* const node = table_.get(key);
        return place(node != nullptr ? node->source() : table_.source(), key);
    }

    /// `what` names it and its bounds, which are not checked here.
    Given number(std::string_view key, const std::string& what, bool isWhole = false) const {
        const toml::node& node = here(key, what);
        const auto value = isWhole && !node.is_integer() ? std::nullopt : numberOf(node);
        if (!value)
            refuse(node, key, what);
        return {*value, textOf(node), place(key)};
    }

    double ranged(std::string_view key, double low, double high) const {
        const Given given = number(key, inRange(kWhole, low, high), true);
        checkRange(given, kWhole, low, high);
        return given.value;
    }

    std::string text(std::string_view key, const std::string& what) const {
        const toml::node& node = here(key, what);
        if (!node.is_string())
            refuse(node, key, what);
        return node.as_string()->get();
    }

    Given angle(std::string_view key, double highest) const {
        return number(key, inRange(kDegrees, -highest, highest));
    }

    /// The one of KEY_deg and KEY_m that is there.
    GivenLength length(const std::string& key, const Extent& extent, double metresPerDegree) const {
        const std::string degrees = key + "_deg";
        const std::string metres = key + "_m";
        if (has(degrees) && has(metres))
            throw SettingError(place(metres) + " is there beside '" + degrees +
                               "'; it must be one of the two");
        if (!has(degrees) && !has(metres))
            throw SettingError(place(degrees) + " is missing; it must be there, or '" + metres + "'");
        if (has(degrees))
            return {number(degrees, std::string(kDegrees) + " " + rangeText(extent, 1)), false};
        const std::string range = metresPerDegree > 0 ? " " + rangeText(extent, metresPerDegree) : "";
        return {number(metres, kMetres + range), true};
    }

    bool hasLength(const std::string& key) const { return has(key + "_deg") || has(key + "_m"); }

    const toml::table& tableOf(std::string_view key, const char* what) const {
        const toml::node& node = here(key, what);
        if (!node.is_table())
            refuse(node, key, what);
        return *node.as_table();
    }

    const toml::array& tablesOf(std::string_view key, const char* what) const {
        const toml::node& node = here(key, what);
        if (!node.is_array_of_tables())
            refuse(node, key, what);
        return *node.as_array();
    }

    const std::string& file() const { return file_; }

private:
    std::string place(const toml::source_region& where, std::string_view key) const {
        return file_ + ":" + std::to_string(std::max<toml::source_index>(where.begin.line, 1)) + ": '" +
               std::string(key) + "'";
    }

    const toml::node& here(std::string_view key, const std::string& what) const {
        const toml::node* const node = table_.get(key);
        if (node == nullptr)
            throw SettingError(place(key) + " is missing; it must be " + what);
        return *node;
    }

    [[noreturn]] void refuse(const toml::node& node, std::string_view key, const std::string& what) const {
        throw SettingError(place(key) + " is " + textOf(node) + "; it must be " + what);
    }

    static std::optional<double> numberOf(const toml::node& node) {
        if (node.is_integer())
            return static_cast<double>(node.as_integer()->get());
        return node.is_floating_point() ? std::optional(node.as_floating_point()->get()) : std::nullopt;
    }

    /// As it could stand in the file; a table or list is too long for a message.
    static std::string textOf(const toml::node& node) {
        if (node.is_table() || node.is_array())
            return node.is_table() ? "a table" : "a list";
        std::ostringstream text;
        node.visit([&](const auto& value) { text << value; });
        return text.str();
    }

    static std::string listed(std::initializer_list<std::string_view> keys) {
        std::string text;
        for (const std::string_view key : keys)
            text.append(text.empty() ? "" : ", ").append(key);
        return text;
    }

    const toml::table& table_;
    std::string file_;
};

// --- The sections ---------------------------------------------------------------------------------------

void readTracking(const Table& table, telemetry::Settings& settings) {
    table.knows({"period_s", "base_s", "offset_s"});
    settings.trackingPeriodS = static_cast<std::int32_t>(table.ranged("period_s", 1, kMostSeconds));
    if (table.has("base_s"))
        settings.trackingBaseS =
            static_cast<std::int32_t>(table.ranged("base_s", -kMostSeconds, kMostSeconds));
    if (table.has("offset_s"))
        settings.trackingOffsetS =
            static_cast<std::int32_t>(table.ranged("offset_s", -kMostSeconds, kMostSeconds));
    settings.trackingEnabled = true;
}

GivenGeofence readGeofence(const Table& table) {
    table.knows({"name", "latitude_deg", "longitude_deg", "width_deg", "width_m", "height_deg", "height_m",
                 "margin_deg", "margin_m"});
    GivenGeofence given;
    given.name = table.text("name", "a text");
    given.place = table.place("name");
    given.latitude = table.angle("latitude_deg", kHighestLatitude);
    given.longitude = table.angle("longitude_deg", kDateLine);
    given.width = table.length("width", kWidth, metresPerDegreeEastwards(given.latitude.value));
    given.height = table.length("height", kHeight, kMetresPerDegree);
    if (table.hasLength("margin"))
        given.margin = table.length("margin", kMargin, kMetresPerDegree);
    return given;
}

void readInterval(const Table& table, const char* key, double low, double high, std::uint32_t& interval) {
    if (table.has(key))
        interval = static_cast<std::uint32_t>(table.ranged(key, low, high));
}

void readAll(const Table& table, Wishes& wishes) {
    table.knows(
        {"position_interval_s", "status_interval_s", "log_interval_s", "odometer_m", "tracking", "geofence"});
    telemetry::Settings& settings = wishes.settings;
    readInterval(table, "position_interval_s", kShortestIntervalS, kLongestIntervalS,
                 settings.positionIntervalS);
    readInterval(table, "status_interval_s", kShortestIntervalS, kLongestIntervalS, settings.statusIntervalS);
    readInterval(table, "log_interval_s", 0, kLongestLogIntervalS, settings.logIntervalS);
    if (table.has("odometer_m"))
        wishes.odometerM = static_cast<std::uint32_t>(table.ranged("odometer_m", 0, kMostMetres));
    if (table.has("tracking"))
        readTracking({table.tableOf("tracking", "a table: [tracking]"), table.file()}, settings);
    if (table.has("geofence"))
        for (const toml::node& each : table.tablesOf("geofence", "a table for each geofence: [[geofence]]"))
            add(readGeofence({*each.as_table(), table.file()}), settings);
}

} // namespace

void readSettings(const std::string& file, Wishes& wishes) {
    std::ifstream stream(file);
    stream.peek(); // a folder can be opened, but not read
    if (!stream.is_open() || stream.bad())
        throw SettingError(file + ": the settings can't be read: " + std::strerror(errno));
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    try {
        const toml::table table = toml::parse(text);
        readAll({table, file}, wishes);
    } catch (const toml::parse_error& error) {
        throw SettingError(file + ":" + std::to_string(error.source().begin.line) +
                           ": this is no TOML: " + std::string(error.description()));
    }
}

} // namespace monitor
