#ifndef GEOFENCEMODEL_H
#define GEOFENCEMODEL_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Wrapped.h"

/// What an application says of an area.
struct Area {
    std::string name;
    int32_t longitude = 0;
    int32_t latitude = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t margin = 0;

    bool isConfigured() const { return width != 0 && height != 0; }
    bool operator==(const Area& other) const {
        return name == other.name && longitude == other.longitude && latitude == other.latitude &&
               width == other.width && height == other.height && margin == other.margin;
    }
};

/// Twelve areas and what a drive through them gives: states, events and results.
class GeofenceModel {
public:
    static constexpr std::size_t kAreas = 12;
    using Areas = std::array<Area, kAreas>;
    enum State : uint32_t { Unknown, Inside, Outside, Entered, Left };

    struct Outcome {
        uint32_t result = 0;
        std::vector<std::string> events;
    };

    std::array<uint32_t, kAreas> states{};
    Areas areas{};

    void change(const Areas& wanted) {
        for (std::size_t i = 0; i < kAreas; ++i)
            if (!(areas[i] == wanted[i]))
                states[i] = Unknown;
        areas = wanted;
    }
    /// Settings and position are gone; the areas' names stay.
    void reset() {
        for (Area& area : areas)
            area = {area.name, 0, 0, 0, 0, 0};
        states = {};
        hasPosition_ = false;
    }
    void moveTo(int32_t latitude, int32_t longitude) {
        if (latitude == 0 && longitude == 0)
            return; // no fix is exactly there
        latitude_ = latitude;
        longitude_ = longitude;
        hasPosition_ = true;
    }
    /// The application's callback gives `answer`, or there is none and `answer` is what that counts as.
    Outcome check(uint32_t answer, bool isTold) {
        Outcome outcome;
        for (std::size_t i = 0; i < kAreas; ++i) {
            outcome.result = step(i);
            if (outcome.result != 0 || (states[i] != Entered && states[i] != Left))
                continue;
            outcome.result = answer;
            if (isTold)
                outcome.events.push_back((states[i] == Entered ? "OnGeofenceEntered " : "OnGeofenceLeft ") +
                                         areas[i].name);
        }
        return outcome;
    }

private:
    static constexpr uint32_t kInvalidPosition = 0x17000021;

    uint32_t step(std::size_t i) {
        uint32_t& state = states[i];
        const bool unconfigured = !areas[i].isConfigured();
        if (unconfigured || !hasPosition_) {
            state = Unknown;
            return unconfigured ? 0 : kInvalidPosition;
        }
        const bool wasOutside = state == Outside || state == Left;
        const bool inside = contains(areas[i], wasOutside ? 0 : areas[i].margin);
        if (inside)
            state = wasOutside ? Entered : Inside;
        else
            state = wasOutside ? Outside : Left;
        return 0;
    }
    bool contains(const Area& area, uint32_t margin) const {
        return isWithin(longitude_, area.longitude, area.width, margin) &&
               isWithin(latitude_, area.latitude, area.height, margin);
    }
    /// The bounds have 32 bits and no more.
    static bool isWithin(int64_t value, int64_t centre, uint32_t extent, uint32_t margin) {
        const int64_t reach = static_cast<uint32_t>(margin + extent / 2);
        return wrapped(centre - reach) <= value && value <= wrapped(centre + reach);
    }

    int32_t latitude_ = 0;
    int32_t longitude_ = 0;
    bool hasPosition_ = false;
};

#endif
