#ifndef LOGOUTPUT_H
#define LOGOUTPUT_H

#include <string>

#include "Output.h"

namespace monitor {

/// `--log`: until the end standard error is this file, for the library's log and the words of its commands.
class LogOutput final : public Output {
public:
    /// Opens the file, to write behind what is there. Throws FileError. A new one goes again where it is not
    /// begun.
    explicit LogOutput(const std::string& file);
    ~LogOutput() override;
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

    /// From here on standard error is the file.
    void begin();

    void take(const telemetry::Line&) override {}
    bool hidesStandardError() const override { return true; }

    /// Gives standard error back.
    bool finish() override;

private:
    std::string file_;
    bool isLeftover_; ///< nobody has asked for it yet
    int log_;
    int former_ = -1;
};

} // namespace monitor

#endif
