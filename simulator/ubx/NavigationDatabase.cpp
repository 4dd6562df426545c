#include "NavigationDatabase.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "UbxPayload.h"
#include "simulator/Constants.h"
#include "simulator/Random.h"

namespace simulator {

namespace {

constexpr uint8_t kLayoutVersion = 1;
constexpr std::size_t kHeaderSize = 12; // kind, system, satellite, version, good until, check sum
constexpr std::size_t kSumOffset = 8;
constexpr int64_t kHourS = 3600;
constexpr int64_t kEphemerisIssueS = 2 * kHourS;
constexpr int64_t kEphemerisLifeS = 4 * kHourS;
constexpr int64_t kAlmanacLifeS = 180 * kSecondsPerDay;
constexpr int64_t kParameterLifeS = 30 * kSecondsPerDay;
constexpr int64_t kAlmanacPaceS = 30;
constexpr int64_t kEndOfTimeS = 0xFFFFFFFF;

struct SystemRow {
    Constellation system;
    uint8_t satellites;
    std::size_t ephemerisSize; // data behind the header, so whole frames are 20 bytes longer
    std::size_t almanacSize;
};

constexpr std::array<SystemRow, 5> kSystems = {{
    {Constellation::Gps, 32, 152, 52},
    {Constellation::Galileo, 24, 148, 56},
    {Constellation::BeiDou, 35, 144, 52},
    {Constellation::Qzss, 5, 152, 52},
    {Constellation::Glonass, 24, 96, 44},
}};

const SystemRow* findSystem(uint8_t system) {
    for (const SystemRow& row : kSystems)
        if (static_cast<uint8_t>(row.system) == system)
            return &row;
    return nullptr;
}

// Size of a mixed database's data; 0 for what the receiver doesn't know.
std::size_t mixedSize(RecordKind kind, uint8_t system) {
    const SystemRow* row = findSystem(system);
    switch (kind) {
    case RecordKind::Position:
        return 40;
    case RecordKind::Time:
        return 30;
    case RecordKind::Clock:
        return 32;
    case RecordKind::UtcParameters:
        return 36;
    case RecordKind::Ionosphere:
        return 44;
    case RecordKind::Health:
        return 60;
    case RecordKind::Ephemeris:
        return row == nullptr ? 0 : row->ephemerisSize;
    case RecordKind::Almanac:
        return row == nullptr ? 0 : row->almanacSize;
    case RecordKind::Orbit:
    case RecordKind::Closing:
        return 0;
    }
    return 0;
}

uint32_t crc32(const Bytes& bytes) {
    uint32_t crc = 0xFFFFFFFFu;
    for (const uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1u) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
    }
    return ~crc;
}

// The check sum covers everything but itself.
uint32_t recordSum(Bytes payload) {
    std::fill_n(payload.begin() + kSumOffset, 4, uint8_t{0});
    return crc32(payload);
}

int64_t secondsOf(UtcTime utc) {
    return std::chrono::duration_cast<std::chrono::seconds>(utc.time_since_epoch()).count();
}

Bytes positionData(const Epoch& epoch) {
    const auto e7 = [](double degrees) { return static_cast<int32_t>(std::lround(degrees * 1e7)); };
    const double heightM = epoch.position.altitudeMslM + epoch.position.geoidSeparationM;
    return PayloadWriter()
        .i4(e7(epoch.position.latitudeDeg))
        .i4(e7(epoch.position.longitudeDeg))
        .i4(static_cast<int32_t>(std::lround(heightM * 100)))
        .u4(static_cast<uint32_t>(std::lround(epoch.horizontalAccuracyM * 100)))
        .zeros(24)
        .bytes();
}

} // namespace

NavigationDatabase::NavigationDatabase(uint64_t seed, DatabaseStyle style) : seed_(seed), style_(style) {}

