#include "DaysGround.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gps.h>
#include <pthread.h>
#include <sys/time.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "Bytes.h"
#include "GpsRecord.h"
#include "PlatformHooks.h"

namespace {

constexpr char kDevice[] = "/dev/ttymxc1";
constexpr char kDump[] = "/data/NavigationDatabaseDump";

// --- Contexts for threads -------------------------------------------------------------------------------

constexpr int kMostContexts = 4; // the application, the worker, the reader and its successor
constexpr std::size_t kStackSize = 256 * 1024;
constexpr pthread_t kFirstHandle = 0x7E570001;

struct Context {
    ucontext_t registers;
    void* (*body)(void*);
    void* argument;
    int64_t wake;   ///< INT64_MAX while it waits for another's end
    uint64_t since; ///< who sleeps longer wakes first
    int joiner;     ///< who waits for its end, or -1
    bool isUsed;
    bool hasEnded;
};

Context contexts[kMostContexts];
alignas(16) char stacks[kMostContexts][kStackSize];
int running = 0;
int64_t clockUs = 0;
uint64_t sleeps = 0;

int nextToRun() {
    int next = -1;
    for (int i = 0; i < kMostContexts; ++i) {
        const Context& c = contexts[i];
        if (!c.isUsed || c.hasEnded || c.wake == INT64_MAX)
            continue;
        if (next == -1 || c.wake < contexts[next].wake ||
            (c.wake == contexts[next].wake && c.since < contexts[next].since))
            next = i;
    }
    return next;
}

void handOver() {
    const int before = running;
    running = nextToRun();
    if (running == -1)
        abort(); // a deadlock
    clockUs = contexts[running].wake > clockUs ? contexts[running].wake : clockUs;
    if (running != before)
        swapcontext(&contexts[before].registers, &contexts[running].registers);
}

void sleepTo(int64_t wake) {
    contexts[running].wake = wake;
    contexts[running].since = ++sleeps;
    handOver();
}

void runBody() {
    Context& me = contexts[running];
    me.body(me.argument);
    me.hasEnded = true;
    if (me.joiner != -1)
        contexts[me.joiner].wake = clockUs;
    handOver();
}

/// The next definition after the program's own.
template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define REAL(name) real(&::name, #name)

/// The same of a function that gives a time: where the machine's `time_t` has 32 bits, the headers of the C
/// library give 64-bit time's, under names of their own.
#if defined __USE_TIME_BITS64 && __TIMESIZE == 32
#define REAL_OF_TIME(name) real(&::name, "__" #name "64")
#else
#define REAL_OF_TIME(name) REAL(name)
#endif

// --- The world ------------------------------------------------------------------------------------------

bool isUp = false;
days::Gpsd gpsd;
bool isStarted = false;
days::Tally counted;
days::Memory live;
std::string folder;   ///< of its own
std::string portFile; ///< in it

bool gpsdLives() { return isStarted && gpsd.livesAt(clockUs); }

bool begins(const char* text, const char* beginning) {
    return strncmp(text, beginning, strlen(beginning)) == 0;
}

void count(const char* text) {
    using namespace days;
    const auto has = [text](const char* part) { return strstr(text, part) != nullptr; };
    if (has("restarting GPSD"))
        ++counted[Restarts];
    else if (has("cycles without any data"))
        ++counted[EmptyCycleLines];
    else if (has("additional start delay"))
        ++counted[StartDelayLines];
    else if (begins(text, "GPS is ") || begins(text, "Current GPS data: "))
        ++counted[DetailLines];
    else if (begins(text, "GPSD GetSatellites: "))
        ++counted[SatelliteLines];
    else if (begins(text, "UBXConfig: "))
        ++counted[ConfigurationLines];
    else
        ++counted[OtherLines];
}

constexpr PlatformHooks kHooks = {
    [] { return days::kStartTick + static_cast<uint32_t>(clockUs / days::kSecond); },
    [](uint32_t milliseconds) {
        sleepTo(clockUs + int64_t{milliseconds} * 1000);
        return 0u;
    },
    [](long& seconds) {
        seconds = static_cast<long>(days::kStartUtc + clockUs / days::kSecond);
        return true;
    },
    [](int, const char*, int, const char* text) { count(text); },
    [] { return true; },
    [](GPSAntennaState& state) {
        state = static_cast<GPSAntennaState>(days::antennaAt(clockUs));
        return 0u;
    },
    [](const char*) { return true; }};

/// What gpsd says at this time.
void fill(gps_data_t& record, int64_t report) {
    record.set = STATUS_SET | MODE_SET | SATELLITE_SET;
    record.satellites_visible = 12;
    record.satellites_used = 8;
    if (!gpsd.hasAFixAt(report))
        return;
    const days::Place place = days::placeOf(days::Gpsd::fixOf(report));
    record.set |= TIME_SET | LATLON_SET | ALTITUDE_SET | SPEED_SET | TRACK_SET | HERR_SET | TIMERR_SET;
    setTime(record, days::kStartUtc + report / days::kSecond, 0);
    record.fix.latitude = (place.latitude + 0.5) / 1e6;
    record.fix.longitude = (place.longitude + 0.5) / 1e6;
    setAltitude(record, 500);
    record.fix.speed = 14;
    record.fix.epx = record.fix.epy = days::kErrorMetres;
    record.dop.pdop = static_cast<double>(days::kPdop);
}

/// What answers a frame goes into the port's file.
void answer(const std::string& command) {
    const std::size_t begin = sizeof "echo -e \"" - 1;
    const Bytes reply = contentReceiver(unescaped(command.substr(begin, command.rfind('"') - begin)));
    const int file = open(portFile.c_str(), O_WRONLY | O_APPEND);
    if (write(file, reply.data(), reply.size()) < 0)
        abort();
    close(file);
}

} // namespace

// --- For the test ---------------------------------------------------------------------------------------

int64_t days::now() { return clockUs; }
void days::sleepUntil(int64_t time) { sleepTo(time); }
days::Tally& days::tally() { return counted; }
days::Memory days::memory() { return live; }

int days::threads() {
    int count = 0;
    for (int i = 1; i < kMostContexts; ++i)
        count += contexts[i].isUsed && !contexts[i].hasEnded;
    return count;
}

void days::setUp() {
    contexts[0].isUsed = true;
    contexts[0].joiner = -1;
    folder = std::filesystem::temp_directory_path() / "ruxogps-days-XXXXXX";
    if (mkdtemp(&folder[0]) == nullptr)
        abort();
    portFile = folder + "/port";
    close(open(portFile.c_str(), O_WRONLY | O_CREAT, 0600));
    tzset(); // the C library reads the time zone once
    setPlatformHooks(&kHooks);
    isUp = true;
}

void days::tearDown() {
    isUp = false;
    setPlatformHooks(nullptr);
    std::filesystem::remove_all(folder);
}

// --- The C library --------------------------------------------------------------------------------------

// The whole program's, the library's `new` included. What is freed counts as gone at once, whatever the C
// library keeps, and a block counts with the bytes that were requested: how much the C library gives on top
// depends on what lay there before.

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

struct Block {
    const void* begin;
    std::size_t size;
};

/// All that are held, each at the place of its address or behind, where that was taken.
constexpr std::size_t kPlaces = std::size_t{1} << 16;
Block blocks[kPlaces];

std::size_t placeOf(const void* begin) { return reinterpret_cast<uintptr_t>(begin) / 16 % kPlaces; }

void* taken(void* memory, std::size_t size) {
    if (memory == nullptr)
        return nullptr;
    std::size_t at = placeOf(memory);
    while (blocks[at].begin != nullptr)
        at = (at + 1) % kPlaces;
    blocks[at] = {memory, size};
    live.bytes += static_cast<int64_t>(size);
    if (++live.blocks > static_cast<int64_t>(kPlaces / 2))
        abort();
    return memory;
}

/// Those behind it move up, so that none stands behind a gap.
void closeGap(std::size_t gap) {
    for (std::size_t at = (gap + 1) % kPlaces; blocks[at].begin != nullptr; at = (at + 1) % kPlaces) {
        const std::size_t wayFromItsPlace = (at - placeOf(blocks[at].begin)) % kPlaces;
        if (wayFromItsPlace < (at - gap) % kPlaces)
            continue;
        blocks[gap] = blocks[at];
        gap = at;
    }
    blocks[gap] = {};
}

/// Returns its size. Aligned blocks, which the library has none of, are unknown.
std::size_t given(const void* memory) {
    if (memory == nullptr)
        return 0;
    std::size_t at = placeOf(memory);
    while (blocks[at].begin != memory && blocks[at].begin != nullptr)
        at = (at + 1) % kPlaces;
    if (blocks[at].begin == nullptr)
        return 0;
    const std::size_t size = blocks[at].size;
    --live.blocks;
    live.bytes -= static_cast<int64_t>(size);
    closeGap(at);
    return size;
}

} // namespace

