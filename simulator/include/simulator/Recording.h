#ifndef RECORDING_H
#define RECORDING_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Epoch.h"

/// A recorded file (NMEA sentences, UBX frames, or both) as epochs that can be played at their own pace. Pure
/// functions and values: the caller reads the file and knows the time.

namespace simulator {

/// What the receiver sent between two changes of its time. Together the frames are the recorded bytes, in
/// order.
struct RecordedEpoch {
    Duration sinceStart{0}; // of the recording
    Duration timeOfDay{-1}; // UTC as recorded; negative where nothing in the recording up to here has a time
    std::vector<std::string> frames;
};

/// What a recording was recognised as.
struct RecordedContent {
    std::size_t sentences = 0;       // NMEA, with the right checksum
    std::size_t frames = 0;          // UBX, with the right checksum
    std::size_t unreadableBytes = 0; // all else behind the header
};

/// "1200 sentences, 1 frame and 17 unreadable bytes".
std::string described(const RecordedContent& content);

class Recording {
public:
    /// Takes a file's bytes apart; any bytes will do. Lines at its beginning that start with '#' are its
    /// header and not played. What is neither a sentence nor a UBX frame with a right checksum is kept as it
    /// stands, and goes to its neighbours' epoch.
    static Recording parse(std::string_view file);

    /// At least one, in order; their times never fall.
    const std::vector<RecordedEpoch>& epochs() const { return epochs_; }
    /// What was recognised. A file without a sentence and without a frame is no recording of a receiver,
    /// which the caller has to judge.
    const RecordedContent& content() const { return content_; }
    /// From the first epoch to the end of the last, which lasts as long as the one before it.
    Duration duration() const;

private:
    void append(std::string_view frame);
    void count(std::string_view frame);

    std::vector<RecordedEpoch> epochs_;
    RecordedContent content_;
};

/// The frame as if `epoch` had been sent at `utc`: dates, times, weeks and times of week rewritten, with new
/// checksums. Empty fields stay empty; frames without a time, or with a wrong checksum, stay as they are.
std::string restamped(const std::string& frame, const RecordedEpoch& epoch, UtcTime utc);

/// The position that a recorded frame reports: RMC or UBX-NAV-PVT.
struct RecordedFix {
    bool valid = false;
    double latitudeDeg = 0;
    double longitudeDeg = 0;
};

/// None where the frame is of another kind or broken; not valid where it says that there is no fix.
std::optional<RecordedFix> recordedFix(const std::string& frame);

/// The header of a capture file: three lines that name receiver, date and origin.
std::string captureHeader(UtcTime utc, const std::string& origin);

} // namespace simulator

#endif
