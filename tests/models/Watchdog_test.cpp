// Random ways of gpsd to fall silent, die and come back, and random uses of the driver, against a model of
// reader and watchdog in time. The reader has a thread of its own on the virtual clock.

#include "DriverFixture.h"
#include "GpsRecord.h"
#include "Histories.h"
#include "WatchdogModel.h"

namespace {

/// What an application does after a pause.
struct Step {
    enum Kind { Queries, Stops, Starts, Finalizes, Initializes };
    int kind = Queries;
    int pauseMs = 1;
};

std::ostream& operator<<(std::ostream& out, const Step& s) {
    return out << "{" << s.kind << ", " << s.pauseMs << " ms}";
}

/// So many cycles of the reader of one kind.
struct Stretch {
    int find = WatchdogModel::Nothing;
    int cycles = 1;
    int waitMs = 1;
};

std::ostream& operator<<(std::ostream& out, const Stretch& s) {
    return out << "{" << s.find << ", " << s.cycles << " times, " << s.waitMs << " ms}";
}

rc::Gen<Step> steps() {
    using S = Step;
    return rc::gen::build<S>(
        rc::gen::set(
            &S::kind,
            rc::gen::weightedElement<int>(
                {{16, S::Queries}, {1, S::Stops}, {2, S::Starts}, {1, S::Finalizes}, {2, S::Initializes}})),
        rc::gen::set(&S::pauseMs, rc::gen::oneOf(from(1, 3000), from(1, 30000))));
}

rc::Gen<Stretch> stretches() {
    using S = Stretch;
    return rc::gen::build<S>(rc::gen::set(&S::find, from<int>(WatchdogModel::Report, WatchdogModel::Nothing)),
                             rc::gen::set(&S::cycles, from(1, 14)),
                             rc::gen::set(&S::waitMs, rc::gen::oneOf(from(1, 900), from(1, 4900))));
}

class Supervision : public DriverFixture {
public:
    Supervision(int checksUntilGone, int checksUntilUp, const std::vector<Stretch>& script) {
        unit.useRealThreads();
        unit.shell.daemon.checksUntilGone = checksUntilGone;
        unit.shell.daemon.checksUntilUp = checksUntilUp;
        model_.killUs = (checksUntilGone - 1) * 1000000;
        model_.startUs = (checksUntilUp - 1) * 1000000;
        model_.now = unit.clock.elapsed().count();
        for (const Stretch& stretch : script)
            for (int i = 0; i < stretch.cycles; ++i)
                add({stretch.find, stretch.waitMs * 1000});
        initialize();
        start();
    }
    void TestBody() override {}

    void take(const Step& step) {
        // The odd microseconds keep its moments apart from the reader's.
        const int64_t pause = step.pauseMs * 1000 + 7;
        unit.clock.advance(std::chrono::microseconds(pause));
        model_.pass(pause);
        if (step.kind == Step::Queries)
            query();
        if (step.kind == Step::Stops)
            expectSame(model_.stop(), driver->Stop());
        if (step.kind == Step::Starts)
            start();
        if (step.kind == Step::Finalizes)
            expectSame(model_.finalize(), driver->Finalize());
        if (step.kind == Step::Initializes)
            initialize();
        RC_ASSERT(unit.clock.elapsed().count() == model_.now);
        RC_ASSERT(logged() == model_.log);
        RC_ASSERT(unit.threads.count() == model_.threads);
        RC_ASSERT(unit.shell.daemon.running == model_.daemonRuns);
    }

private:
    void add(const WatchdogModel::Cycle& cycle) {
        model_.script.push_back(cycle);
        const std::chrono::microseconds wait(cycle.waitUs);
        if (cycle.find == WatchdogModel::Nothing)
            unit.gpsd.isSilent();
        else if (cycle.find == WatchdogModel::Report)
            unit.gpsd.reports(fillNorthbound, wait);
        else
            unit.gpsd.readGives(cycle.find == WatchdogModel::HalfALine ? 0 : -1, wait);
    }
    void initialize() { expectSame(model_.initialize(), driver->Initialize()); }
    void start() { expectSame(model_.start(), driver->Start()); }
    static void expectSame(uint32_t wanted, uint32_t result) { RC_ASSERT(result == wanted); }
    void query() {
        GPSData fix;
        const uint32_t wanted = model_.query();
        RC_ASSERT(driver->GetData(fix) == wanted);
        RC_ASSERT(fix.valid == (wanted == 0));
    }
    /// Without what the receiver's configuration tells of itself.
    Lines logged() {
        Lines lines;
        for (const std::string& line : unit.log.texts())
            if (line.find("UBXConfig") == std::string::npos)
                lines.push_back(line);
        return lines;
    }

    WatchdogModel model_;
};

TEST(WatchdogModel, HoldsWhateverGpsdDoes) {
    forRandomHistories([] {
        Supervision supervision(*from(1, 4), *from(1, 4), *historyOf(stretches(), 20));
        for (const Step& step : *historyOf(steps(), 30))
            supervision.take(step);
    });
}

} // namespace
