#ifndef CHANNELS_H
#define CHANNELS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "simulator/Descriptor.h"
#include "simulator/ProtocolEngine.h"

/// The program's files: control pipe, reset line, state file. One thread uses them; nothing blocks.

namespace simulator {

/// A named pipe from which lines are read. It is made where there is none, and then removed in the end.
class ControlPipe {
public:
    /// Without a pipe: `descriptor` is -1.
    ControlPipe() = default;
    ~ControlPipe();
    ControlPipe(const ControlPipe&) = delete;
    ControlPipe& operator=(const ControlPipe&) = delete;

    /// To be called once. Throws std::system_error, also where something that is no pipe stands there.
    void open(const std::string& path);
    /// Readable when somebody has written; -1 before `open`.
    int32_t descriptor() const { return descriptor_.number(); }
    /// The complete lines that have come in, without their line ends; none before `open`.
    std::vector<std::string> readLines();

private:
    Descriptor descriptor_;
    bool made_ = false;
    std::string path_;
    std::string rest_; // of a line whose end has not come yet
};

/// Watches a GPIO's value file. The folder is watched, so the file may be replaced or come later.
class ResetLineWatch {
public:
    /// To be called once. Throws std::system_error where the file's folder can't be watched.
    void open(const std::string& path);
    /// Readable when something happened in the folder; -1 before `open`.
    int32_t descriptor() const { return descriptor_.number(); }
    /// The levels that the line took since the last call, in order; false is asserted (0). None before `open`
    /// and while a write is under way; a content that is neither 0 nor 1 is no level.
    std::vector<bool> readLevels();

private:
    bool takeEvents();

    Descriptor descriptor_;
    std::string path_;
    int32_t writes_ = 0;  // completed since the level was last judged
    bool settled_ = true; // no write is under way
};

/// Tells how late the program wakes up, where the host has no time for it: what it hears and says then comes
/// at other moments than a receiver's.
class LatenessWatch {
public:
    /// The descriptors stay the caller's.
    explicit LatenessWatch(std::vector<int32_t> descriptors) : descriptors_(std::move(descriptors)) {}
    /// Writes a line to each descriptor when it was later than any time before, by a millisecond at least.
    void wasLate(Duration late);

private:
    std::vector<int32_t> descriptors_;
    Duration largest_{0};
};

/// Replaces the file with these lines in one step: a reader sees the old content or the new. Writes into
/// `path`.new first. False if it can't.
bool writeState(const std::string& path, const std::vector<KeyValue>& lines);

} // namespace simulator

#endif
