// From a report of gpsd's to the snapshot: what the reader does for a report above a bare loop that waits,
// reads and pauses, and how that grows with the satellites. libgps is the real one, and so is the socket that
// it waits on; gpsd's end of it is held here. The reader runs on this thread, with a snapshot of its own.
//
//   report.*    all that a report costs, libgps's parsing included: hundreds of times as much as the rest
//   own.*       the same after libgps has parsed the report once: what a client adds to it

#include <alloca.h>
#include <dlfcn.h>
#include <gps.h>
#include <libgpsmm.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Counting.h"
#include "GPSHAL_RUXO_3.h"
#include "Reports.h"
#include "Stubs.h"

namespace {

constexpr char kHost[] = "localhost";
constexpr char kPort[] = "2947";
constexpr int kWaitUs = 5000000;
constexpr useconds_t kPauseUs = 50000;
constexpr int kWatchFlags = WATCH_ENABLE | WATCH_JSON;

// --- gpsd's end of the connection -------------------------------------------------------------------------

/// What the connected client gets: a fix at once, then with each pause the next report, as often as was asked
/// for; and then it is to stop. Each report comes by itself, as to a client that follows gpsd closely.
struct Feed {
    const std::string* report;
    int left;
    bool* stop;
    int parsed; ///< so many reports go through libgps; those that follow find its record as it is
    int end = -1;

    void send(const std::string& text) const {
        if (::send(end, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
            notTheSame("a report that could not be sent");
    }
    void sendNext() {
        if (left-- == 0)
            *stop = true;
        else if (parsed > 0)
            send(*report);
    }
};

Feed feed;

constexpr int kEvery = 1 << 30;
constexpr int kFixAndOne = 2;

/// The next definition after the program's own: libgps's.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The program's definitions are found before those of the C library and of libgps.
extern "C" {

/// Whoever connects in this program is libgps.
int connect(int descriptor, const sockaddr*, socklen_t) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0 || dup2(ends[0], descriptor) < 0)
        return -1;
    close(ends[0]);
    feed.end = ends[1];
    feed.send(fixReport(0));
    return 0;
}

bool gps_waiting(const gps_data_t* record, int timeout) {
    static auto* const real = next<decltype(gps_waiting)>("gps_waiting");
    return feed.parsed <= 0 || real(record, timeout);
}

int gps_read(gps_data_t* record, char* message, int size) {
    static auto* const real = next<decltype(gps_read)>("gps_read");
    return feed.parsed-- <= 0 ? 1 : real(record, message, size);
}
}

namespace {

// --- Who reads --------------------------------------------------------------------------------------------

/// A report, and where in a page the stack lies while it is read. libgps compares texts on the stack, and the
/// C library takes longer over one that may reach across a page's end, so the count would vary with what
/// stands in the environment. Here none does.
struct Scene {
    std::string report;
    std::size_t place;
};

constexpr std::size_t kPlaceOfFix = 1024;
constexpr std::size_t kPlaceOfSky = 2944;
constexpr std::size_t kPageSize = 4096;

template <typename Client>
__attribute__((noinline)) void callAt(std::size_t place, Client client) {
    const char here = 0;
    keep(*static_cast<char*>(alloca(reinterpret_cast<uintptr_t>(&here) % kPageSize + place)));
    client();
}

/// Has `client` take `n` reports after a fix, which comes first: its values are what the mask goes on naming.
/// The first `parsed` of all go through libgps.
template <typename Client>
void take(const Scene& scene, int n, int parsed, bool& stop, Client client) {
    stop = false;
    feed = {&scene.report, n, &stop, parsed};
    stubs::atPause = [] { feed.sendNext(); };
    callAt(scene.place, client);
    stubs::atPause = nullptr;
    close(feed.end);
}

void takeWithReader(const Scene& scene, int n, int parsed) {
    static ReaderBlock snapshot;
    sem_init(&semaphore, 0, 1); // as `Start` does
    take(scene, n, parsed, snapshot.stopRequested, [] { GPSHAL_RUXO_3::ReadData(&snapshot); });
}

bool peersStop; ///< set by the feed at the last report

/// What any client has to do, and no more: the values stay in libgps's record.
void takeBare(const Scene& scene, int n, int parsed) {
    take(scene, n, parsed, peersStop, [] {
        const auto record = std::make_unique<gps_data_t>();
        gps_open(kHost, kPort, record.get());
        gps_stream(record.get(), kWatchFlags, nullptr);
        while (!peersStop) {
            if (gps_waiting(record.get(), kWaitUs))
                gps_read(record.get(), nullptr, 0);
            usleep(kPauseUs);
        }
        gps_close(record.get());
    });
}

/// libgps's own client for C++, which copies the whole record for each report.
void takeWithLibgpsmm(const Scene& scene, int n, int parsed) {
    take(scene, n, parsed, peersStop, [] {
        gpsmm session(kHost, kPort);
        session.stream(kWatchFlags);
        while (!peersStop) {
            if (session.waiting(kWaitUs))
                keep(session.read());
            usleep(kPauseUs);
        }
    });
}

// --- What is counted --------------------------------------------------------------------------------------

/// One scene, for the reader and for the bare loop.
struct Both {
    Both(const char* key, const Scene& s, int parsed)
        : scene(s), ours(key, "ours", [=](int n) { takeWithReader(scene, n, parsed); }),
          bare(key, "bare-loop", [=](int n) { takeBare(scene, n, parsed); }) {}

    Scene scene;
    Counted ours;
    Counted bare;
};

/// The same with libgps's own client.
struct All : Both {
    All(const char* key, const Scene& s, int parsed)
        : Both(key, s, parsed),
          libgpsmm(key, "libgpsmm", [=](int n) { takeWithLibgpsmm(scene, n, parsed); }) {}

    Counted libgpsmm;
};

const Scene kFixScene{fixReport(0), kPlaceOfFix};
Scene skyScene(int satellites) { return {skyReport(satellites), kPlaceOfSky}; }

const Both ownFix("own.fix", kFixScene, kFixAndOne);
const Both ownSky0("own.sky-0", skyScene(0), kFixAndOne);
const Both ownSky30("own.sky-30", skyScene(30), kFixAndOne);
const All fix("report.fix", kFixScene, kEvery);
const All sky0("report.sky-0", skyScene(0), kEvery);
const Both sky24("report.sky-24", skyScene(24), kEvery);
const All sky30("report.sky-30", skyScene(30), kEvery);
const Both sky72("report.sky-72", skyScene(72), kEvery);
const Both sky140("report.sky-140", skyScene(140), kEvery); // as many as libgps has room for

} // namespace
