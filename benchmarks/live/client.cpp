// The same as client.c in C++, as it would be written there: the session and the snapshot are objects, the
// satellites a vector, the last time a string. No stream and no thread, so it links
// libgps, libstdc++, libgcc_s and libc. The client in C gets the same run-time through libgps.

#include <gps.h>

#include <csignal>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Footprint.h"

namespace {

constexpr int kWaitUs = 5000000;

volatile std::sig_atomic_t asked = 0;

class Session {
public:
    Session() : record_(std::make_unique<gps_data_t>()) {
        if (gps_open("localhost", "2947", record_.get()) < 0)
            throw std::runtime_error("there is no gpsd");
        gps_stream(record_.get(), WATCH_ENABLE | WATCH_JSON, nullptr);
    }
    ~Session() { gps_close(record_.get()); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool readReport() {
        return gps_waiting(record_.get(), kWaitUs) && gps_read(record_.get(), nullptr, 0) > 0;
    }
    const gps_data_t& record() const { return *record_; }

private:
    std::unique_ptr<gps_data_t> record_;
};

struct Snapshot {
    gps_fix_t fix = {};
    std::vector<satellite_t> satellites;
    std::string time;

    void copy(const gps_data_t& record) {
        fix = record.fix;
        time = std::to_string(record.fix.time.tv_sec);
        satellites.assign(record.skyview, record.skyview + record.satellites_visible);
    }
};

extern "C" void onSignal(int) { asked = 1; }

void handleSignal() {
    struct sigaction action = {}; // not signal(): a wait of libgps's shall be cut short
    action.sa_handler = onSignal;
    sigaction(SIGUSR1, &action, nullptr);
}

[[noreturn]] void serve() {
    Session session;
    Snapshot snapshot;
    unsigned long reports = 0;
    for (;;) {
        if (session.readReport()) {
            snapshot.copy(session.record());
            ++reports;
        }
        if (asked != 0)
            tellFootprint(reports);
        asked = 0;
    }
}

} // namespace

int main() {
    handleSignal();
    try {
        serve();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "client: %s\n", error.what());
        return 1;
    }
}
