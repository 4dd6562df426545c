#ifndef GPSDSESSION_H
#define GPSDSESSION_H

#include <gps.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "GpsReport.h"

/// A connection to gpsd through libgps: one session record, closed and released once.
class GpsdSession {
public:
    GpsdSession() : record_(static_cast<gps_data_t*>(calloc(1, sizeof(gps_data_t)))) {}
    ~GpsdSession() {
        close();
        free(record_);
    }
    GpsdSession(const GpsdSession&) = delete;
    GpsdSession& operator=(const GpsdSession&) = delete;

    bool exists() const { return record_ != nullptr; }
    const gps_data_t& record() const { return *record_; }

    /// Connects to gpsd; returns libgps's result, negative when it failed.
    int open();
    /// Asks for reports.
    void watch() { gps_stream(record_, kWatchFlags, nullptr); }
    /// Waits for a report; false when none came in time.
    bool wait() const { return gps_waiting(record_, kReportTimeoutUs); }
    /// Reads one report; true when it brought data.
    bool read();
    void close();

private:
    static constexpr unsigned int kWatchFlags = WATCH_ENABLE | WATCH_JSON;
    static constexpr int kReportTimeoutUs = 5000000;
    static constexpr int kNoDescriptor = -6; // -1 and -2 would name libgps's shared memory and D-Bus

    gps_data_t* record_;
    bool open_ = false;
    bool usable_ = false;
};

inline int GpsdSession::open() {
    int rc = gps_open("localhost", "2947", record_);
    open_ = true;
    // libgps waits with select, which aborts the process on a descriptor beyond its set. Only the descriptor
    // is closed here: after gps_close, libgps would wait on a released session and crash.
    if (rc >= 0 && record_->gps_fd >= FD_SETSIZE) {
        ::close(static_cast<int>(record_->gps_fd));
        record_->gps_fd = kNoDescriptor;
        rc = -EMFILE;
    }
    // A failed open may leave the number of another source, which gps_waiting would crash on.
    if (rc < 0 && record_->gps_fd < 0)
        record_->gps_fd = kNoDescriptor;
    // After a failed open gps_read would crash; it counts as failed without being called.
    usable_ = rc >= 0 || record_->gps_fd >= 0;
    return rc;
}

inline bool GpsdSession::read() {
    const int rc = usable_ ? gpsreport::read(gps_read, record_) : -1;
    return rc != 0 && rc != -1;
}

inline void GpsdSession::close() {
    if (open_)
        gps_close(record_);
    open_ = false;
}

#endif
