#include "ReceiverSequence.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <numeric>
#include <sstream>

#include "Repetition.h"

namespace {

// The simulated receiver's, see simulator/ubx: it waits after a change of its speed.
constexpr double kAnswerDelay = 0.005;
constexpr double kAnswerDelayAtNewSpeed = 0.1;
constexpr double kAnswerOnTheLine = 10 * 10 / 115200.0; // ten bytes of ten bits
constexpr char kReceiverLog[] = "/run/unit/receiver.log";
constexpr char kConfigurationFrame[] = R"(echo -e "\xb5\x62\x06\x)";
const std::string kAckOfConfiguration("\xb5\x62\x05\x01\x02\x00\x06", 7);

struct Name {
    unsigned char id;
    const char* name;
};

constexpr Name kNames[] = {
    {0x00, "CFG-PRT"}, {0x17, "CFG-NMEA"}, {0x3E, "CFG-GNSS"}, {0x23, "CFG-NAVX5"}, {0x13, "CFG-ANT"}};

std::string nameOf(unsigned char id) {
    for (const Name& row : kNames)
        if (row.id == id)
            return row.name;
    return "CFG-" + std::to_string(id);
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool isStep(const calls::Call& call) { return std::fabs(call.value - kReadLoopStep) < 1e-7; }

unsigned char idIn(const std::string& command) {
    const std::string digits = command.substr(sizeof kConfigurationFrame - 1, 2);
    return static_cast<unsigned char>(std::strtoul(digits.c_str(), nullptr, 16));
}

/// The read that brought the byte at `position` of all that came, and where in it.
std::pair<std::size_t, std::size_t> placeOf(const std::vector<std::string>& reads, std::size_t position) {
    std::size_t read = 0;
    while (read < reads.size() && position >= reads[read].size())
        position -= reads[read++].size();
    return {read, position};
}

Answer answerTo(const std::string& command, const std::vector<std::string>& reads) {
    const unsigned char id = idIn(command);
    const std::string wanted = kAckOfConfiguration + static_cast<char>(id);
    const std::size_t at = std::accumulate(reads.begin(), reads.end(), std::string()).find(wanted);
    Answer answer;
    answer.name = nameOf(id);
    answer.bytesThatMatter = wanted.size();
    answer.came = at != std::string::npos;
    if (!answer.came)
        return answer;
    const auto first = placeOf(reads, at);
    answer.firstRead = first.first;
    answer.lastRead = placeOf(reads, at + wanted.size() - 1).first;
    answer.bytesInFirst = std::min(wanted.size(), reads[first.first].size() - first.second);
    return answer;
}

template <typename Steps>
std::size_t sumOf(const std::vector<AckWait>& waits, Steps steps) {
    return std::accumulate(waits.begin(), waits.end(), std::size_t{0},
                           [&](std::size_t sum, const AckWait& wait) { return sum + steps(wait); });
}

/// Takes the calls of a sequence one by one.
class Splitter {
public:
    void take(const calls::Call& call) {
        switch (call.kind) {
        case calls::Kind::Shell:
            takeShell(call);
            break;
        case calls::Kind::Pause:
            takePause(call);
            break;
        case calls::Kind::Read:
            takeRead(call);
            break;
        default:
            break;
        }
    }

    ReceiverSequence sequence;

private:
    void takeShell(const calls::Call& call) {
        sequence.shell += call.seconds();
        ++sequence.shellCalls;
        if (startsWith(call.text, kConfigurationFrame))
            written_.push_back(call.text);
        reading_ = false;
    }

    void takePause(const calls::Call& call) {
        sequence.pauses += isStep(call) ? 0 : call.value;
        sequence.lateness += call.seconds() - call.value;
    }

    void takeRead(const calls::Call& call) {
        if (!reading_) {
            sequence.waits.push_back({call.begin, call.end, written_, {}, 0});
            written_.clear();
        }
        reading_ = true;
        sequence.waits.back().reads.push_back(call.text);
        sequence.waits.back().end = call.end;
    }

    std::vector<std::string> written_;
    bool reading_ = false;
};

/// Seconds since 1970 of "2026-11-22T00:33:52.754Z".
double secondsSince1970(const std::string& calendarTime) {
    tm calendar = {};
    const char* const fraction = strptime(calendarTime.c_str(), "%Y-%m-%dT%H:%M:%S", &calendar);
    return static_cast<double>(timegm(&calendar)) + (fraction != nullptr ? std::atof(fraction) : 0);
}

/// When the receiver heard a command.
struct Heard {
    std::string name; ///< CFG-PRT
    double at;        ///< a moment of calls::now; the log has milliseconds
};

/// What the receiver's log on the unit says about configuration commands.
std::vector<Heard> heardByTheReceiver() {
    timespec sinceEpoch = {};
    clock_gettime(CLOCK_REALTIME, &sinceEpoch);
    const double offset = static_cast<double>(sinceEpoch.tv_sec) +
                          1e-9 * static_cast<double>(sinceEpoch.tv_nsec) - calls::now();
    std::vector<Heard> heard;
    std::ifstream file(kReceiverLog);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string time;
        std::string word;
        for (words >> time; words >> word && !startsWith(word, "CFG-");) {
        }
        if (words)
            heard.push_back({word, secondsSince1970(time) - offset});
    }
    return heard;
}

