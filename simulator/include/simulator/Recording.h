// A recorded file (NMEA sentences, UBX frames, or both) as epochs that can be played at their own pace.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Epoch.h"

namespace simulator {

// What the receiver sent between two changes of its time. Together the frames are the recorded bytes, in
// order.
struct RecordedEpoch {
    Duration sinceStart{0}; // of the recording
    Duration timeOfDay{-1}; // UTC as recorded; negative where nothing in the recording up to here has a time
    std::vector<std::string> frames;
};

class Recording {
public:
    // Takes a file's bytes apart. Lines at its beginning that start with '#' are its header and not played.
    // What is neither a sentence nor a UBX frame with a right checksum is kept as it stands, and goes to its
    // neighbours' epoch.
    static Recording parse(std::string_view file);

    const std::vector<RecordedEpoch>& epochs() const { return epochs_; }
    // From the first epoch to the end of the last, which lasts as long as the one before it.
    Duration duration() const;

private:
    std::vector<RecordedEpoch> epochs_;
};

// The frame as if `epoch` had been sent at `utc`: dates, times, weeks and times of week rewritten, with new
// checksums. Empty fields stay empty; frames without a time, or with a wrong checksum, stay as they are.
std::string restamped(const std::string& frame, const RecordedEpoch& epoch, UtcTime utc);

// The position that a recorded frame reports: RMC or UBX-NAV-PVT.
struct RecordedFix {
    bool valid = false;
    double latitudeDeg = 0;
    double longitudeDeg = 0;
};
// None where the frame is of another kind or broken; not valid where it says that there is no fix.
std::optional<RecordedFix> recordedFix(const std::string& frame);

// The header of a capture file.
std::string captureHeader(UtcTime utc, const std::string& origin);

} // namespace simulator
