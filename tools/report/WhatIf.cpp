#include "WhatIf.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <sstream>

#include "Saturate.h"

namespace report {

namespace {

[[noreturn]] void refuse(const std::string& what) { throw WhatIfError(what); }

std::string quoted(const std::string& word) { return "'" + word + "'"; }

std::string trimmed(const std::string& word) {
    const std::size_t begin = word.find_first_not_of(' ');
    return begin == std::string::npos ? "" : word.substr(begin, word.find_last_not_of(' ') + 1 - begin);
}

// --- Numbers --------------------------------------------------------------------------------------------

bool isWritten(const std::string& word, const char* with) {
    return !word.empty() && word.find_first_not_of(with) == std::string::npos;
}

std::uint32_t parseWhole(const std::string& key, const std::string& word, std::uint32_t least,
                         const char* unit) {
    const unsigned long long most = std::numeric_limits<std::uint32_t>::max();
    const unsigned long long number = std::strtoull(word.c_str(), nullptr, 10);
    constexpr std::size_t kDigits = 10;
    if (!isWritten(word, "0123456789") || word.size() > kDigits || number < least || number > most)
        refuse(key + ": " + quoted(word) + " is no whole number of " + unit + " from " +
               std::to_string(least) + " to " + std::to_string(most));
    return static_cast<std::uint32_t>(number);
}

double parseFactor(const std::string& key, const std::string& word) {
    constexpr double kLeast = 0.001;
    constexpr double kMost = 1000;
    char* end = nullptr;
    const double factor = std::strtod(word.c_str(), &end);
    if (!isWritten(word, "0123456789.") || *end != '\0' || !(factor >= kLeast && factor <= kMost))
        refuse(key + ": " + quoted(word) + " is no factor from 0.001 to 1000");
    return factor;
}

// --- Keys -----------------------------------------------------------------------------------------------

struct Item {
    std::string key;      ///< as it was given
    std::string name;     ///< "margin"
    std::string geofence; ///< "Depot", empty where there is none
    std::string value;
};

Item itemOf(const std::string& word) {
    const std::size_t equals = word.rfind('=');
    if (equals == std::string::npos)
        refuse(quoted(word) + " is no KEY=VALUE, as in margin=2500");
    Item item;
    item.key = trimmed(word.substr(0, equals));
    item.value = trimmed(word.substr(equals + 1));
    const std::size_t dot = item.key.find('.');
    item.name = item.key.substr(0, dot);
    if (dot != std::string::npos)
        item.geofence = item.key.substr(dot + 1);
    return item;
}

GeofenceWhatIf& geofenceOf(WhatIf& whatIf, const std::string& name) {
    for (GeofenceWhatIf& geofence : whatIf.geofences)
        if (geofence.name == name)
            return geofence;
    whatIf.geofences.push_back({name, {}, {}});
    return whatIf.geofences.back();
}

void takeMargin(WhatIf& whatIf, const Item& item) {
    const std::uint32_t margin = parseWhole(item.key, item.value, 0, "microdegrees");
    (item.geofence.empty() ? whatIf.marginMicrodegrees
                           : geofenceOf(whatIf, item.geofence).marginMicrodegrees) = margin;
}

void takeSize(WhatIf& whatIf, const Item& item) {
    const double factor = parseFactor(item.key, item.value);
    (item.geofence.empty() ? whatIf.sizeFactor : geofenceOf(whatIf, item.geofence).sizeFactor) = factor;
}

void takeInterval(WhatIf& whatIf, const Item& item) {
    whatIf.positionIntervalS = parseWhole(item.key, item.value, 1, "seconds");
}

void takeError(WhatIf& whatIf, const Item& item) {
    whatIf.horizontalErrorM = parseWhole(item.key, item.value, 0, "metres");
}

struct Key {
    const char* name;
    bool isOfGeofences;
    void (*take)(WhatIf& whatIf, const Item& item);
};

constexpr std::array<Key, 4> kKeys{{
    {"margin", true, takeMargin},
    {"size", true, takeSize},
    {"interval", false, takeInterval},
    {"error", false, takeError},
}};

void take(WhatIf& whatIf, const Item& item) {
    const auto* const key =
        std::find_if(kKeys.begin(), kKeys.end(), [&](const Key& each) { return item.name == each.name; });
    if (key == kKeys.end())
        refuse("unknown key " + quoted(item.key) +
               "; there are margin, size, interval, error, and margin.NAME and size.NAME of one geofence");
    if (item.key != item.name && (!key->isOfGeofences || item.geofence.empty()))
        refuse(quoted(item.key) + (key->isOfGeofences ? " names no geofence" : " is of no geofence: ") +
               (key->isOfGeofences ? "" : "the key is " + item.name));
    key->take(whatIf, item);
}

// --- Geofences ------------------------------------------------------------------------------------------

std::set<std::string> geofencesOf(const Drive& drive) {
    std::set<std::string> names;
    for (const SettingsFrom& from : drive.settings)
        for (const telemetry::Geofence& geofence : from.settings.geofences)
            if (geofence.isConfigured())
                names.insert(geofence.name);
    return names;
}

std::string listed(const std::set<std::string>& names) {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + quoted(name);
    return list.empty() ? "none" : list;
}

/// At least 1: one without an extent would be none.
std::uint32_t scaled(std::uint32_t extent, double factor) {
    return std::max<std::uint32_t>(1, saturate<std::uint32_t>(std::round(extent * factor)));
}

void replace(telemetry::Geofence& geofence, const std::optional<std::uint32_t>& margin,
             const std::optional<double>& sizeFactor) {
    geofence.margin = margin.value_or(geofence.margin);
    geofence.width = scaled(geofence.width, sizeFactor.value_or(1));
    geofence.height = scaled(geofence.height, sizeFactor.value_or(1));
}

} // namespace

WhatIf parseWhatIf(const std::string& list) {
    WhatIf whatIf;
    std::istringstream words(list);
    std::string word;
    while (std::getline(words, word, ',')) {
        word = trimmed(word);
        take(whatIf, itemOf(word));
        whatIf.words += (whatIf.words.empty() ? "" : ", ") + word;
    }
    if (whatIf.words.empty())
        refuse("there is nothing to replace, as in margin=2500");
    return whatIf;
}

void checkGeofences(const WhatIf& whatIf, const Drive& drive) {
    const std::set<std::string> names = geofencesOf(drive);
    for (const GeofenceWhatIf& geofence : whatIf.geofences)
        if (names.count(geofence.name) == 0)
            refuse("the drive has no geofence " + quoted(geofence.name) + "; it has " + listed(names));
}

telemetry::Settings with(const WhatIf& whatIf, telemetry::Settings settings) {
    settings.positionIntervalS = whatIf.positionIntervalS.value_or(settings.positionIntervalS);
    for (telemetry::Geofence& geofence : settings.geofences) {
        if (!geofence.isConfigured())
            continue;
        const auto own = std::find_if(whatIf.geofences.begin(), whatIf.geofences.end(),
                                      [&](const GeofenceWhatIf& each) { return each.name == geofence.name; });
        const GeofenceWhatIf none;
        const GeofenceWhatIf& chosen = own == whatIf.geofences.end() ? none : *own;
        replace(geofence, chosen.marginMicrodegrees ? chosen.marginMicrodegrees : whatIf.marginMicrodegrees,
                chosen.sizeFactor ? chosen.sizeFactor : whatIf.sizeFactor);
    }
    return settings;
}

} // namespace report
