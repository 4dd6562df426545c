#ifndef UBXFAULTS_H
#define UBXFAULTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "UbxFrame.h"
#include "simulator/ProtocolEngine.h"

/// Faults on command: how the receiver's answers to the host go wrong.

namespace simulator {

/// What is wrong at the moment. A value-initialised record is a sound receiver.
struct UbxFaults {
    static constexpr uint32_t kForEver = ~0u;

    uint32_t refusals = 0;   ///< CFG messages still to be answered with ACK-NAK and not applied
    uint32_t silences = 0;   ///< frames still to be left without any answer, though obeyed
    Duration lateness{0};    ///< before each answer
    bool oldSpeed = false;   ///< a change of speed is acknowledged at the speed before it
    std::size_t splitAt = 0; ///< each answer pauses after so many bytes; 0: no
    Duration splitGap{0};
    std::size_t dropAt = 0;     ///< each answer loses this byte, counted from 1; 0: no
    std::size_t flipAt = 0;     ///< each answer has a bit of this byte turned over
    std::size_t faultEvery = 1; ///< drop and flip only in each n-th answer
    bool mixedBurst = false;    ///< sentences and acknowledgements between the frames of a database dump
    bool needsTime = false;     ///< records of a database are not used while it doesn't know the time
    uint32_t notReady = 0;      ///< assistance messages still to be refused as too early
    bool noClosingAck = false;  ///< a database dump ends without its acknowledgement
    bool between = false;       ///< answers go between the sentences of an epoch
    bool earlyAck = false;      ///< the acknowledgement of a database dump comes ahead of its frames

    std::optional<uint8_t> refusedId; ///< CFG messages of this id are answered with ACK-NAK and not applied
};

/// One row per command; `words` holds name and arguments. `apply` returns a sentence where they are wrong.
struct UbxFaultRow {
    const char* name;
    const char* arguments;
    const char* help;
    std::string (*apply)(UbxFaults& faults, const std::vector<std::string>& words);
};

const std::vector<UbxFaultRow>& ubxFaultRows();

/// What is set, for the state file: "none", or "late 500 ms, mixed burst".
std::string describeFaults(const UbxFaults& faults);

/// The answer with its byte errors; `count` is its number since power-up or the last reset, from 1.
Bytes damaged(const UbxFaults& faults, Bytes answer, std::size_t count);

} // namespace simulator

#endif
