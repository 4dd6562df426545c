#include "simulator/Faults.h"

#include <algorithm>

#include "simulator/Random.h"

namespace simulator {

// --- Effects --------------------------------------------------------------------------------------------

namespace {

void makeGarbage(std::string& frame, uint64_t seed, uint64_t key) {
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<char>(static_cast<uint32_t>(256 * scatter(seed, key, i)));
}

// The checksum's last digit, or a byte of a binary frame.
void breakChecksum(std::string& frame, uint64_t, uint64_t) {
    if (frame.size() <= 4)
        return;
    char& digit = frame[frame.size() - 3];
    digit = digit == '0' ? '1' : '0';
}

void cutInHalf(std::string& frame, uint64_t, uint64_t) { frame.resize(frame.size() / 2); }

void denyFix(Reception& reception) { reception.fixDenied = true; }

void blockSky(Reception& reception) { reception.skyBlocked = true; }

} // namespace

// --- Table ----------------------------------------------------------------------------------------------

const std::array<FaultRow, kFaults>& faultRows() {
    static constexpr std::array<FaultRow, kFaults> kRows{{
        {"silence", "nothing is sent at all", true, nullptr, nullptr},
        {"garbage", "random bytes in place of sentences", false, makeGarbage, nullptr},
        {"badchecksum", "every checksum is wrong", false, breakChecksum, nullptr},
        {"half", "only the first half of each sentence", false, cutInHalf, nullptr},
        {"nofix", "satellites are heard, but there is no position", false, nullptr, denyFix},
        {"nosatellites", "no satellite is heard", false, nullptr, blockSky},
    }};
    return kRows;
}

const FaultRow* findFaultRow(const std::string& name) {
    const auto& rows = faultRows();
    const auto row =
        std::find_if(rows.begin(), rows.end(), [&](const FaultRow& r) { return r.name == name; });
    return row == rows.end() ? nullptr : &*row;
}

// --- Active faults --------------------------------------------------------------------------------------

void Faults::begin(const FaultRow& row, TimePoint end) {
    ends_.at(static_cast<std::size_t>(&row - faultRows().data())) = end;
}

bool Faults::active(const FaultRow& row, TimePoint now) const {
    return now < ends_.at(static_cast<std::size_t>(&row - faultRows().data()));
}

bool Faults::silent(TimePoint now) const {
    return std::any_of(faultRows().begin(), faultRows().end(),
                       [&](const FaultRow& row) { return row.silences && active(row, now); });
}

std::string Faults::spoiled(std::string frame, uint64_t seed, uint64_t key, TimePoint now) const {
    for (const FaultRow& row : faultRows())
        if (row.spoil != nullptr && active(row, now))
            row.spoil(frame, seed, key);
    return frame;
}

void Faults::dampen(Reception& reception, TimePoint now) const {
    for (const FaultRow& row : faultRows())
        if (row.dampen != nullptr && active(row, now))
            row.dampen(reception);
}

std::string Faults::names(TimePoint now) const {
    std::string names;
    for (const FaultRow& row : faultRows())
        if (active(row, now))
            names += (names.empty() ? "" : ",") + std::string(row.name);
    return names.empty() ? "none" : names;
}

} // namespace simulator
