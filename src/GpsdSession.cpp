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
constexpr int kNoDescriptor = -6; // -1 and -2 would name libgps's shared memory and D-Bus

std::unique_ptr<gps_data_t> newRecord() {
    try {
        return std::make_unique<gps_data_t>(); // all zeros, as libgps wants it
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

GpsdSession::GpsdSession() : record_(newRecord()) {}

GpsdSession::~GpsdSession() { close(); }

int GpsdSession::open() {
    if (record_ == nullptr)
        return -ENOMEM;
    int rc = gps_open(kHost, kPort, record_.get());
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
    usable_ = rc >= 0 || record_->gps_fd >= 0;
    return rc;
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