/// The steps from the wait's begin until the answer to `command` could be whole.
std::size_t stepsByTheLine(const AckWait& wait, const std::string& command, const std::vector<Heard>& heard) {
    const unsigned char id = idIn(command);
    double answered = wait.begin;
    for (const Heard& one : heard)
        if (one.name == nameOf(id) && one.at <= wait.end)
            answered = one.at + (id == 0 ? kAnswerDelayAtNewSpeed : kAnswerDelay) + kAnswerOnTheLine;
    return static_cast<std::size_t>(std::max(0.0, std::ceil((answered - wait.begin) / kReadLoopStep)));
}

void countStepsByTheLine(std::vector<AckWait>& waits) {
    const std::vector<Heard> heard = heardByTheReceiver();
    for (AckWait& wait : waits)
        for (const std::string& command : wait.commands)
            wait.stepsByTheLine = std::max(wait.stepsByTheLine, stepsByTheLine(wait, command, heard));
}

} // namespace

std::vector<Answer> AckWait::answers() const {
    std::vector<Answer> result;
    for (const std::string& command : commands)
        result.push_back(answerTo(command, reads));
    return result;
}

std::size_t AckWait::stepsByTheReads() const {
    std::size_t steps = 0;
    for (const Answer& answer : answers())
        steps = std::max(steps, answer.came ? answer.lastRead : stepsTaken());
    return steps;
}

bool AckWait::missesAnAnswer() const {
    const std::vector<Answer> all = answers();
    return !std::all_of(all.begin(), all.end(), [](const Answer& answer) { return answer.isWhole(); });
}

std::size_t ReceiverSequence::stepsTaken() const {
    return sumOf(waits, [](const AckWait& wait) { return wait.stepsTaken(); });
}

std::size_t ReceiverSequence::stepsByTheReads() const {
    return sumOf(waits, [](const AckWait& wait) { return wait.stepsByTheReads(); });
}

std::size_t ReceiverSequence::stepsByTheLine() const {
    return sumOf(waits, [](const AckWait& wait) { return wait.stepsByTheLine; });
}

double ReceiverSequence::limit() const {
    const std::size_t steps = sumOf(
        waits, [](const AckWait& wait) { return std::min(wait.stepsByTheReads(), wait.stepsByTheLine); });
    return shell + pauses + kReadLoopStep * static_cast<double>(steps);
}

bool ReceiverSequence::missesAnAnswer() const {
    return std::any_of(waits.begin(), waits.end(), [](const AckWait& wait) { return wait.missesAnAnswer(); });
}

ReceiverSequence receiverSequence(const calls::Calls& calls, pthread_t thread, double begin, double end) {
    Splitter splitter;
    for (const calls::Call& call : calls)
        if (pthread_equal(call.thread, thread) != 0 && call.begin >= begin && call.end <= end)
            splitter.take(call);
    countStepsByTheLine(splitter.sequence.waits);
    return splitter.sequence;
}

std::string explanation(const ReceiverSequence& sequence) {
    std::string text;
    for (const AckWait& wait : sequence.waits)
        for (const Answer& answer : wait.answers()) {
            if (answer.isWhole())
                continue;
            text += "acknowledgement of " + answer.name;
            if (answer.came)
                text += " cut: " + std::to_string(answer.bytesInFirst) + " of its first " +
                        std::to_string(answer.bytesThatMatter) + " bytes came with read " +
                        std::to_string(answer.firstRead + 1) + ", the others with read " +
                        std::to_string(answer.lastRead + 1);
            else
                text += " never came in " + std::to_string(wait.reads.size()) + " reads";
            text += "; the wait made " + std::to_string(wait.reads.size()) + " reads\n";
        }
    return text;
}
