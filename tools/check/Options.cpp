#include "Options.h"

#include <array>

namespace check {

namespace {

constexpr char kUsage[] = R"(Usage: ruxogps-check [OPTIONS]

Tells whether the GPS service can run on this unit: one line for each finding, with the mend. To be run as the
service's user, with the service's environment, while no service runs; as root it sees more. It changes nothing.

Levels: ok; warning: the service runs, but not as well as it could, or this program could not look; fault: it
does not run as described.

Options:
  --try-port       also sets the port up as the service does, and puts its former settings back; refused while
                   somebody uses the port
  --database FILE  only decodes this navigation database, record by record; it may be a copy on another machine
  --json           prints one JSON object instead
  -h, --help       prints this text
  --version        prints the version

Exit status: 0 when there is no fault, and the database is whole; 1 otherwise; 2 for a wrong option.
)";

struct OptionRow {
    const char* name;
    bool hasValue;
    void (*take)(Options& options, const std::string& value);
};

void takeDatabase(Options& options, const std::string& value) {
    if (value.empty())
        throw OptionError("--database needs the name of a file");
    options.database = value;
}

const std::array<OptionRow, 5> kOptions{{
    {"json", false, [](Options& options, const std::string&) { options.json = true; }},
    {"try-port", false, [](Options& options, const std::string&) { options.tryPort = true; }},
    {"database", true, takeDatabase},
    {"help", false, [](Options& options, const std::string&) { options.help = true; }},
    {"version", false, [](Options& options, const std::string&) { options.version = true; }},
}};

void checkCombination(const Options& options) {
    if (options.tryPort && !options.database.empty())
        throw OptionError("--try-port and --database exclude each other");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    const auto options = command_line::takenBy<Options>(kOptions, argc, argv);
    if (!options.help && !options.version)
        checkCombination(options);
    return options;
}

const char* usage() { return kUsage; }

} // namespace check
