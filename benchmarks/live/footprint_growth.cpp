// footprint_growth [REPORTS [RESTARTS]]
//
// The service with everything around it replaced inside the process: gpsd, the shell, the port, each pause
// and the clock. So its two threads live through a million reports and a thousand restarts in seconds. The
// reader and the worker take turns: four reports, then a cycle. Each report is a second of the service's
// clock. After each session's reports gpsd is silent until the watchdog restarts everything.
//
// From time to time, with the reader at rest, a line tells what the process holds:
// "sample REPORTS RESTARTS HEAP_BYTES OWN_KB THREADS DESCRIPTORS".

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gps.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "GPSAdapter.h"
#include "IdleApplication.h"

namespace {

constexpr unsigned long kReports = 1000000;
constexpr unsigned long kRestarts = 1000;
constexpr unsigned long kSamples = 50;
constexpr unsigned long kReportsATurn = 4;
constexpr useconds_t kReaderPauseUs = 50000;
constexpr useconds_t kWorkerPauseUs = 250000;
constexpr time_t kBegin = 1767225600;
constexpr int kSatellites = 30;
constexpr char kPort[] = "/dev/ttymxc1";

unsigned long reportsWanted = kReports;
unsigned long reportsASession = kReports / kRestarts;

template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// --- What the process holds -----------------------------------------------------------------------------

/// The pages that the process has written. Those of files count as private or not with what others have
/// mapped, and as dirty until they are on the disk.
unsigned long ownKilobytes() {
    static char text[4096];
    const int file = open("/proc/self/smaps_rollup", O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    text[length > 0 ? length : 0] = '\0';
    constexpr char kName[] = "Anonymous:";
    const char* const line = std::strstr(text, kName);
    return line == nullptr ? 0 : std::strtoul(line + sizeof kName - 1, nullptr, 10);
}

unsigned long entries(const char* folder) {
    DIR* const directory = opendir(folder);
    unsigned long count = 0;
    while (readdir(directory) != nullptr)
        ++count;
    closedir(directory);
    return count - 2; // itself and its parent
}

void tell(unsigned long reports, unsigned long restarts) {
    const struct mallinfo2 heap = mallinfo2();
    std::printf("sample %lu %lu %zu %lu %lu %lu\n", reports, restarts, heap.uordblks + heap.hblkhd,
                ownKilobytes(), entries("/proc/self/task"), entries("/proc/self/fd") - 1);
    std::fflush(stdout);
}

// --- Turns ----------------------------------------------------------------------------------------------

enum class Turn { Reader, Worker, Nobody };

std::mutex mutex;
std::condition_variable changed;
std::atomic<uint32_t> cycles{0};       // of the worker; they are the tick, so that each one is a second later
std::atomic<unsigned long> reports{0}; // the service's clock, which anybody may read
Turn turn = Turn::Reader;              // guarded by the mutex, as is what follows
unsigned long reportsOfSession = 0;
unsigned long sessions = 0;
unsigned long samples = 0;

bool isSilent() { return reportsOfSession >= reportsASession; }

void give(Turn next) {
    if (turn != Turn::Nobody)
        turn = next;
    changed.notify_all();
}

void waitFor(std::unique_lock<std::mutex>& hold, Turn mine) {
    changed.wait(hold, [mine] { return turn == mine || turn == Turn::Nobody; });
}

void readerPauses() {
    if (reports % kReportsATurn != 0)
        return;
    std::unique_lock<std::mutex> hold(mutex);
    give(Turn::Worker);
    waitFor(hold, Turn::Reader);
}

/// The reader rests meanwhile, or has ended.
void workerPauses() {
    std::unique_lock<std::mutex> hold(mutex);
    ++cycles;
    const unsigned long halfASession = reportsASession / 2; // samples are taken there, far from a restart
    if (turn != Turn::Nobody && reports >= halfASession + samples * (reportsWanted / kSamples)) {
        tell(reports, sessions - 1);
        ++samples;
    }
    give(reports < reportsWanted + halfASession ? Turn::Reader : Turn::Nobody);
    waitFor(hold, Turn::Worker);
}

void waitForTheEnd() {
    std::unique_lock<std::mutex> hold(mutex);
    changed.wait(hold, [] { return turn == Turn::Nobody; });
}

// --- gpsd -----------------------------------------------------------------------------------------------

void fillReport(gps_data_t& record, unsigned long number) {
    const double angle = static_cast<double>(number) / 1000;
    record.set = STATUS_SET | TIME_SET | MODE_SET | LATLON_SET | ALTITUDE_SET | TRACK_SET | SPEED_SET |
                 CLIMB_SET | SATELLITE_SET | TIMERR_SET | HERR_SET | VERR_SET | SPEEDERR_SET;
    record.fix.mode = MODE_3D;
    record.fix.time.tv_sec = kBegin + static_cast<time_t>(number);
    record.fix.latitude = 47 + 0.01 * std::sin(angle);
    record.fix.longitude = 8 + 0.01 * std::cos(angle);
    record.fix.altMSL = 500;
    record.fix.speed = 20;
    record.dop.pdop = record.dop.hdop = 1.5;
    record.satellites_visible = record.satellites_used = kSatellites;
    for (int i = 0; i < kSatellites; ++i) {
        record.skyview[i].PRN = static_cast<short>(i + 1);
        record.skyview[i].ss = 30 + i % 10;
        record.skyview[i].used = true;
    }
}

// --- The receiver's port --------------------------------------------------------------------------------

bool gpsdRuns = false;
const int port = memfd_create("port", MFD_CLOEXEC);

/// The acknowledgement of the frame in a command like `echo -e "\xb5\x62\x06\x00...`.
void acknowledge(const char* command) {
    const char* const frame = std::strstr(command, "\\xb5");
    if (frame == nullptr)
        return;
    unsigned char reply[] = {0xb5, 0x62, 0x05, 0x01, 0x02, 0x00, 0, 0, 0, 0};
    reply[6] = static_cast<unsigned char>(std::strtoul(frame + 10, nullptr, 16));
    reply[7] = static_cast<unsigned char>(std::strtoul(frame + 14, nullptr, 16));
    for (int i = 2; i < 8; ++i) {
        reply[8] = static_cast<unsigned char>(reply[8] + reply[i]);
        reply[9] = static_cast<unsigned char>(reply[9] + reply[8]);
    }
    if (pwrite(port, reply, sizeof reply, lseek(port, 0, SEEK_END)) != static_cast<ssize_t>(sizeof reply))
        std::abort();
}

} // namespace

// --- In place of the C library's, libgps's and the platform's ---------------------------------------------

extern "C" {

time_t time(time_t* seconds) noexcept {
    const time_t now = kBegin + static_cast<time_t>(reports);
    if (seconds != nullptr)
        *seconds = now;
    return now;
}

int usleep(useconds_t microseconds) {
    if (microseconds == kReaderPauseUs)
        readerPauses();
    else if (microseconds == kWorkerPauseUs)
        workerPauses();
    return 0;
}

unsigned int sleep(unsigned int) { return 0; }

int system(const char* command) {
    if (std::strncmp(command, "echo -e", 7) == 0)
        acknowledge(command);
    return 0;
}

FILE* popen(const char* command, const char* mode) {
    if (std::strncmp(command, "gpsd", 4) == 0)
        gpsdRuns = true;
    if (std::strncmp(command, "kill", 4) == 0)
        gpsdRuns = false;
    const bool answers = gpsdRuns && std::strncmp(command, "pidof", 5) == 0;
    return fopen(answers ? "/proc/self/stat" : "/dev/null", mode);
}

int pclose(FILE* stream) { return fclose(stream); }

FILE* fopen(const char* path, const char* mode) {
    static const auto next = real(&fopen, "fopen");
    if (std::strcmp(path, kPort) != 0)
        return next(path, mode);
    if (ftruncate(port, 0) != 0)
        std::abort();
    return next(("/proc/self/fd/" + std::to_string(port)).c_str(), mode);
}

/// There is no saved navigation database, and none is saved on this host.
int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t access = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (std::strncmp(path, "/data/", 6) == 0) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, access));
}

