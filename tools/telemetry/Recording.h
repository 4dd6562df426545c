#ifndef RECORDING_H
#define RECORDING_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Telemetry.h"

namespace telemetry {

/// A file of which nothing can be shown; what() names file and line and says what is wrong.
class NoRecording : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A line of a recording that could not be used.
struct Damage {
    std::size_t line; ///< counted from 1
    std::string what;
};

/// Reads what `ruxogps-monitor --record` has written, line by line.
///
/// A loss of power leaves a line that is cut, or some of zeros; a disk may spoil others. What can be read is
/// read, and what can't stands in `damage()`.
class RecordingReader {
public:
    /// The stream must live as long as the reader; `name` stands in messages. Throws NoRecording where the
    /// first line is missing, belongs to something else, or to a version of the format that this one can't
    /// read.
    RecordingReader(std::istream& input, std::string name);

    /// The next line that tells something; nothing at the end. The first one is the recording's Start.
    std::optional<Line> next();

    /// The first 1,000 of its damaged lines: a file may be damaged from its second line on, and huge.
    const std::vector<Damage>& damage() const { return damage_; }

    /// Damaged lines beyond those.
    std::uint64_t furtherDamage() const { return furtherDamage_; }

private:
    std::optional<Line> read(const std::string& text);
    void checkStart(const std::string& text);
    void noteDamage(const char* what);

    std::istream& input_;
    std::string name_;
    std::size_t line_ = 0;
    std::optional<Line> first_; ///< until it is handed on
    std::vector<Damage> damage_;
    std::uint64_t furtherDamage_ = 0;
};

} // namespace telemetry

#endif
