#ifndef VIRTUALGPSD_H
#define VIRTUALGPSD_H

#include <gps.h>

#include <deque>
#include <functional>

#include "Journal.h"
#include "VirtualClock.h"

/// What answers the library in place of the script: libgps itself, for instance. See VirtualGpsd for the
/// order of calls.
class OtherLibgps {
public:
    virtual ~OtherLibgps() = default;
    virtual int open(gps_data_t* record) = 0;
    virtual int stream(gps_data_t* record, unsigned int flags) = 0;
    virtual bool waiting(const gps_data_t* record, int timeoutMicros) = 0;
    virtual int read(gps_data_t* record) = 0;
    virtual int close(gps_data_t* record) = 0;
};

/// libgps and the gpsd behind it, as a script: each `gps_waiting` of the library plays the next cycle.
///
/// Keeps to libgps's contract (tests/contracts runs one suite against both): after a failed open a wait is
/// over at once, and what would crash there (a read of a session that isn't open, a second close, a session
/// without its buffer) fails the test.
class VirtualGpsd {
public:
    using Duration = VirtualClock::Duration;
    /// Writes a report into the library's record, the mask `set` included.
    using Fill = std::function<void(gps_data_t&)>;

    VirtualGpsd(Journal& journal, VirtualClock& clock) : journal_(journal), clock_(clock) {}

    // --- The script -----------------------------------------------------------------------------------

    /// A report comes after `wait` and is read well.
    void reports(Fill fill, Duration wait = Duration(0));
    /// Something comes after `wait`, but the read gives `result` (0 and -1 are failures) and leaves the
    /// record as it was, unless `fill` says otherwise.
    void readGives(int result, Duration wait = Duration(0), Fill fill = nullptr);
    /// Nothing comes: `times` waits last to their end.
    void isSilent(int times = 1);
    /// A signal ends `times` waits at once, as if they had brought nothing.
    void isInterrupted(int times = 1);
    /// When the script is over: a report each `period`. Without this gpsd is silent.
    void reportsEvery(Duration period, Fill fill);
    /// A report of a fix (status, mode and position), which sets the mask anew, as libgps has it.
    void sendsAFix(double latitude, double longitude);
    /// A report of the sky, each satellite used, which adds its bit to the mask. With more satellites than
    /// the record has room for it is refused: mask and number stay, but the satellites are overwritten.
    void sendsTheSky(int satellites);
    /// A report of the sky without satellites, which only tells how many are `used`. An older libgps takes it
    /// for an empty sky; a newer one knows no sky from then on.
    void sendsDilutionsAlone(int used, double pdop);
    /// When the script is over: half a line is there. Waits are over at once and reads give 0, until more
    /// comes.
    void stopsInALine();
    /// When the script is over: gpsd has gone. Waits are over at once and reads give -1, for ever.
    void dies();
    /// Runs as the last scripted cycle begins; the usual way to end the reader's loop.
    std::function<void()> whenLastCycleBegins;

    /// The next `gps_open` gives `result` and leaves `descriptor` in the record.
    void openGives(int result, int descriptor);
    /// The next `gps_open` connects, finds no memory for the session's buffer and gives up with -1; the
    /// descriptor stays in the record.
    void openFindsNoMemory();
    /// The next `gps_open` keeps its buffer elsewhere than in the record.
    void openKeepsItsBufferElsewhere();

    /// Everything below goes there, and neither script nor journal has a part in it, while it is set.
    OtherLibgps* other = nullptr;

    // --- What happened --------------------------------------------------------------------------------

    bool isOpen() const { return record_ != nullptr; }
    int opens() const;
    int closes() const;
    /// `errno` as the library left it before `gps_stream`.
    int errnoAtStream = 0;

    // --- libgps ---------------------------------------------------------------------------------------

    int open(const char* host, const char* port, gps_data_t* record);
    int stream(gps_data_t* record, unsigned int flags, const void* argument);
    bool waiting(const gps_data_t* record, int timeoutMicros);
    int read(gps_data_t* record);
    int close(gps_data_t* record);
    bool ownsDescriptor(int descriptor) const {
        return descriptor >= kFirstFake && descriptor == descriptor_;
    }
    void descriptorClosed(int descriptor);

    static constexpr int kDescriptor = 700; // a fake: nothing is opened

private:
    static constexpr int kFirstFake = 600;

    struct Cycle {
        Duration wait;
        bool arrives;
        int result;
        Fill fill;
        bool interrupted = false;
    };
    Cycle nextCycle();

    Journal& journal_;
    VirtualClock& clock_;
    std::deque<Cycle> script_;
    std::function<Cycle()> afterwards_;
    Cycle current_{};
    int openResult_ = 0;
    int nextDescriptor_ = kDescriptor;
    bool openHasMemory_ = true;
    bool openShowsItsBuffer_ = true;
    bool hasBuffer_ = false;
    int descriptor_ = -1;
    const gps_data_t* record_ = nullptr;
    int opens_ = 0;
    int closes_ = 0;
};

#endif
