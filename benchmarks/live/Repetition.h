#ifndef REPETITION_H
#define REPETITION_H

#include <string>

#include "Calls.h"

/// The limits that noted calls give: the same commands and pauses without the library.

/// A step of a wait for acknowledgements, in seconds: half of what 5000 bytes take at a byte a baud of
/// 115200.
constexpr double kReadLoopStep = 0.021701;

/// The first call of this kind whose text begins with `start`, or `end`.
calls::Calls::const_iterator firstCall(calls::Calls::const_iterator begin, calls::Calls::const_iterator end,
                                       calls::Kind kind, const std::string& start);

/// Where the first whole acknowledgement of an assistance message (MGA-ACK) in `bytes` ends; npos for none.
std::size_t endOfMgaAck(const std::string& bytes);

/// Seconds that the shell commands and the pauses among `made` took.
double shellAndPauses(const calls::Calls& made);

/// Runs the commands that went through `system` again, and for each pause makes one of `step` seconds, in
/// this order and with nothing between them. Returns the seconds that it took.
double repeat(const calls::Calls& made, double step);

/// What a pause of so many seconds takes, the mean of `count`.
double meanPause(double seconds, int count);

#endif
