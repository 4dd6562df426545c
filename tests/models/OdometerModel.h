#ifndef ODOMETERMODEL_H
#define ODOMETERMODEL_H

#include <cmath>
#include <cstdint>
#include <optional>

/// The metres that a vehicle is said to have driven, a cycle after the other.
class OdometerModel {
public:
    uint32_t metres = 0;
    uint32_t horizontalError = 0;
    uint32_t positionInterval = 1;

    void moveTo(int32_t latitude, int32_t longitude) {
        if (latitude != 0 || longitude != 0)
            current_ = {latitude, longitude};
    }
    void reset() { *this = OdometerModel(); }

    void cycle() {
        if (!reference_) {
            warmUp();
            return;
        }
        smoothed_.latitude = smooth(current_.latitude, smoothed_.latitude);
        smoothed_.longitude = smooth(current_.longitude, smoothed_.longitude);
        const double metresOff = distance(*reference_, smoothed_);
        if (metresOff > 1000.0)
            jump();
        else if (metresOff > 15.0)
            count(metresOff);
    }

private:
    struct Position {
        int32_t latitude = 0;
        int32_t longitude = 0;
    };

    static int32_t smooth(int32_t now, int32_t before) {
        const double newShare = 1 - 0.9;
        return static_cast<int32_t>(std::round(now * newShare + before * 0.9));
    }
    static double distance(const Position& a, const Position& b) {
        const double metresPerMicrodegree = 0.11113286273635781;
        const double pi = 3.141592653589793;
        const double north = (double(a.latitude) - b.latitude) * metresPerMicrodegree;
        const double shrinking = std::cos(b.latitude * pi / 180 * 1e-6);
        const double east = (double(a.longitude) - b.longitude) * metresPerMicrodegree * shrinking;
        return std::sqrt(north * north + east * east);
    }

    void warmUp() {
        if (cyclesToWait_ > 0)
            --cyclesToWait_;
        else
            reference_ = smoothed_ = current_;
    }
    void jump() {
        reference_.reset();
        cyclesToWait_ = 180 / (positionInterval == 0 ? 1 : positionInterval);
    }
    void count(double metresOff) {
        if (metresOff > 2.0 * horizontalError)
            metres += static_cast<uint32_t>(std::round(metresOff));
        reference_ = smoothed_;
    }

    Position current_;
    Position smoothed_;
    std::optional<Position> reference_;
    uint32_t cyclesToWait_ = 180;
};

#endif