extern "C" void* malloc(std::size_t size) noexcept { return taken(__libc_malloc(size), size); }

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
    return taken(__libc_calloc(count, size), count * size);
}

extern "C" void* realloc(void* memory, std::size_t size) noexcept {
    const std::size_t before = given(memory);
    void* const moved = taken(__libc_realloc(memory, size), size);
    if (moved == nullptr && size != 0)
        taken(memory, before);
    return moved;
}

extern "C" void free(void* memory) noexcept {
    given(memory);
    __libc_free(memory);
}

extern "C" time_t time(time_t* result) noexcept {
    if (!isUp)
        return REAL_OF_TIME(time)(result);
    const auto utc = static_cast<time_t>(days::kStartUtc + clockUs / days::kSecond);
    if (result != nullptr)
        *result = utc;
    return utc;
}

extern "C" int gettimeofday(timeval* result, void* zone) noexcept {
    if (!isUp)
        return REAL_OF_TIME(gettimeofday)(result, zone);
    *result = {static_cast<time_t>(days::kStartUtc + clockUs / days::kSecond),
               static_cast<suseconds_t>(clockUs % days::kSecond)};
    return 0;
}

extern "C" int usleep(useconds_t microseconds) {
    sleepTo(clockUs + microseconds);
    return 0;
}

