#include "VirtualUnitRun.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

constexpr double kUsualSpeed = 10;
constexpr double kTimeLimitSeconds = 100; // of the host, at the usual speed: less than the limit of ctest

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

double toNumber(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return text.empty() || *end != '\0' ? std::nan("") : value;
}

double environmentNumber(const char* name, double otherwise) {
    const char* const given = std::getenv(name);
    return given != nullptr ? toNumber(given) : otherwise;
}

/// Below 1 where a run is repeated because the host fell behind.
double slowdown() { return environmentNumber("RUXOGPS_UNIT_SPEED_FACTOR", 1); }

std::string asText(double number) {
    std::ostringstream text;
    text << number;
    return text.str();
}

/// In memory where there is some: the receiver writes its state and its log there, and a disk that is busy
/// with a build's files keeps such a write for a quarter of a second, which is seconds of the unit's clock.
std::filesystem::path parentOfFolders() {
    constexpr char memory[] = "/dev/shm";
    return access(memory, W_OK | X_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

std::string makeFolder() {
    std::string path = (parentOfFolders() / "unit-run-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("can't make the folder " + path);
    for (const char* name : {"/control", "/data"})
        std::filesystem::create_directory(path + name);
    return path;
}

/// Runs `command` with its output in two files; returns its exit status.
int runToEnd(const std::vector<std::string>& command, const std::string& output, const std::string& errors) {
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    pid_t child = 0;
    const int rc = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    if (rc != 0 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("can't run " + command[0]);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

VirtualUnitRun::Fields fieldsOf(std::istream& stream) {
    VirtualUnitRun::Fields fields;
    for (std::string word; stream >> word;) {
        const std::size_t equals = word.find('=');
        if (equals != std::string::npos)
            fields[word.substr(0, equals)] = word.substr(equals + 1);
    }
    return fields;
}

ProbeLine parseProbeLine(const std::string& line) {
    ProbeLine parsed;
    std::istringstream stream(line);
    stream >> parsed.kind >> std::ws;
    const std::streampos rest = stream.tellg();
    std::string word;
    if (stream >> word && word.find('=') == std::string::npos)
        parsed.name = word;
    else
        stream.clear(), stream.seekg(rest);
    parsed.fields = fieldsOf(stream);
    parsed.t = parsed.number("t");
    return parsed;
}

/// "2026-01-31T12:34:56.789Z" in seconds since 1970.
double timeOf(const std::string& text) {
    tm utc = {};
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
    return rest == nullptr ? std::nan("") : static_cast<double>(timegm(&utc)) + std::strtod(rest, nullptr);
}

/// False for what is no line of the library's, as words of the shell.
bool parseLogLine(const std::string& line, LogLine& parsed) {
    static const std::regex form(R"(^(\S+Z) <(\d)> ([^ :]+):\d+ (.*)$)");
    std::smatch match;
    if (!std::regex_match(line, match, form))
        return false;
    parsed = {std::stoi(match[2]), match[3], match[4], timeOf(match[1])};
    return true;
}

} // namespace

// --- Lines ----------------------------------------------------------------------------------------------

std::string ProbeLine::text(const std::string& field) const {
    const auto found = fields.find(field);
    return found == fields.end() ? "" : found->second;
}

double ProbeLine::number(const std::string& field) const { return toNumber(text(field)); }

// --- The run --------------------------------------------------------------------------------------------

VirtualUnitRun::VirtualUnitRun() : folder_(makeFolder()) {
    speed_ = environmentNumber("RUXOGPS_UNIT_SPEED", kUsualSpeed) * slowdown();
}

VirtualUnitRun::~VirtualUnitRun() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

VirtualUnitRun& VirtualUnitRun::receiver(const std::string& arguments) {
    receiver_ = arguments;
    return *this;
}

VirtualUnitRun& VirtualUnitRun::option(const std::string& option) {
    options_.push_back(option);
    return *this;
}

VirtualUnitRun& VirtualUnitRun::speed(double factor) {
    speed_ *= factor;
    return *this;
}

VirtualUnitRun& VirtualUnitRun::dataSize(int kib) {
    dataKib_ = kib;
    return *this;
}

std::string VirtualUnitRun::dataFolder() const { return folder_ + "/data"; }

void VirtualUnitRun::probe(const std::vector<std::string>& steps) {
    std::vector<std::string> command{UNIT_PROBE};
    command.insert(command.end(), steps.begin(), steps.end());
    run(command);
}

void VirtualUnitRun::script(const std::string& bash) { run({"bash", "-c", bash, UNIT_PROBE}); }

void VirtualUnitRun::run(const std::vector<std::string>& command) {
    status_ = runToEnd(commandLine(command), folder_ + "/output", folder_ + "/errors");
    readResults();
}

std::vector<std::string> VirtualUnitRun::commandLine(const std::vector<std::string>& command) const {
    std::vector<std::string> line{"timeout", "--kill-after=15", asText(kTimeLimitSeconds / slowdown()),
                                  VIRTUAL_UNIT};
    line.insert(line.end(), {"--receiver", receiver_, "--control", folder_ + "/control"});
    if (dataKib_ != 0)
        line.insert(line.end(), {"--data-size", std::to_string(dataKib_)});
    else
        line.insert(line.end(), {"--data", dataFolder()});
    if (speed_ != 1)
        line.insert(line.end(), {"--speed", asText(speed_)});
    line.insert(line.end(), options_.begin(), options_.end());
    line.emplace_back("--");
    line.insert(line.end(), command.begin(), command.end());
    return line;
}

void VirtualUnitRun::readResults() {
    const std::string mark = "output ";
    for (const std::string& line : linesOf(folder_ + "/output"))
        if (line.compare(0, mark.size(), mark) == 0)
            outputLines_.push_back(line.substr(mark.size()));
        else
            lines_.push_back(parseProbeLine(line));
    LogLine parsed;
    for (const std::string& line : linesOf(folder_ + "/errors"))
        if (parseLogLine(line, parsed))
            log_.push_back(parsed);
}

// --- Results --------------------------------------------------------------------------------------------

std::vector<ProbeLine> VirtualUnitRun::lines(const std::string& kind, const std::string& name) const {
    std::vector<ProbeLine> found;
    std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found), [&](const ProbeLine& line) {
        return line.kind == kind && (name.empty() || line.name == name);
    });
    return found;
}

ProbeLine VirtualUnitRun::line(const std::string& kind, const std::string& name) const {
    const std::vector<ProbeLine> found = lines(kind, name);
    return found.empty() ? ProbeLine() : found.front();
}

std::vector<std::string> VirtualUnitRun::sequence(const std::string& event) const {
    std::vector<std::string> found;
    const std::string prefix = event + "-";
    for (const ProbeLine& line : lines("event"))
        if (line.name.compare(0, prefix.size(), prefix) == 0)
            found.push_back(line.name.substr(prefix.size()) + ":" + line.text("name"));
    return found;
}

std::vector<std::string> VirtualUnitRun::output() const { return outputLines_; }

std::vector<LogLine> VirtualUnitRun::logged(int level, const std::string& text) const {
    std::vector<LogLine> found;
    std::copy_if(log_.begin(), log_.end(), std::back_inserter(found),
                 [&](const LogLine& line) { return line.level == level && line.text == text; });
    return found;
}

std::vector<LogLine> VirtualUnitRun::loggedLike(const std::string& part) const {
    std::vector<LogLine> found;
    std::copy_if(log_.begin(), log_.end(), std::back_inserter(found),
                 [&](const LogLine& line) { return line.text.find(part) != std::string::npos; });
    return found;
}

std::vector<ReceiverLine> VirtualUnitRun::receiverLog(const std::string& part) const {
    static const std::regex form(R"(^(\S+Z) \S+ (?:port=\d+ )?receiver=\d+ (.*)$)");
    std::vector<ReceiverLine> found;
    std::smatch match;
    for (const std::string& line : linesOf(folder_ + "/control/receiver.log"))
        if (std::regex_match(line, match, form) && match[2].str().find(part) != std::string::npos)
            found.push_back({match[2], timeOf(match[1])});
    return found;
}

VirtualUnitRun::Fields VirtualUnitRun::receiverState() const {
    std::ifstream file(folder_ + "/control/receiver.state");
    return fieldsOf(file);
}

std::vector<VirtualUnitRun::Fields> VirtualUnitRun::receiverStates() const {
    std::vector<Fields> states;
    for (const ProbeLine& line : lines("state"))
        states.push_back(line.fields);
    return states;
}

std::string VirtualUnitRun::describe() const {
    std::ostringstream everything;
    everything << "exit status " << status_ << '\n';
    for (const char* name :
         {"/output", "/errors", "/control/receiver.log", "/control/receiver.state", "/control/lateness"}) {
        everything << "--- " << name + 1 << '\n';
        for (const std::string& line : linesOf(folder_ + name))
            everything << line.substr(0, 300) << '\n';
    }
    return everything.str();
}
