#include "Options.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "WhatIf.h"

namespace report {

namespace {

constexpr char kUsage[] = R"(Usage: ruxogps-report RECORDING -o FILE [OPTIONS]

Makes a picture of a drive that ruxogps-monitor --record has written. It needs no service, no receiver and no network.

  -o, --output FILE  what is written; its extension decides what:
                       .html     one page with the track, what was measured over time, and a table of the events
                       .svg      the track alone, with its geofences and events
                       .gpx      the track, the events as waypoints, and the geofences as closed routes
                       .geojson  the same, the events as points and the geofences as areas
  --what-if LIST     shows beside it what other settings would have done, as in --what-if margin=2500,interval=5:
                       margin=MICRODEGREES  the margin of all geofences; margin.NAME: of the one of that name
                       size=FACTOR          width and height of all geofences; size.NAME: of one
                       interval=SECONDS     the position interval
                       error=METRES         the error estimate that the odometer's steps are held against
  -h, --help         prints this text
  --version          prints the version

What is damaged in the recording is told on standard error, with file and line, and on the page; all the rest is shown.

Exit status: 0 when the file was written; 2 for a wrong option, a recording of which nothing can be shown, and a file
that can't be written. Then nothing is written at all.
)";

struct Extension {
    const char* text;
    Format format;
};

constexpr std::array<Extension, 4> kExtensions{{
    {".html", Format::Html},
    {".svg", Format::Svg},
    {".gpx", Format::Gpx},
    {".geojson", Format::GeoJson},
}};

bool endsIn(const std::string& file, const std::string& extension) {
    return file.size() > extension.size() &&
           file.compare(file.size() - extension.size(), extension.size(), extension) == 0;
}

Format formatOf(const std::string& file) {
    const auto* const found = std::find_if(kExtensions.begin(), kExtensions.end(),
                                           [&](const Extension& each) { return endsIn(file, each.text); });
    if (found == kExtensions.end())
        throw OptionError("--output: '" + file + "' ends in none of .html, .svg, .gpx and .geojson");
    return found->format;
}

void takeOutput(Options& options, const std::string& value) {
    options.format = formatOf(value);
    options.output = value;
}

void takeWhatIf(Options& options, const std::string& value) {
    try {
        options.whatIf = parseWhatIf(value);
    } catch (const WhatIfError& error) {
        throw OptionError(std::string("--what-if: ") + error.what());
    }
}

void takeRecording(Options& options, const std::string& value) {
    if (value.empty())
        throw OptionError("the recording's name is empty");
    if (!options.recording.empty())
        throw OptionError("unexpected argument '" + value + "': one recording makes one picture");
    options.recording = value;
}

struct OptionRow {
    command_line::LongOption option;
    void (*take)(Options& options, const std::string& value);
};

const std::array<OptionRow, 4> kOptions{{
    {{"output", true, 'o'}, takeOutput},
    {{"what-if", true}, takeWhatIf},
    {{"help", false}, [](Options& options, const std::string&) { options.help = true; }},
    {{"version", false}, [](Options& options, const std::string&) { options.version = true; }},
}};

std::vector<command_line::LongOption> knownOptions() {
    std::vector<command_line::LongOption> known;
    std::transform(kOptions.begin(), kOptions.end(), std::back_inserter(known),
                   [](const OptionRow& row) { return row.option; });
    return known;
}

void checkAllIsThere(const Options& options) {
    if (options.recording.empty())
        throw OptionError("which recording? One file of ruxogps-monitor --record is needed");
    if (options.output.empty())
        throw OptionError("where to? -o FILE.html is needed, or .svg, .gpx, .geojson");
    const bool isDrawn = options.format == Format::Html || options.format == Format::Svg;
    if (options.whatIf && !isDrawn)
        throw OptionError("--what-if is shown in .html and .svg alone");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    command_line::LongOptions given(knownOptions(), command_line::argumentsOf(argc, argv),
                                    command_line::usualWords, command_line::LongOptions::Arguments::Taken);
    while (const auto option = given.next()) {
        if (option->row == command_line::kArgument)
            takeRecording(options, option->value);
        else
            kOptions[option->row].take(options, option->value);
        if (options.help || options.version)
            return options;
    }
    checkAllIsThere(options);
    return options;
}

const char* usage() { return kUsage; }

} // namespace report
