// An application of the GPS service, written against its public headers alone.
//
// It brings the service up, tells of every event in one line (the unit's time in UTC, the position in
// degrees, what happened), brings the service down after a given time and closes with a summary line. Its
// exit status says whether everything that was expected was really seen.
//
// The service calls the application on a thread of its own, mostly with its lock held. EventQueue therefore
// only takes notes; this thread takes them from there five times a second and may ask whatever it likes.

#include <signal.h>

#include <csignal>
#include <cstdio>

#include "Drive.h"
#include "Expectations.h"
#include "OnAUnit.h"
#include "Wrapping.h"

namespace {

enum ExitStatus {
    kAllSeen = 0,
    kSomethingMissing = 1,
    kWrongOption = 2,
    kNoService = 3,
    kAllThatCouldBeSeen = 4,
};

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

void stopOnSignal() {
    struct sigaction action = {};
    action.sa_handler = requestStop;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
}

/// The closing lines; the summary line is the last one.
void close(const Options& options, const Tally& tally, const Verdict& verdict) {
    for (const std::string& sentence : verdict.excused)
        printLine("not due: " + sentence);
    for (const std::string& sentence : verdict.unmet)
        printLine("not seen: " + sentence);
    if (!options.summary)
        return;
    for (const std::string& sentence : inWords(options, tally, verdict))
        printLine(sentence);
    printLine(summary(tally));
}

ExitStatus statusOf(const Verdict& verdict) {
    if (!verdict.unmet.empty())
        return kSomethingMissing;
    return verdict.excused.empty() ? kAllSeen : kAllThatCouldBeSeen;
}

ExitStatus drive(const Options& options) {
    Drive drive(options);
    if (!drive.start()) {
        drive.recorder().end(kNoService);
        return kNoService;
    }
    drive.run(stopRequested);
    drive.finish();
    const Verdict verdict = judge(options, drive.tally());
    const ExitStatus status = statusOf(verdict);
    drive.recorder().end(status);
    if (!drive.recorder().isWhole())
        std::fprintf(stderr, "drive: not all of the recording could be written to '%s'\n",
                     options.recordFile.c_str());
    close(options, drive.tally(), verdict);
    return drive.recorder().isWhole() ? status : kSomethingMissing;
}

void print(const Options& options) {
    if (options.help)
        std::fputs(usage(), stdout);
    else
        std::puts("drive (ruxogps) " RUXOGPS_VERSION);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parseOptions(argc, argv);
        if (options.help || options.version) {
            print(options);
            return kAllSeen;
        }
        if (!isOnAUnit("drive"))
            return kNoService;
        stopOnSignal();
        return drive(options);
    } catch (const OptionError& error) {
        std::fprintf(stderr, "drive: %s (--help lists the options)\n", error.what());
        return kWrongOption;
    }
}
