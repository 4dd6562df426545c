#include "Snapshot.h"

#include <cmath>

#include "Saturate.h"

namespace {

constexpr int64_t kFreshSeconds = 10; // 64 bits: a `time_t` of 32 is too narrow for the limit
constexpr double kMicrodegreesPerDegree = 1000000.0;
constexpr double kThousandths = 1000.0;

} // namespace

unsigned int meanSnr(const ReaderBlock& reader, int32_t count, int32_t satellitesUsed) {
    unsigned int sum = 0;
    for (int32_t i = 0; i < count; ++i)
        if (reader.used[i])
            sum += saturate<uint32_t>(reader.ss[i]);
    // KEEP: divided by gpsd's own count, not by the number of entries marked used.
    // Pinned by GetSatellites.DividesByGpsdsOwnCountOfUsedSatellites
    const auto divisor = static_cast<unsigned int>(satellitesUsed);
    return divisor == 0 ? 0 : sum / divisor;
}

unsigned int horizontalErrorMetres(double epx, double epy) {
    // KEEP: the sum is rounded to single precision, the root of that isn't: just below 25 it is still 4.
    // Pinned by GetErrorEstimates.TakesTheRootOfTheRoundedSumInDoublePrecision
    const float sumOfSquares = toSingle(epx * epx + epy * epy);
    return saturate<uint32_t>(std::sqrt(static_cast<double>(sumOfSquares)));
}

bool isFresh(time_t arrival, time_t now) { return arrival >= now - kFreshSeconds; }

void fillFreshFields(const ReaderBlock& reader, time_t now, GPSData& data) {
    if (isFresh(reader.tsTime, now))
        data.time = reader.fixTime;
    if (isFresh(reader.tsLatLon, now)) {
        data.latitude = saturate<int32_t>(reader.latitude * kMicrodegreesPerDegree);
        data.longitude = saturate<int32_t>(reader.longitude * kMicrodegreesPerDegree);
    }
    if (isFresh(reader.tsAltitude, now))
        data.altitude = saturate<int32_t>(reader.altitude * kThousandths);
    if (isFresh(reader.tsTrack, now))
        data.course = saturate<uint32_t>(reader.track * kThousandths);
    if (isFresh(reader.tsSpeed, now))
        data.speed = saturate<uint32_t>(reader.speed * kThousandths);
    if (isFresh(reader.tsDop, now)) {
        data.hdop = toSingle(reader.hdop);
        data.tdop = toSingle(reader.tdop);
        data.pdop = toSingle(reader.pdop);
        data.gdop = toSingle(reader.gdop);
    }
}
