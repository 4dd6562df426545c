#include "LogOutput.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "RecordOutput.h"

namespace monitor {

LogOutput::LogOutput(const std::string& file)
    : file_(file), isLeftover_(access(file.c_str(), F_OK) != 0),
      log_(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {
    if (log_ < 0)
        throw FileError(file + " can't be written: " + std::strerror(errno));
}

LogOutput::~LogOutput() {
    finish();
    if (isLeftover_)
        unlink(file_.c_str());
    close(log_);
}

void LogOutput::begin() {
    isLeftover_ = false;
    former_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(log_, STDERR_FILENO);
}

bool LogOutput::finish() {
    if (former_ < 0)
        return true;
    dup2(former_, STDERR_FILENO);
    close(former_);
    former_ = -1;
    return true;
}

} // namespace monitor
