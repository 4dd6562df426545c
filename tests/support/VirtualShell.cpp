#include "VirtualShell.h"

#include <cerrno>

namespace {

FILE* streamOf(const std::string& output) {
    FILE* stream = tmpfile();
    fputs(output.c_str(), stream);
    rewind(stream);
    return stream;
}

} // namespace

// --- gpsd -----------------------------------------------------------------------------------------------

void VirtualDaemon::kill() {
    if (ignoresKill)
        return;
    checksLeft = checksUntilGone;
    runsThen = false;
}

void VirtualDaemon::start() {
    if (neverComesUp)
        return;
    checksLeft = checksUntilUp;
    runsThen = true;
}

bool VirtualDaemon::check() {
    if (checksLeft > 0 && --checksLeft == 0)
        running = runsThen;
    return running;
}

// --- Shell ----------------------------------------------------------------------------------------------

void VirtualShell::systemGives(const std::string& beginning, int result, int times) {
    results_.push_back({beginning, result, times});
}

void VirtualShell::popenFails(const std::string& command, int times) { failures_[command] += times; }

void VirtualShell::answers(const std::string& command, const std::string& output) {
    outputs_[command] = output;
}

int VirtualShell::system(const std::string& command) {
    journal_.add("system " + command);
    for (Result& r : results_) {
        if (r.times <= 0 || command.compare(0, r.beginning.size(), r.beginning) != 0)
            continue;
        --r.times;
        return r.result;
    }
    for (const auto& listener : listeners)
        listener(command);
    return 0;
}

FILE* VirtualShell::open(const std::string& command, const std::string& mode) {
    const bool fails = failures_[command] > 0;
    journal_.add("popen " + command + (mode == "r" ? "" : " mode " + mode) + (fails ? " failed" : ""));
    if (fails) {
        --failures_[command];
        errno = EMFILE;
        return nullptr;
    }
    for (const auto& listener : listeners)
        listener(command);
    FILE* stream = streamOf(outputOf(command));
    streams_[stream] = command;
    return stream;
}

std::string VirtualShell::outputOf(const std::string& command) {
    const auto scripted = outputs_.find(command);
    if (scripted != outputs_.end())
        return scripted->second;
    if (command == "pidof gpsd")
        return daemon.check() ? "1234\n" : "";
    if (command == "kill -9 $(pidof gpsd)")
        daemon.kill();
    else if (command.compare(0, 5, "gpsd ") == 0)
        daemon.start();
    return "";
}

bool VirtualShell::failsToRead(FILE* stream) {
    if (interruptions_ == 0)
        return false;
    --interruptions_;
    stream->_flags |= _IO_ERR_SEEN; // what the C library sets, and clearerr clears
    errno = readError_;
    return true;
}

int VirtualShell::close(FILE* stream) {
    journal_.add("pclose " + streams_[stream]);
    streams_.erase(stream);
    const int result = fclose(stream);
    if (closingInterruptions_ == 0)
        return result;
    --closingInterruptions_;
    errno = EINTR;
    return -1;
}
