#ifndef REALLIBGPS_H
#define REALLIBGPS_H

#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "FuzzInput.h"
#include "GpsReport.h"

/// libgps itself, past the test program's own definitions, on a session whose other end is here. A session is
/// opened on a loopback port of our own and then put on a pair of sockets: what is sent there is there at
/// once, and no port is used up.
class RealLibgps {
public:
    RealLibgps() {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        demand(bind(listener_, generic, size) == 0 && listen(listener_, 1) == 0 &&
                   getsockname(listener_, generic, &size) == 0,
               "there is a loopback port");
        port_ = std::to_string(ntohs(address.sin_port));
    }
    ~RealLibgps() {
        ::close(listener_);
        hangUp();
    }
    RealLibgps(const RealLibgps&) = delete;
    RealLibgps& operator=(const RealLibgps&) = delete;

    int open(gps_data_t* record) {
        const int result = next<decltype(&gps_open)>("gps_open")("127.0.0.1", port_.c_str(), record);
        demand(result == 0, "libgps connects");
        const int flags = fcntl(record->gps_fd, F_GETFL); // whether a read may block is libgps's choice
        dropConnection();
        int ends[2];
        demand(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are sockets");
        dup3(ends[0], record->gps_fd, O_CLOEXEC);
        fcntl(record->gps_fd, F_SETFL, flags);
        ::close(ends[0]);
        peer_ = ends[1];
        return result;
    }
    int stream(gps_data_t* record, unsigned int flags) {
        return next<decltype(&gps_stream)>("gps_stream")(record, flags, nullptr);
    }
    /// Whether a wait would be over at once.
    bool waiting(const gps_data_t* record) { return next<decltype(&gps_waiting)>("gps_waiting")(record, 0); }
    int read(gps_data_t* record) { return gpsreport::read(next<decltype(&gps_read)>("gps_read"), record); }
    int close(gps_data_t* record) {
        const int result = next<decltype(&gps_close)>("gps_close")(record);
        hangUp();
        return result;
    }

    /// As gpsd: sends, or goes.
    void sends(const std::string& text) {
        if (peer_ >= 0)
            demand(send(peer_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size()),
                   "libgps's end takes it");
    }
    void hangUp() {
        if (peer_ >= 0)
            ::close(peer_);
        peer_ = -1;
    }

private:
    template <typename Function>
    static Function next(const char* name) {
        return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    }
    /// Without a port that waits for a minute.
    void dropConnection() const {
        const int connection = accept(listener_, nullptr, nullptr);
        const linger atOnce = {1, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        ::close(connection);
    }

    int listener_ = -1;
    int peer_ = -1;
    std::string port_;
};

#endif
