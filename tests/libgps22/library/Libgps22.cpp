// The stand-in's five functions: a libgps on a machine without a gpsd. Nothing is ever connected to, so each
// gives what it gives there.

#include <gps.h>

#include <cerrno>

namespace {

constexpr int kNobodyListens = -6; // how that generation names a connection that was refused

int fails() {
    errno = EBADF;
    return -1;
}

} // namespace

int gps_open(const char*, const char*, gps_data_t* record) {
    record->gps_fd = kNobodyListens;
    record->privdata = nullptr;
    errno = kNobodyListens;
    return -1;
}

int gps_stream(gps_data_t*, unsigned int, void*) { return fails(); }

bool gps_waiting(const gps_data_t*, int) { return true; } // a read would not block: it fails

int gps_read(gps_data_t*) { return fails(); }

int gps_close(gps_data_t* record) {
    record->gps_fd = -1;
    return fails();
}
