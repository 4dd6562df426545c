#ifndef MONITOR_OUTPUT_H
#define MONITOR_OUTPUT_H

#include <string>

#include "Telemetry.h"

namespace monitor {

/// Somebody who is told each line: a terminal, a pipe, a file.
///
/// All calls come on the main thread, none from a callback of the service. None may wait for a reader: main's
/// loop serves all outputs.
class Output {
public:
    enum class State {
        Going,
        Done,  ///< has what it wanted: the monitor ends with status 0
        Broken ///< can't be written any more, but others may go on: the monitor ends with status 1 at last
    };

    virtual ~Output() = default;

    /// In the order in which the monitor noticed them.
    virtual void take(const telemetry::Line& line) = 0;

    /// Once in each turn of main's loop, several times a second, also where nothing came: keys, drawing.
    virtual void turn() {}

    /// A descriptor whose input ends main's wait early, or -1.
    virtual int input() const { return -1; }

    /// `Done` ends the monitor. So does `Broken` of an output that is `essential()`.
    virtual State state() const { return State::Going; }
    virtual bool essential() const { return false; }

    /// What is wrong where it is broken, without a full stop.
    virtual std::string problem() const { return ""; }

    /// Whether what is said on standard error isn't seen until `finish`.
    virtual bool hidesStandardError() const { return false; }

    /// An output can't be written any more, as is said on standard error too: its problem.
    virtual void takeProblem(const std::string& /*problem*/) {}

    /// The last line was taken. False where not all of it could be written; problem() then tells why. May
    /// wait for a reader, but not for ever.
    virtual bool finish() { return state() != State::Broken; }
};

} // namespace monitor

#endif
