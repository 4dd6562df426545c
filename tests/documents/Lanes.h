#ifndef LANES_H
#define LANES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Drawn.h"
#include "VirtualUnit.h"

/// What happens on a virtual unit as intervals and moments in lanes, read off its journal while time passes.
/// Captured threads only.
class Lanes {
public:
    explicit Lanes(VirtualUnit& onUnit) : unit(onUnit), zero(onUnit.clock.elapsed()) {
        unit.journal.clear();
        unit.clock.afterEachSleep = [this](VirtualClock::Duration length) { slept(length); };
    }
    ~Lanes() { unit.clock.afterEachSleep = nullptr; }
    Lanes(const Lanes&) = delete;
    Lanes& operator=(const Lanes&) = delete;

    /// The application calls something.
    template <typename Call>
    void call(const std::string& name, Call call) {
        take(milliseconds());
        begins("application", name, milliseconds());
        call();
        take(milliseconds());
        ends("application", milliseconds());
    }
    /// The library's own threads have come so far.
    void catchUp() { take(milliseconds()); }

    void begins(const std::string& lane, const std::string& what, std::int64_t at) {
        ends(lane, at);
        open[lane] = {lane, what, at, at};
    }
    void ends(const std::string& lane, std::int64_t at) {
        const auto it = open.find(lane);
        if (it == open.end())
            return;
        it->second.to = at;
        rows.push_back(it->second);
        open.erase(it);
    }
    void happens(const std::string& lane, const std::string& what, std::int64_t at) {
        rows.push_back({lane, what, at, at});
    }

    /// Ends what still goes on, and writes all rows.
    void draw(Drawn& drawn) {
        take(milliseconds());
        while (!open.empty())
            ends(open.begin()->first, milliseconds());
        for (const Row& row : rows)
            drawn.row(row.lane, row.from, row.to, row.what);
    }

    /// Since this began.
    std::int64_t milliseconds() const { return sinceZero(unit.clock.elapsed()); }

private:
    struct Row {
        std::string lane;
        std::string what;
        std::int64_t from;
        std::int64_t to;
    };
    enum Kind { Begins, Ends, Happens };
    struct Rule {
        const char* line; // the journal's line begins with it
        Kind kind;
        const char* lane;
        const char* what;
    };

    static constexpr Rule kRules[] = {
        {"system killall -9 gpsd", Happens, "gpsd", "killall -9"},
        {"system echo 0 >", Happens, "receiver", "reset"},
        {"system timeout -t 1 stty -F /dev/ttymxc1 9600", Begins, "line", "9600 baud"},
        {"system timeout -t 1 stty -F /dev/ttymxc1 115200", Begins, "line", "115200 baud"},
        {"fopen /dev/ttymxc1", Begins, "port", "library"},
        {"fclose /dev/ttymxc1", Ends, "port", ""},
        {"log 6 src/GPSHAL_RUXO_3.cpp UBXConfig: Setting baud", Happens, "commands", "port"},
        {"log 6 src/GPSHAL_RUXO_3.cpp UBXConfig: Setting NMEA", Happens, "commands", "configuration"},
        {"log 6 src/GPSHAL_RUXO_3.cpp UBXConfig: Polling", Happens, "commands", "poll"},
        {"fopen /data/NavigationDatabaseDump rb", Happens, "database", "is read"},
        {"fopen /data/NavigationDatabaseDump wb", Happens, "database", "is written"},
        {"popen kill -9 $(pidof gpsd)", Happens, "gpsd", "kill -9"},
        {"popen gpsd ", Begins, "gpsd", "runs"},
        {"remove /var/run/gpsd.pid", Ends, "gpsd", ""},
        {"gps_close", Ends, "reader", ""},
        {"usleep 21701", Begins, "waits", "acknowledgements"},
        {"usleep 1000000", Begins, "waits", "reset"},
        {"sleep 1", Begins, "waits", "gpsd"},
        {"sleep 5", Begins, "waits", "a pause"},
        {"ruxosleep", Begins, "waits", "gpsd's first seconds"},
        {"pthread_create thread 1", Begins, "reader", "takes reports"},
        {"pthread_create thread 2", Begins, "worker", "runs its cycles"},
        {"pthread_create thread 3", Begins, "reader", "takes reports"}, // of a restart
        {"pthread_join thread 1", Ends, "reader", ""},
    };

    std::int64_t sinceZero(VirtualClock::Duration elapsed) const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed - zero).count();
    }
    void slept(VirtualClock::Duration length) {
        const std::int64_t now = milliseconds();
        take(sinceZero(unit.clock.elapsed() - length));
        if (open.count("waits") != 0)
            ends("waits", now);
    }
    void take(std::int64_t at) {
        for (const std::string& line : unit.journal.take()) {
            takeCount(line, at);
            for (const Rule& rule : kRules)
                if (line.rfind(rule.line, 0) == 0)
                    apply(rule, at);
        }
    }
    /// The reader's count of cycles without data.
    void takeCount(const std::string& line, std::int64_t at) {
        const std::string before = "log 3 src/GPSHAL_RUXO_3.cpp ";
        const std::size_t end = line.find(" cycles without any data");
        if (end != std::string::npos)
            happens("empty cycles", line.substr(before.size(), end - before.size()), at);
    }
    void apply(const Rule& rule, std::int64_t at) {
        if (rule.kind == Begins && goesOn(rule, at))
            return;
        if (rule.kind == Begins)
            begins(rule.lane, rule.what, at);
        else if (rule.kind == Ends)
            ends(rule.lane, at);
        else
            happens(rule.lane, rule.what, at);
    }
    /// A wait that follows upon one of its kind is the same one.
    bool goesOn(const Rule& rule, std::int64_t at) {
        const bool same = !rows.empty() && rows.back().lane == rule.lane && rows.back().what == rule.what &&
                          rows.back().to == at && rows.back().from != at;
        if (!same)
            return false;
        open[rule.lane] = rows.back();
        rows.pop_back();
        return true;
    }

    VirtualUnit& unit;
    const VirtualClock::Duration zero;
    std::map<std::string, Row> open;
    std::vector<Row> rows;
};

#endif
