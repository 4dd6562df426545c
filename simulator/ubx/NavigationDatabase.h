#ifndef NAVIGATIONDATABASE_H
#define NAVIGATIONDATABASE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

#include "UbxFrame.h"
#include "simulator/Epoch.h"
#include "simulator/ProtocolEngine.h"

/// What the receiver has learnt from the sky: the records that UBX-MGA-DBD hands out and takes back.
///
/// A record's layout is the receiver's own affair, as with the real one. Here it begins with kind, system,
/// satellite and layout version, followed by the time it is good until and a check sum over the rest, so a
/// record that was damaged on its way is recognised although its frame is in order. The offsets stand in
/// README.md.

namespace simulator {

/// In the order in which they are handed out: what helps most comes first.
enum class RecordKind : uint8_t {
    Position = 1,
    Time = 2,
    Clock = 3,
    UtcParameters = 4,
    Ionosphere = 5,
    Health = 6,
    Ephemeris = 7,
    Almanac = 8,
    Orbit = 9,    ///< predicted from ephemerides; only in the recorded style
    Closing = 10, ///< the last and largest; only in the recorded style
};

/// WrongSize: the length doesn't follow from kind and system. Damaged: kind, version or check sum are wrong.
enum class StoreResult { Taken, WrongSize, Damaged };

class NavigationDatabase {
public:
    /// The filling of the records follows from `seed`, so two runs give the same bytes.
    explicit NavigationDatabase(uint64_t seed, DatabaseStyle style = DatabaseStyle::Mixed);

    /// Called at each epoch. Satellites in the solution bring their ephemeris at once, almanacs come one per
    /// system and half a minute of reception.
    void learn(const Epoch& epoch);

    /// Takes a record that comes back (payload of UBX-MGA-DBD), in place of its own of the same key.
    StoreResult restore(const Bytes& payload);
    std::vector<Bytes> dump() const; ///< payloads of UBX-MGA-DBD
    /// Number of records.
    std::size_t size() const { return records_.size(); }

    void clear();
    /// Drops all records of these kinds.
    void forget(const std::set<RecordKind>& kinds);
    /// Makes the database exactly `count` records long with made-up ephemerides, good for four hours (for
    /// ever, where the time isn't known).
    void fill(std::size_t count, std::optional<UtcTime> now);

    /// Ephemerides of these systems that are good at `now` (all, where the time isn't known).
    std::size_t usableEphemerides(std::optional<UtcTime> now, const std::set<Constellation>& systems) const;
    bool holds(RecordKind kind) const;

private:
    using Key = std::tuple<RecordKind, uint8_t, uint8_t>; ///< kind, system, satellite

    void learnFromSolution(const Epoch& epoch);
    void learnAlmanacs(const Epoch& epoch);
    void learnAllOrbits(int64_t nowS);
    std::size_t dataSize(const Key& key) const;
    void store(const Key& key, int64_t goodUntilS, uint64_t issue);
    Bytes record(const Key& key, int64_t goodUntilS, Bytes data) const;
    Bytes filling(const Key& key, uint64_t issue, std::size_t size) const;

    uint64_t seed_;
    DatabaseStyle style_;
    std::map<Key, Bytes> records_;
    std::map<Constellation, int64_t> nextAlmanacS_;
};

} // namespace simulator

#endif
