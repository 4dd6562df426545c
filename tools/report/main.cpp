// ruxogps-report: a recorded drive as a page, a picture or a track.
//
// It reads a file and writes a file. It makes no adapter and no driver, which would reset the receiver and
// end each gpsd, and is linked with neither; what it shows of other settings it reckons with the library's
// own arithmetic.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "GeoJson.h"
#include "Gpx.h"
#include "Options.h"
#include "Page.h"
#include "WhatIf.h"
#include "WholeFile.h"

namespace {

using namespace report;

enum ExitStatus {
    kWritten = 0,
    kNotWritten = 2,
};

constexpr char kVersion[] = RUXOGPS_VERSION;

[[noreturn]] void refuse(const std::string& what) { throw std::runtime_error(what); }

// --- The recording ----------------------------------------------------------------------------------------

std::ifstream opened(const std::string& name) {
    errno = 0;
    std::ifstream input(name, std::ios::binary);
    input.peek(); // a folder can be opened, but not read
    if (input.bad() || !input.is_open())
        refuse(name + ": " + std::strerror(errno != 0 ? errno : EIO));
    input.clear();
    return input;
}

void tell(const std::string& name, const std::vector<telemetry::Damage>& damages, std::uint64_t further) {
    constexpr std::size_t kMost = 20;
    const std::size_t told = std::min(damages.size(), kMost);
    for (std::size_t i = 0; i < told; ++i)
        std::cerr << "ruxogps-report: " << name << ':' << damages[i].line << ": " << damages[i].what << '\n';
    further += damages.size() - told;
    if (further != 0)
        std::cerr << "ruxogps-report: " << name << ": " << further << " further lines can't be read\n";
}

Drive driveOf(const std::string& name) {
    std::ifstream input = opened(name);
    return readDrive(input, name);
}

telemetry::Journey journeyOf(const std::string& name) {
    std::ifstream input = opened(name);
    telemetry::RecordingReader reader(input, name);
    telemetry::Journey journey;
    while (const auto line = reader.next())
        journey.take(*line);
    tell(name, reader.damage(), reader.furtherDamage());
    return journey;
}

// --- What is made of it -----------------------------------------------------------------------------------

void write(const Options& options, const std::function<void(std::ostream& output)>& content) {
    if (const auto failure = telemetry::writeWholeFile(options.output, content))
        refuse(*failure);
}

void writeJourney(const Options& options) {
    const telemetry::Journey journey = journeyOf(options.recording);
    write(options, [&](std::ostream& output) {
        if (options.format == Format::Gpx)
            telemetry::writeGpx(output, journey);
        else
            telemetry::writeGeoJson(output, journey);
    });
}

void writePicture(const Options& options) {
    const Drive drive = driveOf(options.recording);
    const Replay recorded = replay(drive);
    Contents contents{drive, recorded, std::nullopt};
    if (options.whatIf) {
        checkGeofences(*options.whatIf, drive);
        contents.other = Comparison{*options.whatIf, replay(drive, &*options.whatIf)};
    }
    tell(options.recording, drive.damage, drive.furtherDamage);
    const std::string picture = options.format == Format::Svg ? svgPicture(contents) : htmlPage(contents);
    write(options, [&](std::ostream& output) { output << picture; });
}

// --- The program ------------------------------------------------------------------------------------------

ExitStatus run(const Options& options) {
    if (options.help)
        std::cout << usage();
    else if (options.version)
        std::cout << "ruxogps-report (ruxogps) " << kVersion << '\n';
    else if (options.format == Format::Gpx || options.format == Format::GeoJson)
        writeJourney(options);
    else
        writePicture(options);
    return kWritten;
}

int fail(const std::string& problem) {
    std::fprintf(stderr, "ruxogps-report: %s\n", problem.c_str());
    return kNotWritten;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const ExitStatus status = run(parseOptions(argc, argv));
        return std::cout.flush() ? status : fail("standard output can't be written");
    } catch (const OptionError& error) {
        return fail(std::string(error.what()) + " (--help lists the options)");
    } catch (const WhatIfError& error) {
        return fail(std::string("--what-if: ") + error.what());
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
