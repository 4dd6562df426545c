// unit_use rounds COUNT | two-at-once SECONDS | serve SECONDS
//
// An application that uses the library hard, on the unit. It prints lines as unit_probe does, with the unit's
// time.
//
//   rounds COUNT          starts and stops the service so often, in every tenth round from initialising to
//                         finalising; "held" lines tell what the process holds after the first rounds and
//                         in the end
//   two-at-once SECONDS   two adapters that serve at once for so long; then the second one is destroyed
//   serve SECONDS         serves for so long, and then waits for a new fix
//
// Exit status: 0; 1 when the service didn't come back to a fix; 2 for wrong arguments.

#include <dirent.h>
#include <malloc.h>

#include <cctype>
#include <cstdlib>
#include <memory>
#include <string>

#include "UnitLines.h"

namespace {

constexpr int kExitMissed = 1;
constexpr int kExitUsage = 2;
constexpr double kReportWaitSeconds = 5; // the longest that a thread of the library's is joined for

void runFor(double seconds) {
    for (const double end = unitTime() + seconds; unitTime() < end;)
        usleep(kLookPeriodUs);
}

// --- Fifty times ----------------------------------------------------------------------------------------

int entriesOf(const char* folder, bool numbersAlone = false) {
    DIR* const entries = opendir(folder);
    int count = 0;
    while (const dirent* const entry = readdir(entries))
        count += !numbersAlone || isdigit(static_cast<unsigned char>(entry->d_name[0])) ? 1 : 0;
    closedir(entries);
    return count;
}

long residentKib() {
    long size = 0;
    long resident = 0;
    FILE* const file = fopen("/proc/self/statm", "r");
    if (file == nullptr || fscanf(file, "%ld %ld", &size, &resident) != 2)
        resident = -1;
    if (file != nullptr)
        fclose(file);
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

/// A thread that was joined may be listed for a moment still. One that stays is seen in the figures.
void awaitThreadsEnd() {
    for (const double end = unitTime() + kReportWaitSeconds; unitTime() < end; usleep(kLookPeriodUs))
        if (entriesOf("/proc/self/task", true) == 1)
            return;
}

void printHeld(const char* when) {
    awaitThreadsEnd();
    const auto memory = mallinfo2();
    print("held %s bytes=%zu resident_kib=%ld descriptors=%d threads=%d processes=%d", when,
          memory.uordblks + memory.hblkhd, residentKib(), entriesOf("/proc/self/fd"),
          entriesOf("/proc/self/task"), entriesOf("/proc", true));
}

void startAndStop(int rounds) {
    GPSAdapter adapter(nullptr);
    adapter.Initialize();
    for (int round = 1; round <= rounds; ++round) {
        if (round % 10 == 0) {
            adapter.Finalize();
            adapter.Initialize();
        }
        const unsigned int started = adapter.Start();
        if (round == 1 || round == rounds)
            awaitFix(adapter, "in-round");
        const unsigned int stopped = adapter.Stop();
        if (started != 0 || stopped != 0)
            print("failed round=%d start=0x%08X stop=0x%08X", round, started, stopped);
        if (round == 2 || round == rounds)
            printHeld(round == 2 ? "first" : "last");
    }
    adapter.Finalize();
}

// --- Two at once ----------------------------------------------------------------------------------------

void serveTwice(double seconds) {
    Counts counts;
    GPSAdapter first(&counts);
    first.Initialize();
    first.Start();
    awaitFix(first, "alone");
    auto second = std::make_unique<GPSAdapter>(&counts);
    print("second initialize=0x%08X", second->Initialize());
    print("second start=0x%08X", second->Start());
    runFor(seconds);
    second.reset();
    print("second destroyed=1");
    awaitFix(first, "alone-again", kRecoveryWithinSeconds);
    print("first stop=0x%08X", first.Stop());
}

/// Meanwhile another process serves as well.
void serve(double seconds) {
    GPSAdapter adapter(nullptr);
    adapter.Initialize();
    adapter.Start();
    awaitFix(adapter, "alone");
    runFor(seconds);
    awaitFix(adapter, "alone-again", kRecoveryWithinSeconds);
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 3 ? argv[1] : "";
    const double number = argc == 3 ? strtod(argv[2], nullptr) : 0;
    if (mode == "rounds")
        startAndStop(static_cast<int>(number));
    else if (mode == "serve")
        serve(number);
    else if (mode == "two-at-once")
        serveTwice(number);
    else
        return kExitUsage;
    return missed ? kExitMissed : 0;
}