// Whole frames of 50 to 90 bytes in the recorded style. u-blox's own host library tells of last records with
// payloads of 184 and 248 bytes.
std::size_t NavigationDatabase::dataSize(const Key& key) const {
    constexpr std::size_t kSmallest = 30;
    constexpr uint64_t kSizes = 41;
    constexpr std::size_t kClosing = 248 - kHeaderSize;
    const auto [kind, system, number] = key;
    if (style_ == DatabaseStyle::Mixed || kind < RecordKind::Ephemeris)
        return mixedSize(kind, system);
    if (kind == RecordKind::Closing)
        return kClosing;
    if (kind > RecordKind::Closing || findSystem(system) == nullptr)
        return 0;
    const uint64_t place = static_cast<uint64_t>(kind) << 16u | static_cast<uint64_t>(system) << 8u | number;
    return kSmallest + static_cast<std::size_t>(mixed(place * kSeedStep) % kSizes);
}

void NavigationDatabase::learn(const Epoch& epoch) {
    if (!epoch.timeKnown)
        return;
    if (epoch.fix != FixType::None)
        learnFromSolution(epoch);
    learnAlmanacs(epoch);
}

void NavigationDatabase::learnFromSolution(const Epoch& epoch) {
    const int64_t nowS = secondsOf(epoch.utc);
    const Key position{RecordKind::Position, 0, 0};
    records_[position] = record(position, nowS + kParameterLifeS, positionData(epoch));
    store({RecordKind::Time, 0, 0}, nowS + kParameterLifeS, static_cast<uint64_t>(nowS));
    for (const RecordKind kind :
         {RecordKind::Clock, RecordKind::UtcParameters, RecordKind::Ionosphere, RecordKind::Health}) {
        const int64_t day = nowS / kSecondsPerDay;
        store({kind, 0, 0}, day * kSecondsPerDay + kParameterLifeS, static_cast<uint64_t>(day));
    }
    const int64_t issue = nowS / kEphemerisIssueS;
    for (const Satellite& satellite : epoch.satellites) {
        const auto system = static_cast<uint8_t>(satellite.constellation);
        if (satellite.used && findSystem(system) != nullptr) {
            store({RecordKind::Ephemeris, system, static_cast<uint8_t>(satellite.number)},
                  issue * kEphemerisIssueS + kEphemerisLifeS, static_cast<uint64_t>(issue));
        }
    }
    if (style_ == DatabaseStyle::Recorded)
        learnAllOrbits(nowS);
}

// Almanac and predicted orbit of every satellite at once: an assumption, the real one takes its time.
void NavigationDatabase::learnAllOrbits(int64_t nowS) {
    const int64_t day = nowS / kSecondsPerDay;
    const int64_t goodUntilS = day * kSecondsPerDay + kAlmanacLifeS;
    for (const SystemRow& row : kSystems)
        for (uint8_t number = 1; number <= row.satellites; ++number)
            for (const RecordKind kind : {RecordKind::Almanac, RecordKind::Orbit})
                store({kind, static_cast<uint8_t>(row.system), number}, goodUntilS,
                      static_cast<uint64_t>(day));
    store({RecordKind::Closing, 0, 0}, goodUntilS, static_cast<uint64_t>(day));
}

// Each system broadcasts its almanacs one after the other.
void NavigationDatabase::learnAlmanacs(const Epoch& epoch) {
    const int64_t nowS = secondsOf(epoch.utc);
    for (const SystemRow& row : kSystems) {
        const bool heard =
            std::any_of(epoch.satellites.begin(), epoch.satellites.end(), [&row](const Satellite& satellite) {
                return satellite.constellation == row.system && satellite.carrierToNoiseDbHz > 0;
            });
        int64_t& nextS = nextAlmanacS_.emplace(row.system, nowS + kAlmanacPaceS).first->second;
        if (!heard || nowS < nextS)
            continue;
        nextS = nowS + kAlmanacPaceS;
        for (uint8_t number = 1; number <= row.satellites; ++number) {
            const Key key{RecordKind::Almanac, static_cast<uint8_t>(row.system), number};
            if (records_.count(key) == 0) {
                store(key, nowS / kSecondsPerDay * kSecondsPerDay + kAlmanacLifeS,
                      static_cast<uint64_t>(nowS / kSecondsPerDay));
                break;
            }
        }
    }
}

