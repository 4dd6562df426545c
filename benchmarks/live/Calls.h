#ifndef CALLS_H
#define CALLS_H

#include <pthread.h>

#include <string>
#include <vector>

/// What the library asks of the system while it runs in this program: its shell commands, its pauses, its
/// reads of the port and of gpsd. Each call is carried out as ever, and noted with its begin and its end. Log
/// lines are noted only.
namespace calls {

enum class Kind {
    Shell,  ///< system, popen, pclose; `text`: the command. And fgets, which waits for a command's output;
            ///< `value`: whether there was any
    Pause,  ///< usleep, sleep, ruxosleep_interruptible; `value`: the seconds asked for
    Read,   ///< fread; `text`: the bytes that came
    Wait,   ///< gps_waiting; `value`: its result
    Report, ///< gps_read; `value`: its result, `text`: "fix" where the record has all that a fix needs
    Log,    ///< `text`: the line
};

struct Call {
    Kind kind;
    double begin;
    double end;
    double value;
    std::string text;
    pthread_t thread;

    double seconds() const { return end - begin; }
};

using Calls = std::vector<Call>;

/// Seconds of a clock that is never set.
double now();

/// The whole seconds that `ruxo_systemtick` gives at a moment of `now`.
double tickAt(double moment);

/// All that has been noted since the last `forget`, in the order of its ends.
Calls noted();

void forget();

} // namespace calls

/// Ends the program unless it runs on a virtual unit: elsewhere it would kill the host's gpsd.
void needUnit();

#endif
