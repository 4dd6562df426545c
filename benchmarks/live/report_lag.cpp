// report_lag TURNS SECONDS
//
// How long a report takes from being sent to the end of its copy in the snapshot, at different rates of
// reports. It plays gpsd itself, on the port that the library connects to, so it needs a network of its own.
// For each rate it has three connections, all served side by side:
//
//   ours        the reader of the library, with a snapshot of its own
//   described   a loop with the same steps, as plain as can be: waits, reads, copies and makes the same pause
//   bare-loop   one that waits and reads
//
// Each report carries its number as the latitude, so whoever has taken it knows when it was sent. Up to 19
// reports a second the lag stays the same; above, the pauses take longer than the reports, and it grows. It
// prints for each turn
//
//   value lag.RATE WHO MS              the median lag
//   value lag-growth.RATE WHO S        by how much the lag grows in a second
//   value lag-growth.RATE limit S      above 19: by how much it grows when each report takes the described
//                                      pause, as late as those of ours ended, and what the described loop
//                                      needs besides
//   value lag-burst WHO MS             of the second of two reports that come together, five times a second
//
// and at the end the lag in the last seconds of a turn: point lag WHO RATE MS.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gps.h>
#include <netinet/tcp.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "GPSHAL_RUXO_3.h"

namespace {

constexpr int kExitUsage = 2;
constexpr uint16_t kPort = 2947;
constexpr int kWaitUs = 5000000;
constexpr useconds_t kPauseUs = 50000;
constexpr int kWatchFlags = WATCH_ENABLE | WATCH_JSON;
constexpr int kRates[] = {1, 2, 5, 10, 15, 19, 20, 25, 30}; // reports a second
constexpr int kFirstRateThatGrows = 20;
constexpr int kBurstRate = 5;
constexpr int kArrivals = 14;
constexpr double kNumbersPerDegree = 1000;
constexpr double kLastSeconds = 2;
constexpr double kGoldenPart = 0.618034; // of a period, from one connection to the next
constexpr double kSilverPart = 0.414214; // of a period, from one turn to the next

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

double now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void sleepUntil(double moment) {
    timespec time;
    time.tv_sec = static_cast<time_t>(moment);
    time.tv_nsec = static_cast<long>((moment - static_cast<double>(time.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) != 0) {
    }
}

double median(std::vector<double> numbers) {
    if (numbers.empty())
        return NAN;
    std::sort(numbers.begin(), numbers.end());
    const std::size_t middle = numbers.size() / 2;
    return numbers.size() % 2 != 0 ? numbers[middle] : (numbers[middle - 1] + numbers[middle]) / 2;
}

// --- One client -------------------------------------------------------------------------------------------

struct Taken {
    std::size_t number;
    double at;
    double lag;
};

/// One connection, both ends. The server writes when it sends, the client when it has taken; neither looks at
/// what the other is just writing.
struct Client {
    const char* who;
    int rate;  ///< sendings a second
    int burst; ///< reports at a time
    std::vector<double> sentAt{};
    std::vector<Taken> taken{};
    std::vector<double> pauses{}; ///< see usleep
    ReaderBlock snapshot{};
    int end = -1; ///< the server's
    double next = 0;
    std::thread thread{};

    void took(double latitude) {
        const auto number = static_cast<std::size_t>(std::lround(latitude * kNumbersPerDegree));
        const double at = now();
        taken.push_back({number, at, at - sentAt.at(number)});
    }
    void stop() { snapshot.stopRequested = true; }
    bool isStopped() const { return *const_cast<const volatile bool*>(&snapshot.stopRequested); }
};

thread_local Client* client = nullptr;

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// --- What the library calls -------------------------------------------------------------------------------

// The program's definitions are found before the C library's.
extern "C" {

/// The reader gives its semaphore back when the copy of a report has ended.
int sem_post(sem_t* which) noexcept {
    static auto* const real = reinterpret_cast<int (*)(sem_t*)>(dlsym(RTLD_NEXT, "sem_post"));
    if (client != nullptr && which == &semaphore)
        client->took(client->snapshot.latitude);
    return real(which);
}

int usleep(useconds_t microseconds) {
    static auto* const real = next<int(useconds_t)>("usleep");
    const double begin = now();
    const int result = real(microseconds);
    // A pause that was asked for longer than described doesn't move the limit: only how late it ended does.
    if (client != nullptr)
        client->pauses.push_back(1e-6 * kPauseUs + now() - begin - 1e-6 * microseconds);
    return result;
}
}

namespace {

/// What any client does: `take` is called in turns until it is to stop.
template <typename Take>
void readWith(Take take) {
    const auto record = std::make_unique<gps_data_t>();
    if (gps_open("localhost", std::to_string(kPort).c_str(), record.get()) != 0)
        fail("gps_open");
    gps_stream(record.get(), kWatchFlags, nullptr);
    while (!client->isStopped())
        take(*record);
    gps_close(record.get());
}

void takeBare(gps_data_t& record) {
    if (gps_waiting(&record, kWaitUs) && gps_read(&record, nullptr, 0) > 0)
        client->took(record.fix.latitude);
}

struct PlainCopy {
    PlainCopy() { sem_init(&lock, 0, 1); }

    sem_t lock;
    gps_fix_t fix;
    time_t arrivals[kArrivals];
};

/// The reader's steps, as plainly as can be: the fix is copied as it stands.
void takeAsDescribed(gps_data_t& record) {
    static thread_local PlainCopy copy;
    const time_t arrival = time(nullptr);
    if (!gps_waiting(&record, kWaitUs))
        return;
    const bool isRead = gps_read(&record, nullptr, 0) > 0;
    sem_wait(&copy.lock);
    copy.fix = record.fix;
    std::fill(std::begin(copy.arrivals), std::end(copy.arrivals), arrival);
    sem_post(&copy.lock);
    if (isRead)
        client->took(copy.fix.latitude);
    usleep(kPauseUs);
}

void takeAs(Client& self) {
    client = &self;
    const std::string who = self.who;
    if (who == "ours")
        GPSHAL_RUXO_3::ReadData(&self.snapshot);
    else
        readWith(who == "described" ? takeAsDescribed : takeBare);
}

// --- gpsd's part ------------------------------------------------------------------------------------------

int listenAsGpsd() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0)
        fail("port 2947");
    return listener;
}

int acceptClient(int listener) {
    const int end = accept(listener, nullptr, nullptr);
    const int on = 1;
    if (end < 0 || setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        fail("accept");
    return end;
}

std::string report(std::size_t number) {
    char text[512];
    std::snprintf(
        text, sizeof text,
        R"({"class":"TPV","device":"/dev/ttymxc1","status":2,"mode":3,"time":"2026-01-01T00:00:00.000Z",)"
        R"("ept":0.005,"lat":%.3f,"lon":11.576124123,"altHAE":565.4000,"altMSL":519.2000,"alt":519.2000,)"
        R"("epx":3.125,"epy":4.250,"epv":7.500,"track":123.4000,"speed":13.900,"climb":0.100,)"
        R"("eps":8.50,"epc":15.00,"eph":7.125,"sep":12.350})"
        "\r\n",
        static_cast<double>(number) / kNumbersPerDegree);
    return text;
}

bool sendOne(Client& to) {
    const std::string text = report(to.sentAt.size());
    to.sentAt.push_back(now());
    return send(to.end, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

void sendBurst(Client& to) {
    for (int i = 0; i < to.burst; ++i)
        if (!sendOne(to))
            fail("send");
}

using Clients = std::vector<std::unique_ptr<Client>>;

/// Serves all of them until `end`, in the order in which they are due.
void serve(const Clients& clients, double end) {
    while (true) {
        Client& due = **std::min_element(clients.begin(), clients.end(),
                                         [](const auto& a, const auto& b) { return a->next < b->next; });
        if (due.next >= end)
            return;
        sleepUntil(due.next);
        sendBurst(due);
        due.next += 1.0 / due.rate;
    }
}

// --- One turn ---------------------------------------------------------------------------------------------

Clients newClients() {
    Clients clients;
    for (const char* who : {"ours", "described", "bare-loop"}) {
        for (const int rate : kRates)
            clients.push_back(std::make_unique<Client>(Client{who, rate, 1}));
        clients.push_back(std::make_unique<Client>(Client{who, kBurstRate, 2}));
    }
    return clients;
}

/// One after the other, so that it is known whose connection is whose.
void connectAll(const Clients& clients, int listener, double seconds) {
    sem_init(&semaphore, 0, 1); // as `Start` does
    for (const auto& one : clients) {
        one->sentAt.reserve(static_cast<std::size_t>((seconds + 2) * one->rate * one->burst));
        one->thread = std::thread(takeAs, std::ref(*one));
        one->end = acceptClient(listener);
    }
}

/// Phases that differ: the clients are to wait for their reports, not for each other. And others in each
/// turn: who is served just after somebody else finds a core awake.
void setPhases(const Clients& clients, double begin, int turn) {
    double part = kSilverPart * turn;
    for (const auto& one : clients) {
        part = std::fmod(part + kGoldenPart, 1.0);
        one->next = begin + part / one->rate;
    }
}

void stopAll(const Clients& clients) {
    for (const auto& one : clients)
        one->stop();
    for (const auto& one : clients)
        sendOne(*one); // who waits for a report looks at its flag afterwards; who has gone doesn't mind
    for (const auto& one : clients) {
        one->thread.join();
        close(one->end);
    }
}

Clients runTurn(int listener, int turn, double seconds) {
    Clients clients = newClients();
    connectAll(clients, listener, seconds);
    const double begin = now() + 0.1;
    setPhases(clients, begin, turn);
    serve(clients, begin + seconds);
    stopAll(clients);
    return clients;
}

// --- What came of it --------------------------------------------------------------------------------------

/// Seconds of lag that come with each second, of a client that falls behind with each report.
double growthFromEndToEnd(const std::vector<Taken>& taken) {
    return (taken.back().lag - taken.front().lag) / (taken.back().at - taken.front().at);
}

/// The same of one that doesn't: the straight line through all, as a single report may be late.
double growthOfTheLine(const std::vector<Taken>& taken) {
    const auto n = static_cast<double>(taken.size());
    double t = 0, lag = 0, tt = 0, tl = 0;
    for (const Taken& one : taken) {
        t += one.at / n;
        lag += one.lag / n;
    }
    for (const Taken& one : taken) {
        tt += (one.at - t) * (one.at - t);
        tl += (one.at - t) * (one.lag - lag);
    }
    return tl / tt;
}

/// Of the described length, and as late as they ended.
double meanPause(const Client& of) {
    return std::accumulate(of.pauses.begin(), of.pauses.end(), 0.0) / static_cast<double>(of.pauses.size());
}

/// Of a client that always finds a report waiting.
double secondsPerReport(const Client& of) {
    return (of.taken.back().at - of.taken.front().at) / static_cast<double>(of.taken.size() - 1);
}

double growthLimit(const Client& ours, const Client& described) {
    const double besides = secondsPerReport(described) - meanPause(described);
    return 1 - 1 / (ours.rate * (meanPause(ours) + besides));
}

template <typename Wanted>
double medianLagMs(const Client& of, Wanted wanted) {
    std::vector<double> lags;
    for (const Taken& one : of.taken)
        if (wanted(one))
            lags.push_back(1e3 * one.lag);
    return median(lags);
}

double lastLagMs(const Client& of) {
    const double from = of.taken.back().at - kLastSeconds;
    return medianLagMs(of, [from](const Taken& one) { return one.at >= from; });
}

void printLags(const Client& of) {
    if (of.burst > 1) {
        const double lag = medianLagMs(of, [](const Taken& one) { return one.number % 2 == 1; });
        std::printf("value lag-burst %s %.6f\n", of.who, lag);
        return;
    }
    const bool grows = of.rate >= kFirstRateThatGrows;
    if (!grows)
        std::printf("value lag.%d %s %.6f\n", of.rate, of.who,
                    medianLagMs(of, [](const Taken&) { return true; }));
    std::printf("value lag-growth.%d %s %.9f\n", of.rate, of.who,
                grows ? growthFromEndToEnd(of.taken) : growthOfTheLine(of.taken));
}

/// The clients stand in the order of newClients.
void printLimits(const Clients& clients) {
    const std::size_t each = clients.size() / 3;
    for (std::size_t i = 0; i < each; ++i) {
        const Client& ours = *clients[i];
        if (ours.burst == 1 && ours.rate >= kFirstRateThatGrows)
            std::printf("value lag-growth.%d limit %.9f\n", ours.rate, growthLimit(ours, *clients[each + i]));
    }
}

// --- Command line -----------------------------------------------------------------------------------------

int wholeNumber(const char* text) {
    const int number = std::atoi(text);
    if (number < 1) {
        std::fprintf(stderr, "report_lag: wrong argument '%s'\n", text);
        std::exit(kExitUsage);
    }
    return number;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: report_lag TURNS SECONDS\n");
        return kExitUsage;
    }
    const int turns = wholeNumber(argv[1]);
    const int seconds = wholeNumber(argv[2]);
    const int listener = listenAsGpsd();
    std::map<std::pair<std::string, int>, std::vector<double>> lastLags;
    for (int turn = 0; turn < turns; ++turn) {
        const Clients clients = runTurn(listener, turn, seconds);
        for (const auto& one : clients) {
            printLags(*one);
            if (one->burst == 1)
                lastLags[{one->who, one->rate}].push_back(lastLagMs(*one));
        }
        printLimits(clients);
    }
    for (const auto& [line, lags] : lastLags)
        std::printf("point lag %s %d %.6f\n", line.first.c_str(), line.second, median(lags));
    return 0;
}