extern "C" unsigned int sleep(unsigned int seconds) {
    sleepTo(clockUs + int64_t{seconds} * days::kSecond);
    return 0;
}

extern "C" int pthread_create(pthread_t* handle, const pthread_attr_t*, void* (*body)(void*),
                              void* argument) noexcept {
    for (int i = 1; i < kMostContexts; ++i) {
        Context& c = contexts[i];
        if (c.isUsed)
            continue;
        c.body = body;
        c.argument = argument;
        c.wake = clockUs;
        c.since = ++sleeps;
        c.joiner = -1;
        c.isUsed = true;
        c.hasEnded = false;
        getcontext(&c.registers);
        c.registers.uc_stack.ss_sp = stacks[i];
        c.registers.uc_stack.ss_size = kStackSize;
        c.registers.uc_link = nullptr;
        makecontext(&c.registers, runBody, 0);
        *handle = kFirstHandle + static_cast<pthread_t>(i);
        ++counted[days::Readers]; // the worker is one as well
        return 0;
    }
    return EAGAIN;
}

extern "C" int pthread_join(pthread_t handle, void**) {
    Context& c = contexts[handle - kFirstHandle];
    if (!c.hasEnded) {
        c.joiner = running;
        sleepTo(INT64_MAX);
    }
    c.isUsed = false;
    return 0;
}

// --- Programs and files ---------------------------------------------------------------------------------

extern "C" int system(const char* command) {
    if (begins(command, "echo -e "))
        answer(command);
    return 0;
}

extern "C" FILE* popen(const char* command, const char*) {
    if (begins(command, "gpsd ")) {
        gpsd.start(clockUs);
        isStarted = true;
    }
    if (begins(command, "kill "))
        isStarted = false;
    const bool isFound = begins(command, "pidof ") && gpsdLives();
    static char found[] = "1234\n";
    return isFound ? fmemopen(found, sizeof found - 1, "r") : fopen("/dev/null", "r");
}

extern "C" int pclose(FILE* stream) { return fclose(stream); }

/// Like a terminal's, bytes of the time before an open are gone.
static FILE* openStream(FILE* (*next)(const char*, const char*), const char* path, const char* mode) {
    if (!isUp || strcmp(path, kDevice) != 0)
        return next(path, mode);
    if (truncate(portFile.c_str(), 0) != 0)
        abort();
    return next(portFile.c_str(), mode);
}

// With 64-bit offsets the C library's headers make these names those of the 64-bit forms.
#ifndef __USE_FILE_OFFSET64
extern "C" FILE* fopen(const char* path, const char* mode) { return openStream(REAL(fopen), path, mode); }
#endif
extern "C" FILE* fopen64(const char* path, const char* mode) { return openStream(REAL(fopen64), path, mode); }

/// There is never a database to restore, and none can be saved.
static int openFile(int (*next)(const char*, int, ...), const char* path, int flags, va_list arguments) {
    const mode_t rights = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    if (strcmp(path, kDump) != 0)
        return next(path, flags, rights);
    errno = ENOENT;
    return -1;
}

#ifndef __USE_FILE_OFFSET64
extern "C" int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int descriptor = openFile(REAL(open), path, flags, arguments);
    va_end(arguments);
    return descriptor;
}
#endif
extern "C" int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int descriptor = openFile(REAL(open64), path, flags, arguments);
    va_end(arguments);
    return descriptor;
}

// --- libgps ---------------------------------------------------------------------------------------------

namespace {

int64_t report = 0; ///< the one that is there to be read, or 0 for none

} // namespace

extern "C" int gps_open(const char*, const char*, gps_data_t* record) {
    ++counted[days::Sessions];
    record->gps_fd = 700;
    return 0;
}

extern "C" int gps_stream(gps_data_t*, unsigned int, decltype(gpsrecord::thirdArgument(gps_stream))) {
    return 0;
}

extern "C" bool gps_waiting(const gps_data_t*, int) {
    const int64_t next = days::Gpsd::nextReport(clockUs);
    report = gpsd.livesAt(next) ? next : 0;
    const int64_t end = report != 0 ? report : gpsd.diesAt();
    sleepTo(end > clockUs ? end : clockUs);
    return true;
}

#if GPSD_API_MAJOR_VERSION >= 7
extern "C" int gps_read(gps_data_t* record, char*, int) {
#else
extern "C" int gps_read(gps_data_t* record) {
#endif
    if (report == 0)
        return -1;
    fill(*record, report);
    return 250;
}

extern "C" int gps_close(gps_data_t*) { return 0; }
