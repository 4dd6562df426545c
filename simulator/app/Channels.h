// The program's files: control pipe, state file, reset line.
#pragma once

#include <string>
#include <vector>

#include "simulator/ProtocolEngine.h"

namespace simulator {

// A named pipe from which lines are read. It is made where there is none, and then removed in the end.
class ControlPipe {
public:
    ControlPipe() = default; // without a pipe: descriptor() is -1
    ~ControlPipe();
    ControlPipe(const ControlPipe&) = delete;
    ControlPipe& operator=(const ControlPipe&) = delete;

    // Throws std::system_error.
    void open(const std::string& path);
    int descriptor() const { return descriptor_; }
    // The complete lines that have come in.
    std::vector<std::string> readLines();

private:
    int descriptor_ = -1;
    bool made_ = false;
    std::string path_;
    std::string rest_;
};

// Watches a GPIO's value file. The folder is watched, so the file may be replaced or come later.
class ResetLineWatch {
public:
    ResetLineWatch() = default; // without a file: descriptor() is -1
    ~ResetLineWatch();
    ResetLineWatch(const ResetLineWatch&) = delete;
    ResetLineWatch& operator=(const ResetLineWatch&) = delete;

    // Throws std::system_error.
    void open(const std::string& path);
    int descriptor() const { return descriptor_; }
    // The levels that the line took since the last call, in order; false is asserted (0).
    std::vector<bool> readLevels();

private:
    bool takeEvents();

    int descriptor_ = -1;
    std::string path_;
    int writes_ = 0;      // completed since the level was last judged
    bool settled_ = true; // no write is under way
};

// Replaces the file with these lines in one step: a reader sees the old content or the new. False if it
// can't.
bool writeState(const std::string& path, const std::vector<KeyValue>& lines);

} // namespace simulator
