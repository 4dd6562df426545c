#ifndef FAULTS_H
#define FAULTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/Navigation.h"
#include "simulator/Time.h"

/// Faults on command of what the receiver sends and hears. What goes wrong with its answers to the host is
/// the engine's affair.

namespace simulator {

/// One row per fault; its name is the command that begins it. A new fault is a new row, counted in kFaults:
/// command, help and state follow.
struct FaultRow {
    const char* name;
    const char* help;
    /// Nothing is sent at all.
    bool silences;
    /// Changes a frame or sentence on its way to the line; what is random in it follows from `seed` and
    /// `key`. Null where frames stay as they are.
    void (*spoil)(std::string& frame, uint64_t seed, uint64_t key);
    /// Changes what the antenna hears. Null where it hears as ever.
    void (*dampen)(Reception& reception);
};

constexpr std::size_t kFaults = 6;

/// In the order in which they spoil a frame where several are active.
const std::array<FaultRow, kFaults>& faultRows();

/// Null where no fault has this name.
const FaultRow* findFaultRow(const std::string& name);

/// Which faults are active until when. A value-initialised object is a sound receiver.
class Faults {
public:
    /// `row` is one of faultRows(); from now until `end`, also where it is active already.
    void begin(const FaultRow& row, TimePoint end);
    void clear() { ends_ = {}; }

    bool silent(TimePoint now) const;
    std::string spoiled(std::string frame, uint64_t seed, uint64_t key, TimePoint now) const;
    void dampen(Reception& reception, TimePoint now) const;
    /// Names of the active ones, separated by commas; "none" where there is none.
    std::string names(TimePoint now) const;

private:
    bool active(const FaultRow& row, TimePoint now) const;

    std::array<TimePoint, kFaults> ends_{}; ///< of each row; in the past: it isn't active
};

} // namespace simulator

#endif