StoreResult NavigationDatabase::restore(const Bytes& payload) {
    if (payload.size() <= kHeaderSize)
        return StoreResult::WrongSize;
    const PayloadReader fields(payload);
    const Key key{static_cast<RecordKind>(fields.u1(0)), fields.u1(1), fields.u1(2)};
    const std::size_t expected = dataSize(key);
    if (expected != 0 && payload.size() != kHeaderSize + expected)
        return StoreResult::WrongSize;
    if (expected == 0 || fields.u1(3) != kLayoutVersion || fields.u4(kSumOffset) != recordSum(payload))
        return StoreResult::Damaged;
    records_[key] = payload;
    return StoreResult::Taken;
}

std::vector<Bytes> NavigationDatabase::dump() const {
    std::vector<Bytes> payloads;
    for (const auto& [key, payload] : records_)
        payloads.push_back(payload);
    return payloads;
}

void NavigationDatabase::clear() {
    records_.clear();
    nextAlmanacS_.clear();
}

void NavigationDatabase::forget(const std::set<RecordKind>& kinds) {
    for (auto it = records_.begin(); it != records_.end();)
        it = kinds.count(std::get<0>(it->first)) != 0 ? records_.erase(it) : std::next(it);
}

void NavigationDatabase::fill(std::size_t count, std::optional<UtcTime> now) {
    constexpr std::size_t kNumbers = 255;
    const int64_t goodUntilS = now ? secondsOf(*now) + kEphemerisLifeS : kEndOfTimeS;
    clear();
    for (std::size_t i = 0; i < count; ++i) {
        const SystemRow& row = kSystems[(i / kNumbers) % kSystems.size()];
        const auto kind = i < kNumbers * kSystems.size() ? RecordKind::Ephemeris : RecordKind::Almanac;
        const auto number = static_cast<uint8_t>(1 + i % kNumbers);
        const bool closes = style_ == DatabaseStyle::Recorded && i + 1 == count;
        const Key key{kind, static_cast<uint8_t>(row.system), number};
        store(closes ? Key{RecordKind::Closing, 0, 0} : key, goodUntilS, i);
    }
}

std::size_t NavigationDatabase::usableEphemerides(std::optional<UtcTime> now,
                                                  const std::set<Constellation>& systems) const {
    std::size_t count = 0;
    for (const auto& [key, payload] : records_) {
        const auto [kind, system, number] = key;
        const int64_t goodUntilS = PayloadReader(payload).u4(4);
        const bool good = !now || goodUntilS > secondsOf(*now);
        const bool wanted = systems.count(static_cast<Constellation>(system)) != 0;
        count += kind == RecordKind::Ephemeris && good && wanted ? 1 : 0;
    }
    return count;
}

bool NavigationDatabase::holds(RecordKind kind) const {
    const auto found = records_.lower_bound({kind, 0, 0});
    return found != records_.end() && std::get<0>(found->first) == kind;
}

void NavigationDatabase::store(const Key& key, int64_t goodUntilS, uint64_t issue) {
    records_[key] = record(key, goodUntilS, filling(key, issue, dataSize(key)));
}

Bytes NavigationDatabase::record(const Key& key, int64_t goodUntilS, Bytes data) const {
    const auto [kind, system, number] = key;
    Bytes payload = PayloadWriter()
                        .u1(static_cast<uint32_t>(kind))
                        .u1(system)
                        .u1(number)
                        .u1(kLayoutVersion)
                        .u4(static_cast<uint32_t>(goodUntilS))
                        .u4(0)
                        .bytes();
    payload.insert(payload.end(), data.begin(), data.end());
    const Bytes sum = PayloadWriter().u4(recordSum(payload)).bytes();
    std::copy(sum.begin(), sum.end(), payload.begin() + kSumOffset);
    return payload;
}

Bytes NavigationDatabase::filling(const Key& key, uint64_t issue, std::size_t size) const {
    const auto [kind, system, number] = key;
    uint64_t state = seed_ ^ (issue << 24u) ^ (static_cast<uint64_t>(kind) << 16u) ^
                     (static_cast<uint64_t>(system) << 8u) ^ number;
    Bytes data(size);
    for (uint8_t& byte : data)
        byte = static_cast<uint8_t>(mixed(state += kSeedStep) & 0xFFu);
    return data;
}

} // namespace simulator
