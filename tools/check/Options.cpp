#include "Options.h"

#include <getopt.h>

#include <array>
#include <vector>

namespace check {

namespace {

constexpr char kUsage[] = R"(Usage: ruxogps-check [OPTIONS]

Tells whether the GPS service can run on this unit: one line for each finding, with the mend. To be run as the
service's user, with the service's environment, while no service runs; as root it sees more. It changes nothing.

  --try-port       also sets the port up as the service does, and puts its former settings back; refused while
                   somebody uses the port
  --database FILE  only decodes this navigation database, record by record; it may be a copy on another machine
  --json           prints one JSON object instead
  -h, --help       prints this text
  --version        prints the version

Levels: ok; warning: the service runs, but not as well as it could, or this program could not look; fault: it
does not run as described.

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

/// What getopt_long returns for a row: its place in the table, above all characters.
constexpr int kFirstRow = 256;

std::vector<option> longOptions() {
    std::vector<option> rows;
    int code = kFirstRow;
    for (const OptionRow& row : kOptions)
        rows.push_back({row.name, row.hasValue ? required_argument : no_argument, nullptr, code++});
    rows.push_back({});
    return rows;
}

/// Why getopt_long has stopped: `code` is ':' for a missing value and '?' for everything else, `argument` the
/// text that it looked at last.
[[noreturn]] void complain(int code, const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    if (code == ':')
        throw OptionError(name + " needs a value");
    if (optopt >= kFirstRow)
        throw OptionError(name + " takes no value");
    throw OptionError("unknown option '" + name + "'");
}

void takeOption(Options& options, int code) {
    const auto row = static_cast<std::size_t>(code - kFirstRow);
    if (code == 'h')
        options.help = true;
    else
        kOptions[row].take(options, optarg != nullptr ? optarg : "");
}

void checkCombination(const Options& options) {
    if (options.tryPort && !options.database.empty())
        throw OptionError("--try-port and --database exclude each other");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    std::vector<char*> arguments;
    for (int i = 0; i < argc; ++i)
        arguments.push_back(const_cast<char*>(argv[i]));
    arguments.push_back(nullptr);
    const std::vector<option> rows = longOptions();
    optind = 0; // from the beginning, also the second time
    int code = 0;
    while ((code = getopt_long(argc, arguments.data(), "+:h", rows.data(), nullptr)) != -1) {
        if (code == ':' || code == '?')
            complain(code, arguments[static_cast<std::size_t>(optind - 1)]);
        takeOption(options, code);
        if (options.help || options.version)
            return options;
    }
    if (optind < argc)
        throw OptionError("unexpected argument '" + std::string(argv[optind]) + "'");
    checkCombination(options);
    return options;
}

const char* usage() { return kUsage; }

} // namespace check
