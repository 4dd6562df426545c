// Constructs a driver on a virtual unit, and prints how long it took to restore the unit's navigation
// database: from the end of the configuration to the end of the last frame's wait. Then it runs the same
// shell commands and makes the same pauses once more, without the library.
//
//   frames=40 took=1.026833 limit=1.024181 parts=1.023228 pauses=43 needless=0
//
// `limit` is what the second run took, each pause of the described length; `parts` what the library's own
// shell commands and pauses took; `needless` counts reads of the port that followed the one with the frame's
// acknowledgement.

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "Calls.h"
#include "GPSHAL.h"
#include "Repetition.h"

namespace {

constexpr char kRestoredFrame[] = R"(echo -e "\xb5\x62\x13\x80)";
constexpr char kCompleted[] = "UBXConfig: Restoring navigation database completed";

struct Restore {
    calls::Calls made;
    double seconds = 0;
};

Restore restoreAmong(const calls::Calls& all) {
    const auto end = firstCall(all.begin(), all.end(), calls::Kind::Log, kCompleted);
    const auto first = firstCall(all.begin(), end, calls::Kind::Shell, kRestoredFrame);
    Restore restore;
    if (end != all.end() && first != all.begin()) {
        restore.made.assign(first, end);
        restore.seconds = end->begin - std::prev(first)->end;
    }
    return restore;
}

long count(const calls::Calls& made, calls::Kind kind) {
    return std::count_if(made.begin(), made.end(),
                         [kind](const calls::Call& call) { return call.kind == kind; });
}

long needlessReads(const calls::Calls& made) {
    long needless = 0;
    bool isAcknowledged = false;
    for (const calls::Call& call : made) {
        if (call.kind == calls::Kind::Shell)
            isAcknowledged = false;
        if (call.kind != calls::Kind::Read)
            continue;
        needless += isAcknowledged ? 1 : 0;
        isAcknowledged = isAcknowledged || endOfMgaAck(call.text) != std::string::npos;
    }
    return needless;
}

// The port is held open, as the library has it.
double withoutTheLibrary(const calls::Calls& made) {
    FILE* const port = fopen("/dev/ttymxc1", "rb");
    const double seconds = repeat(made, kReadLoopStep);
    if (port != nullptr)
        fclose(port);
    return seconds;
}

} // namespace

int main() {
    needUnit();
    GPSHAL::GetNewInstance(); // never destroyed: that would save a database over the one that was restored
    const Restore restore = restoreAmong(calls::noted());
    if (restore.seconds <= 0) {
        std::fprintf(stderr, "nothing was restored\n");
        return 1;
    }
    std::printf("frames=%ld took=%.6f limit=%.6f parts=%.6f pauses=%ld needless=%ld\n",
                count(restore.made, calls::Kind::Shell), restore.seconds, withoutTheLibrary(restore.made),
                shellAndPauses(restore.made), count(restore.made, calls::Kind::Pause),
                needlessReads(restore.made));
    std::fflush(nullptr);
    _exit(0);
}
