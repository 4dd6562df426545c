#ifndef STUBS_H
#define STUBS_H

#include <cstdint>
#include <ctime>

/// What the library reaches outside itself does nothing in this program, at once: pauses, the shell, the log,
/// the platform's antenna. So what is counted is the library's own, and nothing is killed on the host.
///
/// No command runs: `system` gives 0, `popen` no stream. The antenna is in order. libgps is the real one.
namespace stubs {

/// Called in place of each pause (usleep, sleep, ruxosleep_interruptible), when set.
extern void (*atPause)();

/// What `time` and `GetGmTime` give, in seconds since the Unix epoch.
extern time_t now;

/// What `ruxo_systemtick` gives.
extern uint32_t tick;

} // namespace stubs

#endif