/// A session has a descriptor and memory, as a real one: one that is forgotten shows.
int gps_open(const char*, const char*, gps_data_t* record) {
    const std::lock_guard<std::mutex> hold(mutex);
    record->gps_fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    record->privdata = std::malloc(20000);
    reportsOfSession = 0;
    ++sessions;
    return 0;
}

int gps_stream(gps_data_t*, unsigned int, void*) { return 0; }

bool gps_waiting(const gps_data_t*, int) {
    const std::lock_guard<std::mutex> hold(mutex);
    return !isSilent();
}

int gps_read(gps_data_t* record, char*, int) {
    const std::lock_guard<std::mutex> hold(mutex);
    ++reportsOfSession;
    fillReport(*record, ++reports);
    return 1;
}

/// The reader gives up a silent gpsd: the worker's next cycle is the one that restarts everything.
int gps_close(gps_data_t* record) {
    close(static_cast<int>(record->gps_fd));
    std::free(record->privdata);
    const std::lock_guard<std::mutex> hold(mutex);
    if (isSilent())
        give(Turn::Worker);
    return 0;
}
}

uint32_t ruxo_systemtick() { return 1000 + cycles; }

uint32_t ruxosleep_interruptible(uint32_t) { return 0; }

// --- The whole ------------------------------------------------------------------------------------------

namespace {

void run() {
    IdleApplication application;
    GPSAdapter adapter(&application);
    GPSParams params;
    adapter.GetParams(params);
    params.geofencesEnabled = true;
    params.geofences[0].name.setStr("area");
    params.geofences[0].latitude = 47000000;
    params.geofences[0].longitude = 8000000;
    params.geofences[0].width = params.geofences[0].height = 10000;
    adapter.SetParams(params);
    adapter.Initialize();
    adapter.Start();
    waitForTheEnd();
    adapter.Stop();
    adapter.Finalize();
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1)
        reportsWanted = std::strtoul(argv[1], nullptr, 10);
    reportsASession = reportsWanted / (argc > 2 ? std::strtoul(argv[2], nullptr, 10) : kRestarts);
    run();
    return EXIT_SUCCESS;
}
