#include "GpsdSession.h"

#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "GpsReport.h"

namespace {

constexpr char kHost[] = "localhost";
constexpr char kPort[] = "2947";
constexpr unsigned int kWatchFlags = WATCH_ENABLE | WATCH_JSON;
constexpr int kReportTimeoutUs = 5000000;
constexpr int kNoDescriptor = -6; // -1 and -2 name libgps's shared memory and D-Bus, and it would crash

std::unique_ptr<gps_data_t> newRecord() {
    try {
        return std::make_unique<gps_data_t>(); // all zeros, as libgps wants it
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Whether libgps can wait on what an open with the result `rc` left, and read from it. It waits with select,
/// which aborts the process on a descriptor beyond its set. An open that failed for want of memory leaves a
/// descriptor but no buffer, and libgps would look into that without asking; where it keeps the buffer of an
/// open that succeeded is its own affair.
bool isConnected(int rc, const gps_data_t& record) {
    if (record.gps_fd >= FD_SETSIZE)
        return false;
    return rc >= 0 || (record.gps_fd >= 0 && record.privdata != nullptr);
}

} // namespace

GpsdSession::GpsdSession() : record_(newRecord()) {}

GpsdSession::~GpsdSession() { close(); }

int GpsdSession::open() {
    if (record_ == nullptr)
        return -ENOMEM;
    const int rc = gps_open(kHost, kPort, record_.get());
    open_ = true;
    usable_ = isConnected(rc, *record_);
    if (usable_)
        return rc;
    // Only the descriptor is closed here: after gps_close, libgps would wait on a released session and crash.
    // A 0 stood in the record before, and is the application's.
    if (record_->gps_fd > 0)
        ::close(static_cast<int>(record_->gps_fd));
    record_->gps_fd = kNoDescriptor;
    return rc < 0 ? rc : -EMFILE;
}

void GpsdSession::watch() {
    if (open_)
        gps_stream(record_.get(), kWatchFlags, nullptr);
}

bool GpsdSession::wait() const { return !open_ || gps_waiting(record_.get(), kReportTimeoutUs); }

bool GpsdSession::read() {
    const int rc = usable_ ? gpsreport::read(gps_read, record_.get()) : -1;
    return rc != 0 && rc != -1;
}

void GpsdSession::close() {
    if (open_)
        gps_close(record_.get());
    open_ = false;
    usable_ = false;
}
