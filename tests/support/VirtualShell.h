#ifndef VIRTUALSHELL_H
#define VIRTUALSHELL_H

#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Journal.h"

/// gpsd as a process: what the shell commands `pidof`, `kill` and `gpsd` find and do.
struct VirtualDaemon {
    bool running = false;
    bool ignoresKill = false;
    bool neverComesUp = false;
    int checksUntilGone = 1; ///< at which `pidof` after the kill it is gone
    int checksUntilUp = 1;   ///< at which `pidof` after the start it is there

    // What has been asked for and comes true at a later check.
    int checksLeft = 0;
    bool runsThen = false;

    void kill();
    void start();
    bool check();
};

/// The shell: `system` and `popen`. No command ever reaches the host.
class VirtualShell {
public:
    VirtualShell(Journal& journal) : journal_(journal) {}

    VirtualDaemon daemon;

    /// Look at every command before it "runs", on the thread that runs it (the port listens here).
    std::vector<std::function<void(const std::string& command)>> listeners;

    /// The next `times` commands of `system` that begin with `beginning` give `result` instead of 0.
    void systemGives(const std::string& beginning, int result, int times = 1);
    /// The next `times` calls of `popen` with exactly `command` give a null stream.
    void popenFails(const std::string& command, int times = 1);
    /// `popen` of exactly `command` gives this output from now on (instead of the daemon's answer).
    void answers(const std::string& command, const std::string& output);

    /// The next `times` reads of a command's output fail with `error`, as they do when a signal comes.
    void interruptsReading(int times, int error = EINTR) { interruptions_ = times, readError_ = error; }

    /// The next `times` calls of `pclose` end the stream and give -1 with EINTR.
    void interruptsClosing(int times) { closingInterruptions_ = times; }

    int system(const std::string& command);
    FILE* open(const std::string& command, const std::string& mode);
    bool owns(FILE* stream) const { return streams_.count(stream) != 0; }
    bool failsToRead(FILE* stream);
    int close(FILE* stream);
    /// Streams of `popen` that were not closed.
    std::size_t openStreams() const { return streams_.size(); }

private:
    struct Result {
        std::string beginning;
        int result;
        int times;
    };
    std::string outputOf(const std::string& command);

    Journal& journal_;
    int interruptions_ = 0;
    int readError_ = 0;
    int closingInterruptions_ = 0;
    std::vector<Result> results_;
    std::map<std::string, int> failures_;
    std::map<std::string, std::string> outputs_;
    std::map<FILE*, std::string> streams_;
};

#endif
