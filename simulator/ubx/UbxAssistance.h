#ifndef UBXASSISTANCE_H
#define UBXASSISTANCE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "NavigationDatabase.h"
#include "UbxFrame.h"
#include "UbxPayload.h"

/// Class MGA: the navigation database, initial position and initial time, and how each is acknowledged.

namespace simulator {

/// What a frame of class MGA is answered with.
struct MgaOutcome {
    std::vector<UbxFrame> database;          ///< answer to a poll
    std::optional<UbxFrame> acknowledgement; ///< MGA-ACK-DATA0; sent where acknowledged aiding is on
};

/// Why the receiver can't use what it gets at the moment.
enum class MgaHindrance {
    None,
    NoTime,   ///< of records of the database: it doesn't know the time
    NotReady, ///< of all that is no poll
};

class UbxAssistance {
public:
    UbxAssistance(uint64_t seed, DatabaseStyle style,
                  EmptyDatabaseReply emptyDatabase = EmptyDatabaseReply::Refused);

    /// A frame of class MGA. An empty MGA-DBD polls the database, anything else is taken in or refused.
    MgaOutcome handle(const UbxFrame& frame, MgaHindrance hindrance = MgaHindrance::None);
    /// The reset line and a loss of power: nothing is known any more, the counters start anew.
    void reset();
    /// What UBX-CFG-RST clears: the initial position with the position record, and the initial time.
    void forgetPosition();
    void forgetTime();

    NavigationDatabase& database() { return database_; }
    const NavigationDatabase& database() const { return database_; }
    /// From an initial position, or from a record of the database.
    bool positionKnown() const;
    /// From an initial time alone.
    bool timeKnown() const { return !time_.empty(); }
    /// An initial time in UTC may tell them.
    bool leapSecondsKnown() const { return leapSecondsKnown_; }

    /// Messages since the last reset, by what the acknowledgement says or would have said.
    uint32_t taken() const { return taken_; }
    uint32_t refused() const { return refused_; }
    /// "52.5000000 13.4000000 34.00 m accuracy 10.00 m", empty before the first.
    const std::string& position() const { return position_; }
    /// "2026-11-20T18:44:00Z accuracy 10 s leap 18", empty before the first.
    const std::string& time() const { return time_; }

private:
    /// infoCode of UBX-MGA-ACK-DATA0.
    enum class Info : uint8_t {
        Accepted = 0,
        NoTime = 1,
        BadVersion = 2,
        BadSize = 3,
        NotStored = 4,
        NotReady = 5,
        UnknownType = 6,
    };

    Info takeRecord(const Bytes& payload);
    Info takeInitial(const Bytes& payload);
    /// The forms of UBX-MGA-INI: type, length and what is made of it.
    struct InitialRow {
        uint8_t type;
        std::size_t size;
        Info (UbxAssistance::*take)(const PayloadReader& fields);
    };
    static const std::vector<InitialRow>& initialRows();
    Info takePosition(const PayloadReader& fields);
    Info takeEcefPosition(const PayloadReader& fields);
    Info takeTime(const PayloadReader& fields);
    Info takeGnssTime(const PayloadReader& fields);
    Info takeWithoutEffect(const PayloadReader&) { return Info::Accepted; }
    UbxFrame acknowledge(const UbxFrame& frame, Info info);
    MgaOutcome dump() const;

    NavigationDatabase database_;
    std::string position_;
    std::string time_;
    bool leapSecondsKnown_ = false;
    EmptyDatabaseReply emptyDatabase_;
    uint32_t taken_ = 0;
    uint32_t refused_ = 0;
};

} // namespace simulator

#endif
