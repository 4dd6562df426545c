#ifndef GPSDSESSION_H
#define GPSDSESSION_H

#include <gps.h>

#include <memory>

/// A connection to the gpsd of this machine through libgps: one session record, closed and released once,
/// and safe where libgps is not.
///
/// One thread uses it from its construction to its end: the reader. Order of use: `open`, `watch`, then
/// `wait` and `read` in turns, also when the opening failed (each wait is then over at once, and each read
/// fails). Nothing here throws or logs.
class GpsdSession {
public:
    /// Takes memory for the record, about 24 kB, all zeros. Without memory the session behaves like one whose
    /// opening failed.
    GpsdSession();
    /// Closes what is still open and releases the record.
    ~GpsdSession();
    GpsdSession(const GpsdSession&) = delete;
    GpsdSession& operator=(const GpsdSession&) = delete;

    /// Connects to gpsd on "localhost", port "2947". 0, or negative when it failed: libgps's own result (-1
    /// also when it had no memory), `-EMFILE` when the connection's descriptor is one that libgps can't wait
    /// on (1024 and above), `-ENOMEM` when there is no record to connect with. Should libgps fail and leave a
    /// descriptor that it can wait on, the session counts as connected all the same.
    ///
    /// Blocks as long as the system tries to connect. Where somebody listens on the port and never accepts,
    /// that is more than two minutes for each address of "localhost". To be called once.
    int open();

    /// Asks gpsd for reports as JSON. What it answers shows in the waits.
    void watch();

    /// Waits for a report for up to 5 s; false when none came, also when a signal interrupted the wait. True
    /// at once when a read would not block: a report is there, gpsd has gone, or the session isn't connected.
    bool wait() const;

    /// Reads one report into the record; true when it brought data. False for half a report, for a gpsd that
    /// has gone and for a session that isn't connected: the record then holds what it held before.
    bool read();

    /// What the last report left, or null when there is no record. Its mask `set` collects: a report of a fix
    /// sets it anew, a sky view adds its bit, others leave it. Valid until the session goes, also once
    /// closed.
    const gps_data_t* record() const { return record_.get(); }

    /// Ends the connection; the record stays. The session then behaves like one that isn't connected. No
    /// effect when it is closed already.
    void close();

private:
    std::unique_ptr<gps_data_t> record_; ///< null without memory
    bool open_ = false;                  ///< gps_open was called, gps_close not yet: a second one would crash
    bool usable_ = false;                ///< gps_read may be called: without a connection it would crash
};

#endif
