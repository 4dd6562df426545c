// Class MGA: the navigation database, initial position and initial time, and how each is acknowledged.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "NavigationDatabase.h"
#include "UbxFrame.h"

namespace simulator {

struct MgaOutcome {
    std::vector<UbxFrame> database; // answer to a poll
    std::optional<UbxFrame> acknowledgement;
};

class UbxAssistance {
public:
    explicit UbxAssistance(std::uint64_t seed);

    MgaOutcome handle(const UbxFrame& frame);
    // The reset line and a loss of power: nothing is known any more, the counters start anew.
    void reset();
    void forgetPosition();
    void forgetTime();

    NavigationDatabase& database() { return database_; }
    const NavigationDatabase& database() const { return database_; }
    bool positionKnown() const;
    bool timeKnown() const { return !time_.empty(); }

    // Messages since the last reset, by what the acknowledgement says or would have said.
    unsigned taken() const { return taken_; }
    unsigned refused() const { return refused_; }
    // "52.5000000 13.4000000 34.00 m accuracy 10.00 m", empty before the first.
    const std::string& position() const { return position_; }
    // "2026-11-20T18:44:00Z accuracy 10 s leap 18", empty before the first.
    const std::string& time() const { return time_; }

private:
    // infoCode of UBX-MGA-ACK-DATA0.
    enum class Info : std::uint8_t {
        Accepted = 0,
        BadVersion = 2,
        BadSize = 3,
        NotStored = 4,
        UnknownType = 6,
    };

    Info takeRecord(const Bytes& payload);
    Info takeInitial(const Bytes& payload);
    Info takePosition(const Bytes& payload);
    Info takeTime(const Bytes& payload);
    UbxFrame acknowledge(const UbxFrame& frame, Info info);

    NavigationDatabase database_;
    std::string position_;
    std::string time_;
    unsigned taken_ = 0;
    unsigned refused_ = 0;
};

} // namespace simulator
