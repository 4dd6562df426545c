// scripted_server SCRIPT
//
// Holds gpsd's port, 2947, and sends each client what SCRIPT of the tables below says, in the unit's time. A
// gpsd that is started meanwhile finds the port taken and ends. Runs until it is killed; exit status 2 for a
// script that it doesn't know, 1 when the port isn't free.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr in_port_t kPort = 2947;
constexpr int kSendBuffer = 8192; // a server that is killed leaves little on its way
constexpr int kLeadSeconds = 5;

double now() {
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void pause(double seconds) {
    if (seconds > 0)
        usleep(static_cast<useconds_t>(seconds * 1e6));
}

[[noreturn]] void standStill() {
    for (;;)
        pause(1);
}

// --- The client -----------------------------------------------------------------------------------------

struct Gone {};

class Client {
public:
    explicit Client(int descriptor) : descriptor_(descriptor) {}

    /// Throws Gone when the client has closed.
    void send(const std::string& text) const {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t more = ::send(descriptor_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (more <= 0)
                throw Gone();
            sent += static_cast<std::size_t>(more);
        }
    }

    /// Calls `epoch`, with its number, `hz` times a second for so many seconds, and catches up where it is
    /// late.
    void each(double hz, double seconds, const std::function<void(int)>& epoch) const {
        const double begin = now();
        for (int i = 0; i / hz < seconds; ++i) {
            pause(begin + i / hz - now());
            epoch(i);
        }
    }

private:
    int descriptor_;
};

constexpr double kForever = 1e9;

// --- Reports --------------------------------------------------------------------------------------------

using Fields = std::vector<std::pair<std::string, std::string>>;

/// In gpsd's form, quoted.
std::string timeText(double secondsFromNow) {
    const auto seconds = static_cast<time_t>(now() + secondsFromNow);
    tm utc = {};
    gmtime_r(&seconds, &utc);
    char text[64];
    strftime(text, sizeof text, "\"%Y-%m-%dT%H:%M:%S.000Z\"", &utc);
    return text;
}

/// A fix, with `changes`: other values, and fields without one are left out.
std::string fix(const Fields& changes) {
    Fields fields = {{"class", R"("TPV")"},   {"device", R"("/dev/ttymxc1")"},
                     {"mode", "3"},           {"time", timeText(0)},
                     {"ept", "0.005"},        {"lat", "10.500000000"},
                     {"lon", "20.250000000"}, {"altHAE", "400.0"},
                     {"altMSL", "350.0"},     {"alt", "350.0"},
                     {"epx", "2.0"},          {"epy", "2.0"},
                     {"epv", "4.0"},          {"track", "90.0"},
                     {"speed", "10.0"},       {"climb", "0.1"},
                     {"eps", "1.0"}};
    std::string line;
    for (auto& [name, value] : fields) {
        for (const auto& [changed, other] : changes)
            value = changed == name ? other : value;
        if (!value.empty())
            line += (line.empty() ? "{" : ",") + ("\"" + name + "\":" + value);
    }
    return line + "}\r\n";
}

std::string sky(int satellites, int firstPrn, const std::string& pdop = "1.5") {
    std::string list;
    for (int i = 0; i < satellites; ++i)
        list += (i > 0 ? "," : "") + (R"({"PRN":)" + std::to_string(firstPrn + i)) +
                R"(,"el":30.0,"az":10.0,"ss":38.0,"used":true})";
    const std::string count = std::to_string(satellites);
    return R"({"class":"SKY","device":"/dev/ttymxc1","xdop":0.8,"ydop":0.8,"vdop":1.2,"tdop":0.9,"hdop":1.0,)"
           R"("gdop":2.0,"pdop":)" +
           pdop + R"(,"nSat":)" + count + R"(,"uSat":)" + count + R"(,"satellites":[)" + list + "]}\r\n";
}

std::string goodEpoch() { return fix({}) + sky(8, 1); }

/// Two reports, and their epoch's number in microdegrees of latitude, so that it tells how many were read.
std::string numberedEpoch(int number) {
    char latitude[32];
    snprintf(latitude, sizeof latitude, "%.7f", 10.5000005 + 1e-6 * number);
    return fix({{"lat", latitude}}) + sky(8, 1);
}

// --- Scripts: how it is sent ----------------------------------------------------------------------------

void sendGood(const Client& client, double seconds) {
    client.each(1, seconds, [&](int) { client.send(goodEpoch()); });
}

void beSilent(const Client&) { standStill(); }
void closeAfterEachReport(const Client& client) { client.send(fix({})); }
void drip(const Client& client) {
    const std::string text = goodEpoch();
    client.each(1, kForever,
                [&](int i) { client.send(std::string(1, text[static_cast<std::size_t>(i) % text.size()])); });
}
void flood(const Client& client) {
    for (int i = 0;; ++i)
        client.send(numberedEpoch(i));
}

/// A kilobyte of noise each second, the same one in each run.
void sendRandomBytes(const Client& client) {
    sendGood(client, kLeadSeconds);
    std::mt19937 noise(1); // NOLINT(cert-msc51-cpp)
    client.each(1, kForever, [&](int) {
        std::string bytes(1024, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(noise() & 0xFF);
        client.send(bytes + "\n");
    });
}

void sendHalfALine(const Client& client) {
    sendGood(client, kLeadSeconds);
    const std::string line = fix({});
    client.send(line.substr(0, line.size() / 2));
    standStill();
}

/// A report in a line of so many bytes, each second.
void sendLinesOf(const Client& client, std::size_t bytes) {
    sendGood(client, kLeadSeconds);
    client.each(1, kForever, [&](int) {
        const std::string blanks(bytes - fix({}).size(), ' ');
        client.send(fix({{"lat", "11.5" + blanks}}));
    });
}
void sendLinesOf19Kb(const Client& client) { sendLinesOf(client, 19000); }
void sendLinesOf1Mb(const Client& client) { sendLinesOf(client, 1000000); }

void sendAt20Hz(const Client& client) {
    client.each(20, kForever, [&](int i) { client.send(numberedEpoch(i)); });
}
void sendAt100Hz(const Client& client) {
    client.each(100, kForever, [&](int i) { client.send(numberedEpoch(i)); });
}

/// Each second another day: in 31 days, 1970, in 4000 days, 31 days ago.
void letTheTimeJump(const Client& client) {
    sendGood(client, kLeadSeconds);
    constexpr double day = 86400;
    const double jumps[] = {31 * day, 1 - now(), 4000 * day, -31 * day};
    client.each(1, kForever, [&](int i) {
        client.send(fix({{"time", timeText(jumps[i % 4])}}) + sky(8, 1));
    });
}

struct Script {
    const char* name;
    void (*serve)(const Client& client);
};

const Script kScripts[] = {
    {"silent", beSilent},
    {"closes-after-each-report", closeAfterEachReport},
    {"drips", drip},
    {"floods", flood},
    {"random-bytes", sendRandomBytes},
    {"half-lines", sendHalfALine},
    {"lines-of-19-kb", sendLinesOf19Kb},
    {"lines-of-1-mb", sendLinesOf1Mb},
    {"20-hz", sendAt20Hz},
    {"100-hz", sendAt100Hz},
    {"time-jumps", letTheTimeJump},
};

// --- Scripts: what is sent ------------------------------------------------------------------------------

/// Each number of a fix is `value`.
std::string fixOf(const std::string& value) {
    Fields changes;
    for (const char* name : {"ept", "lat", "lon", "altHAE", "altMSL", "alt", "epx", "epy", "epv", "track",
                             "speed", "climb", "eps"})
        changes.emplace_back(name, value);
    return fix(changes);
}

struct Content {
    const char* name;
    std::string (*epoch)(); ///< sent each second, after some good ones
};

const Content kContents[] = {
    {"nan", [] { return fixOf("NaN") + sky(8, 1, "NaN"); }},
    {"infinity", [] { return fixOf("Infinity") + sky(8, 1, "Infinity"); }},
    {"1e308",
     [] {
         std::string line = fixOf("1e308");
         line.insert(line.find("1e308", line.find("\"lat\"")), "-");
         return line + sky(8, 1);
     }},
    {"strings", [] { return fixOf("\"11.5\"") + sky(8, 1, "\"1.5\""); }},
    {"missing-fields",
     [] {
         return fix({{"lat", ""}, {"lon", ""}, {"altHAE", ""}, {"altMSL", ""}, {"alt", ""}, {"time", ""}}) +
                sky(8, 1);
     }},
    {"one-coordinate",
     [] {
         return fix({{"lat", "11.5"}, {"lon", ""}}) + sky(8, 1);
     }},
    {"the-other-coordinate",
     [] {
         return fix({{"lat", ""}, {"lon", "21.5"}}) + sky(8, 1);
     }},
    {"0-satellites",
     [] {
         return fix({{"lat", "11.5"}}) + sky(0, 1);
     }},
    {"1-satellite",
     [] {
         return fix({{"lat", "11.5"}}) + sky(1, 1);
     }},
    {"140-satellites",
     [] {
         return fix({{"lat", "11.5"}}) + sky(140, 1);
     }},
    {"more-satellites",
     [] {
         return fix({{"lat", "11.5"}}) + sky(190, 1);
     }},
    {"negative-prns",
     [] {
         return fix({{"lat", "11.5"}}) + sky(8, -40000);
     }},
};

// --- The port -------------------------------------------------------------------------------------------

void serve(int descriptor, const std::function<void(const Client&)>& script) {
    try {
        script(Client(descriptor));
    } catch (const Gone&) {
    }
    close(descriptor);
}

/// Of both families where the unit has both, so that `localhost` is this one either way.
int listenOnThePort() {
    const int listener = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    const int no = 0;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    setsockopt(listener, IPPROTO_IPV6, IPV6_V6ONLY, &no, sizeof no);
    setsockopt(listener, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(kPort);
    const bool works = bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       listen(listener, 16) == 0;
    return works ? listener : -1;
}

std::function<void(const Client&)> scriptOf(const std::string& name) {
    for (const Script& script : kScripts)
        if (name == script.name)
            return script.serve;
    for (const Content& content : kContents)
        if (name == content.name)
            return [epoch = content.epoch](const Client& client) {
                sendGood(client, kLeadSeconds);
                client.each(1, kForever, [&](int) { client.send(epoch()); });
            };
    return nullptr;
}

} // namespace

int main(int argc, char** argv) {
    const std::string name = argc == 2 ? argv[1] : "";
    const bool accepts = name != "never-accepts";
    const std::function<void(const Client&)> script = accepts ? scriptOf(name) : beSilent;
    if (!script) {
        std::cerr << "scripted_server: no script '" << name << "'\n";
        return 2;
    }
    const int listener = listenOnThePort();
    if (listener < 0) {
        perror("scripted_server: port 2947");
        return 1;
    }
    while (accepts)
        std::thread(serve, accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), script).detach();
    standStill();
}
