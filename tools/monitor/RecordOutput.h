#ifndef RECORDOUTPUT_H
#define RECORDOUTPUT_H

#include <stdexcept>
#include <string>
#include <sys/types.h>

#include "Output.h"

namespace monitor {

/// A file that can't be written to as it should; what() is a sentence without a full stop.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `--record`: each line is handed to the system as soon as it is taken, behind those of earlier starts.
class RecordOutput final : public Output {
public:
    /// Throws FileError for a file that is something else, or that can't be written, or that another monitor
    /// writes: it stays as it was.
    explicit RecordOutput(std::string name);
    ~RecordOutput() override;
    RecordOutput(const RecordOutput&) = delete;
    RecordOutput& operator=(const RecordOutput&) = delete;

    void take(const telemetry::Line& line) override;
    State state() const override { return error_ == 0 ? State::Going : State::Broken; }
    std::string problem() const override;

private:
    void claim();
    void letGo() const;
    void checkWhatIsThere() const;
    bool append(const std::string& text);

    std::string name_;
    bool isNew_; ///< and removed again where nothing comes
    int descriptor_;
    int error_ = 0;
};

} // namespace monitor

#endif
