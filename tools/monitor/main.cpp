// ruxogps-monitor: runs the GPS service on a unit and shows what it does, written against its public headers
// alone.
//
// The service is on a thread of its own (Service), which takes notes of its events (EventQueue) and asks for
// its readings. The main thread (Monitor) takes lines from there and hands them to the outputs, none of which
// waits for a reader.

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "ExportOutput.h"
#include "GeoJson.h"
#include "Gpx.h"
#include "JsonOutput.h"
#include "LinesOutput.h"
#include "LiveView.h"
#include "LogOutput.h"
#include "Monitor.h"
#include "OnAUnit.h"
#include "OnceOutput.h"
#include "Options.h"
#include "RecordOutput.h"
#include "Signals.h"
#include "WholeFile.h"

namespace {

using namespace monitor;

enum ExitStatus {
    kFine = 0,
    kNotFine = 1,
    kWrongOption = 2,
};

constexpr char kProgram[] = "ruxogps-monitor";

int report(const std::string& problem, ExitStatus status) {
    std::fprintf(stderr, "%s: %s\n", kProgram, problem.c_str());
    return status;
}

/// Where one of the three is closed, the next file that the library opens would get its number, the
/// receiver's port for example, and what is meant for a reader would go there. Writing to the place holder
/// fails.
void fillStandardDescriptors() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

/// The library writes its log there with its lock held. Where nobody reads, a line of it shall be lost
/// instead of the service being held up. Opened anew, the descriptor is the monitor's own: the others who
/// write there don't change.
void neverWaitForStandardError() {
    struct stat status = {};
    if (fstat(STDERR_FILENO, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)))
        return;
    const int anew = open("/proc/self/fd/2", O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (anew < 0)
        return;
    dup2(anew, STDERR_FILENO);
    close(anew);
}

// --- The outputs ----------------------------------------------------------------------------------------

bool hasNothingChosen(const Options& options) { return !options.lines && !options.json && !options.once; }

std::unique_ptr<Output> makeExport(const std::string& file, ExportOutput::Writer writer) {
    if (const auto obstacle = telemetry::whyNotWritable(file))
        throw FileError(*obstacle);
    return std::make_unique<ExportOutput>(file, std::move(writer));
}

struct OutputRow {
    bool (*isWanted)(const Options& options);
    std::unique_ptr<Output> (*make)(const Options& options, const Wishes& wishes, Requests& requests);
};

/// Files first: a wrong one is told before the terminal is taken.
const OutputRow kOutputs[] = {
    {[](const Options& o) { return !o.record.empty(); },
     [](const Options& o, const Wishes&, Requests&) -> std::unique_ptr<Output> {
         return std::make_unique<RecordOutput>(o.record);
     }},
    {[](const Options& o) { return !o.gpx.empty(); },
     [](const Options& o, const Wishes&, Requests&) { return makeExport(o.gpx, telemetry::writeGpx); }},
    {[](const Options& o) { return !o.geoJson.empty(); },
     [](const Options& o, const Wishes&, Requests&) {
         return makeExport(o.geoJson, telemetry::writeGeoJson);
     }},
    {[](const Options& o) { return o.once; },
     [](const Options& o, const Wishes&, Requests&) -> std::unique_ptr<Output> {
         return std::make_unique<OnceOutput>(STDOUT_FILENO, o.json, o.waitS);
     }},
    {[](const Options& o) { return o.json && !o.once; },
     [](const Options&, const Wishes&, Requests&) -> std::unique_ptr<Output> {
         return std::make_unique<JsonOutput>(STDOUT_FILENO);
     }},
    {[](const Options& o) { return o.lines; },
     [](const Options&, const Wishes&, Requests&) -> std::unique_ptr<Output> {
         return std::make_unique<LinesOutput>(STDOUT_FILENO, isatty(STDOUT_FILENO) == 1);
     }},
};

Outputs makeOutputs(const Options& options, const Wishes& wishes, Requests& requests) {
    Outputs outputs;
    for (const OutputRow& row : kOutputs)
        if (row.isWanted(options))
            outputs.push_back(row.make(options, wishes, requests));
    return outputs;
}

/// The live view where there is a terminal for it, otherwise lines.
std::unique_ptr<Output> makeView(Requests& requests, const Moments& moments) {
    const bool isTerminal = isatty(STDOUT_FILENO) == 1;
    if (isTerminal && isatty(STDIN_FILENO) == 1) {
        try {
            auto view = std::make_unique<LiveView>(requests, [&moments] { return moments.now(); });
            beforeASuddenEnd(LiveView::giveBack);
            return view;
        } catch (const NoTerminal& reason) {
            report(std::string(reason.what()) + ": here are lines instead of the live view", kFine);
        }
    }
    return std::make_unique<LinesOutput>(STDOUT_FILENO, isTerminal);
}

// --- Running --------------------------------------------------------------------------------------------

int monitorUnit(const Options& options) {
    const Wishes wishes = wishesOf(options);
    if (!isOnAUnit(kProgram))
        return kNotFine;
    takeSignals();
    neverWaitForStandardError();
    const Moments moments;
    Service service(wishes, moments);
    // Opened before anything is touched, begun when no option can be wrong any more, and ended last.
    auto log = options.log.empty() ? nullptr : std::make_unique<LogOutput>(options.log);
    Outputs outputs = makeOutputs(options, wishes, service);
    if (log)
        log->begin();
    if (hasNothingChosen(options))
        outputs.push_back(makeView(service, moments));
    if (log)
        outputs.push_back(std::move(log));
    return Monitor(service, moments, outputs).run();
}

int run(const Options& options) {
    if (!options.help && !options.version)
        return monitorUnit(options);
    const bool isPrinted = (options.help ? std::fputs(usage(), stdout)
                                         : std::puts("ruxogps-monitor (ruxogps) " RUXOGPS_VERSION)) != EOF;
    return isPrinted && std::fflush(stdout) == 0 ? kFine : report("the text can't be written", kNotFine);
}

} // namespace

int main(int argc, char** argv) {
    fillStandardDescriptors();
    try {
        return run(parseOptions(argc, argv));
    } catch (const OptionError& error) {
        return report(std::string(error.what()) + " (--help lists the options)", kWrongOption);
    } catch (const SettingError& error) {
        return report(error.what(), kWrongOption);
    } catch (const FileError& error) {
        return report(error.what(), kWrongOption);
    } catch (const std::exception& error) {
        return report(error.what(), kNotFine);
    }
}
