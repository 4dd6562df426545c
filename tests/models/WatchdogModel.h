#ifndef WATCHDOGMODEL_H
#define WATCHDOGMODEL_H

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

/// Reader and watchdog in time: what each cycle of the reader brings, and what a query does about it. All
/// times in microseconds since the virtual unit was made.
class WatchdogModel {
public:
    enum Find { Report, HalfALine, Nobody, Nothing };
    struct Cycle {
        int find = Nothing;
        int64_t waitUs = 0;
        int64_t fix = kNoFix; ///< the number of the position that a report brings
    };
    static constexpr int64_t kNoFix = -1;

    std::deque<Cycle> script;                     ///< behind its end nothing comes
    std::function<Cycle(int64_t now)> afterwards; ///< or this
    std::function<void(int64_t now)> atStart;     ///< gpsd is started
    int64_t now = 0;
    int64_t killUs = 0;  ///< how long gpsd's end takes
    int64_t startUs = 0; ///< how long its begin takes
    bool daemonRuns = false;
    std::size_t threads = 0;
    std::vector<std::string> log;

    void pass(int64_t us) { passTo(now + us); }

    // The application's operations, with their results.

    uint32_t initialize() {
        if (active_)
            return 0;
        kill();
        if (!daemonRuns && atStart)
            atStart(now);
        now += startUs;
        daemonRuns = true;
        initialized_ = now;
        active_ = true;
        return 0;
    }
    uint32_t start() {
        if (!active_)
            return kNotRunning;
        if (running_)
            return 0;
        running_ = true;
        const int64_t elapsed = now / kSecond - initialized_ / kSecond;
        if (elapsed <= 2) {
            log.push_back("6 GPSD Start: requires additional start delay.");
            pass((3 - elapsed) * kSecond);
        }
        statusSecond_ = fixSecond_ = kLongAgo;
        reader_ = {true, false, kNoFix, now};
        ++threads;
        return 0;
    }
    uint32_t stop() {
        if (!running_)
            return 0;
        const int64_t told = now;
        while (reader_.isAlive && reader_.at <= told)
            readerCycle(); // it finds out when its cycle is over
        now = std::max(now, reader_.at);
        reader_.isAlive = false;
        running_ = false;
        return 0;
    }
    uint32_t finalize() {
        stop();
        kill();
        active_ = false;
        return 0;
    }

    /// The result of a query for a fix, the antenna being in order.
    uint32_t query() {
        const int64_t second = now / kSecond;
        if (emptyCycles_ > kMostEmptyCycles)
            restart();
        if (!running_)
            return kNotRunning;
        return statusSecond_ >= second - 10 ? 0 : 0x17000205;
    }
    /// The number of the position that is known in this second.
    int64_t fixIn(int64_t second) const { return fixSecond_ >= second - 10 ? lastFix_ : kNoFix; }
    bool hasAStatusIn(int64_t second) const { return statusSecond_ >= second - 10; }

private:
    static constexpr uint32_t kNotRunning = 0x17000002;
    static constexpr int64_t kSecond = 1000000;
    static constexpr int64_t kLongAgo = INT64_MIN;
    static constexpr unsigned int kMostEmptyCycles = 10;

    struct Reader {
        bool isAlive = false;
        bool hasAReport = false; ///< its session has seen one
        int64_t fix = kNoFix;    ///< of the last one
        int64_t at = 0;          ///< where its next cycle begins
    };

    void kill() {
        now += daemonRuns ? killUs : 0;
        daemonRuns = false;
    }
    void restart() {
        log.push_back("3 GPSD does not provide any data - restarting GPSD");
        finalize();
        now += 100 + kSecond; // the receiver's reset; it acknowledges at once
        now += 5 * kSecond;
        initialize();
        start();
        emptyCycles_ = 0;
    }

    /// Lets the reader do all that is over by then. It may be in the middle of a cycle.
    void passTo(int64_t until) {
        while (reader_.isAlive && nextEnd() <= until)
            readerCycle();
        now = until;
    }
    Cycle next() const {
        if (!script.empty())
            return script.front();
        return afterwards ? afterwards(reader_.at) : Cycle{};
    }
    /// When the next cycle's wait is over, which is where its effect is.
    int64_t nextEnd() const {
        const Cycle cycle = next();
        return reader_.at + (cycle.find == Nothing ? 5 * kSecond : cycle.waitUs);
    }
    void readerCycle() {
        const Cycle cycle = next();
        const int64_t end = nextEnd();
        if (!script.empty())
            script.pop_front();
        if (cycle.find == Nothing)
            hearNothing();
        else
            read(cycle);
        reader_.at = end + (cycle.find == Nothing ? 0 : kSecond / 20);
    }
    void hearNothing() {
        ++emptyCycles_;
        if (emptyCycles_ > kMostEmptyCycles) {
            log.push_back("3 Close GPS socket");
            reader_.isAlive = false;
        }
        tellEmptyCycles();
    }
    void read(const Cycle& cycle) {
        if (cycle.find == Report)
            reader_.hasAReport = true, reader_.fix = cycle.fix;
        else
            ++emptyCycles_, tellEmptyCycles();
        if (reader_.hasAReport)
            statusSecond_ = reader_.at / kSecond;
        if (reader_.fix != kNoFix)
            fixSecond_ = reader_.at / kSecond, lastFix_ = reader_.fix;
    }
    void tellEmptyCycles() {
        log.push_back("3 " + std::to_string(emptyCycles_) +
                      " cycles without any data reception have been detected");
    }

    bool active_ = false;
    bool running_ = false;
    unsigned int emptyCycles_ = 0;
    int64_t initialized_ = 0;
    int64_t statusSecond_ = kLongAgo;
    int64_t fixSecond_ = kLongAgo;
    int64_t lastFix_ = kNoFix;
    Reader reader_;
};

#endif
