#include "StreamOutput.h"

#include <cstring>

namespace monitor {

void StreamOutput::take(const telemetry::Line& line) {
    const std::string text = textOf(line);
    if (text.empty())
        return;
    last_ = line.at;
    const bool readings = std::holds_alternative<telemetry::ReadingsTaken>(line.content);
    const bool fits = (lost_ == 0 || tellOfLost(line.at)) && stream_.put(text, readings);
    if (!fits && !readings)
        ++lost_;
}

bool StreamOutput::tellOfLost(const telemetry::Moment& at) {
    if (!stream_.put(textOf({at, telemetry::Lost{lost_}})))
        return false;
    lost_ = 0;
    return true;
}

std::string StreamOutput::problem() const {
    return std::string("the standard output can't be written: ") +
           (stream_.error() != 0 ? std::strerror(stream_.error()) : "nobody reads it");
}

bool StreamOutput::finish() {
    const bool isWritten = stream_.finish(patienceS_);
    isWhole_ = isWritten && (lost_ == 0 || (tellOfLost(last_) && stream_.finish(patienceS_)));
    return isWhole_;
}

} // namespace monitor
