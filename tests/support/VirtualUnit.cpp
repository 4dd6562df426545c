#include "VirtualUnit.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "FailingMemory.h"
#include "PlatformHooks.h"

namespace {

VirtualUnit* currentUnit = nullptr;

// --- The platform's libraries ---------------------------------------------------------------------------

uint32_t systemtick() { return currentUnit->clock.tick(); }

uint32_t sleepMilliseconds(uint32_t milliseconds) {
    const GroundMemory memory;
    currentUnit->journal.add("ruxosleep " + std::to_string(milliseconds));
    currentUnit->clock.advance(std::chrono::milliseconds(milliseconds));
    return 0;
}

bool utcSeconds(long& seconds) {
    seconds = static_cast<long>(currentUnit->clock.utc());
    return true;
}

void logLine(int level, const char* source, int line, const char* text) {
    const GroundMemory memory;
    currentUnit->log.add({level, source, line, text});
    currentUnit->journal.add("log " + std::to_string(level) + " " + source + " " + text);
}

bool halPresent() { return currentUnit->hal.present; }

unsigned int antennaState(GPSAntennaState& state) {
    const GroundMemory memory;
    VirtualHal& hal = currentUnit->hal;
    {
        const GroundLock lock;
        ++hal.queries;
    }
    if (hal.atQuery)
        hal.atQuery();
    const GroundLock lock;
    if (hal.antennaResult == 0 ? hal.fillsState : hal.fillsStateOnError)
        state = hal.antennaState;
    return hal.antennaResult;
}

bool removeFile(const char* path) {
    const GroundMemory memory;
    currentUnit->journal.add(std::string("remove ") + path);
    if (currentUnit->atRemoval)
        currentUnit->atRemoval();
    return std::string(path) == "/var/run/gpsd.pid" || unlink(path) == 0; // other paths are the host's
}

constexpr PlatformHooks kHooks = {systemtick, sleepMilliseconds, utcSeconds, logLine,
                                  halPresent, antennaState,      removeFile};

} // namespace

void abortTest(const char* why) {
    fprintf(stderr, "The test can't go on: %s\n", why);
    // Without the lock: the program is at its end, and somebody may hold it.
    abort();
}

VirtualUnit::VirtualUnit()
    : shell(journal), port(journal, shell), gpsd(journal, clock), threads(journal, clock),
      semaphores(journal, clock) {
    if (currentUnit != nullptr)
        abortTest("two virtual units at once");
    currentUnit = this;
    setPlatformHooks(&kHooks);
}

VirtualUnit::~VirtualUnit() {
    EXPECT_EQ(shell.openStreams(), 0u) << "streams of popen that were not closed";
    setPlatformHooks(nullptr);
    currentUnit = nullptr;
}

VirtualUnit* VirtualUnit::current() { return currentUnit; }

void VirtualUnit::forget() {
    journal.clear();
    log.clear();
    port.sent.clear();
    port.reads = 0;
}
