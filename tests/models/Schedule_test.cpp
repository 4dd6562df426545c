// Random settings and clocks against a model of the worker's timetable: every task of every cycle.

#include "Histories.h"
#include "ScheduleModel.h"
#include "WorkerFixture.h"

namespace {

/// Cycles without a change, and what changes in the pause behind them.
struct Stretch {
    enum Change { Nothing, TakesATimetable, SetsItsClock, SetsItsTick, IsDisabled };
    int cycles = 1;
    int slowness = 0;       ///< seconds that each position task of it takes
    int statusSlowness = 0; ///< and each status task
    int change = Nothing;
    Timetable wanted;
    int64_t utc = 0;
    uint32_t tick = 0;
};

std::ostream& operator<<(std::ostream& out, const Timetable& t) {
    return out << "{" << t.enabled << ", " << t.positionInterval << "u, " << t.statusInterval << "u, "
               << t.trackingEnabled << ", " << t.trackingPeriod << ", " << t.trackingBase << ", "
               << t.trackingOffset << ", " << t.geofencesEnabled << ", " << t.logInterval << "u}";
}

std::ostream& operator<<(std::ostream& out, const Stretch& s) {
    return out << "{" << s.cycles << ", " << s.slowness << "+" << s.statusSlowness << ", " << s.change << ", "
               << s.wanted << ", " << s.utc << ", " << s.tick << "u}";
}

rc::Gen<int32_t> shifts() {
    return rc::gen::oneOf(from(-40, 40),
                          rc::gen::element<int32_t>(1700000030, 1699999970, INT32_MAX, INT32_MIN));
}

rc::Gen<Timetable> timetables() {
    using T = Timetable;
    return rc::gen::build<T>(
        rc::gen::set(&T::positionInterval,
                     rc::gen::oneOf(from(1u, 8u), rc::gen::element<uint32_t>(4294, 4295, UINT32_MAX))),
        rc::gen::set(&T::statusInterval, rc::gen::oneOf(from(0u, 12u), rc::gen::just(UINT32_MAX))),
        rc::gen::set(&T::trackingEnabled, rc::gen::weightedElement<bool>({{4, true}, {1, false}})),
        rc::gen::set(&T::trackingPeriod,
                     rc::gen::weightedOneOf<int32_t>(
                         {{6, from(1, 30)},
                          {2, from(-30, 0)},
                          {1, rc::gen::element<int32_t>(INT32_MAX, INT32_MIN + 1, INT32_MIN)}})),
        rc::gen::set(&T::trackingBase, shifts()), rc::gen::set(&T::trackingOffset, shifts()),
        rc::gen::set(&T::geofencesEnabled, rc::gen::arbitrary<bool>()),
        rc::gen::set(&T::logInterval, rc::gen::oneOf(from(0u, 20u), rc::gen::element<uint32_t>(
                                                                        4095, 4096, 4100, UINT32_MAX))));
}

rc::Gen<uint32_t> tickCounts() {
    return rc::gen::oneOf(from(0u, 12u), rc::gen::element<uint32_t>(5000, UINT32_MAX - 15, 1u << 31));
}

rc::Gen<Stretch> stretches() {
    using S = Stretch;
    return rc::gen::build<S>(
        rc::gen::set(&S::cycles, from(1, 12)),
        rc::gen::set(&S::slowness, rc::gen::weightedElement<int>({{6, 0}, {1, 1}, {1, 9}})),
        rc::gen::set(&S::statusSlowness, rc::gen::weightedElement<int>({{6, 0}, {1, 1}, {1, 9}})),
        rc::gen::set(&S::change, rc::gen::weightedElement<int>({{6, S::Nothing},
                                                                {4, S::TakesATimetable},
                                                                {2, S::SetsItsClock},
                                                                {1, S::SetsItsTick},
                                                                {1, S::IsDisabled}})),
        rc::gen::set(&S::wanted, timetables()),
        rc::gen::set(&S::utc, rc::gen::oneOf(from<int64_t>(0, 90), from<int64_t>(1699999900, 1700000100),
                                             rc::gen::just<int64_t>(INT32_MAX - 400))),
        rc::gen::set(&S::tick, tickCounts()));
}

/// The worker's own thread is the test's: `Run` works in the worker's pauses.
class Service : public WorkerFixture {
public:
    Service(const Timetable& first, uint32_t tick, const std::vector<Stretch>& history)
        : wanted_(first), model_(first), history_(history) {
        unit.clock.setTick(tick);
        hal->atCall = [this](const std::string& name) { slowDown(name); };
        callback.atCall = nullptr;
        take(first);
    }
    void TestBody() override {}

    void run() {
        stopRequested() = history_.empty();
        next();
        unit.clock.afterEachSleep = [this](VirtualClock::Duration) { pause(); };
        worker().Run();
        unit.clock.afterEachSleep = nullptr;
        RC_ASSERT(failure_ == "");
        RC_ASSERT(stretch_ == history_.size() || !wanted_.enabled);
    }

private:
    /// The query behind the position task may take seconds, as it does while the receiver is restarted; the
    /// last of the status task where the platform is busy.
    void slowDown(const std::string& name) {
        if (stretch_ == history_.size() || (name != kPositionQuery && name != kLastStatusQuery))
            return;
        const Stretch& s = history_[stretch_];
        const auto hook = std::move(unit.clock.afterEachSleep);
        unit.clock.afterEachSleep = nullptr;
        unit.clock.advance((name == kPositionQuery ? s.slowness : s.statusSlowness) * kSecond);
        unit.clock.afterEachSleep = hook;
    }
    /// Seconds that a task took in this cycle.
    int secondsOf(const char* query, int slowness) const {
        return unit.journal.count("hal " + std::string(query)) != 0 ? slowness : 0;
    }

    /// In the pause behind a cycle: was it the model's?
    void pause() {
        const int position = secondsOf(kPositionQuery, history_[stretch_].slowness);
        const int status = secondsOf(kLastStatusQuery, history_[stretch_].statusSlowness);
        const auto later = static_cast<uint32_t>(began_ + static_cast<uint32_t>(position + status));
        const auto utc = beganUtc_ + position;
        const Lines wanted = linesOf(model_.cycle(wanted_, began_, later, utc));
        if (cycle() != wanted && failure_.empty())
            failure_ =
                "did " + ::testing::PrintToString(cycle()) + ", wanted " + ::testing::PrintToString(wanted);
        if (stopRequested())
            return; // disabled: this was the last one
        if (!wanted_.enabled && failure_.empty())
            failure_ = "goes on although it is disabled";
        if (++cycles_ == history_[stretch_].cycles)
            endStretch();
        next();
    }
    void endStretch() {
        change(history_[stretch_]);
        cycles_ = 0;
        stopRequested() = ++stretch_ == history_.size();
    }
    void next() {
        unit.forget();
        began_ = unit.clock.tick();
        beganUtc_ = unit.clock.utc();
    }

    void change(const Stretch& s) {
        if (s.change == Stretch::SetsItsClock)
            unit.clock.setUtc(static_cast<time_t>(s.utc));
        if (s.change == Stretch::SetsItsTick)
            unit.clock.setTick(s.tick);
        if (s.change == Stretch::TakesATimetable)
            wanted_ = s.wanted;
        wanted_.enabled = s.change != Stretch::IsDisabled;
        take(wanted_);
    }
    void take(const Timetable& t) {
        set([&t](GPSParams& p) {
            p.enabled = t.enabled;
            p.positionInterval = t.positionInterval;
            p.statusInterval = t.statusInterval;
            p.trackingEnabled = t.trackingEnabled;
            p.trackingPeriod = t.trackingPeriod;
            p.trackingBase = t.trackingBase;
            p.trackingOffset = t.trackingOffset;
            p.geofencesEnabled = t.geofencesEnabled;
            p.geofences[11].width = p.geofences[11].height = 1; // without a fix its check fails
            p.logInterval = t.logInterval;
        });
    }

    /// What shows that a task was done.
    Lines linesOf(const std::vector<ScheduleModel::Task>& tasks) const {
        static const std::vector<Lines> lines = {
            {"hal GetData"},
            {"log 3 src/GPSTimedWorker.cpp GPS worker failed to check geofence (error code 0x17000021)!"},
            {"callback OnTracking 0 0"},
            {"hal GetSatellites", "hal GetSatellites", "hal GetAntennaStatus", "hal GetCurrentTime",
             "hal GetErrorEstimates"},
            {"log 6 src/GPSAdapter.cpp Current GPS data: not valid"}};
        Lines all;
        for (const ScheduleModel::Task task : tasks)
            all.insert(all.end(), lines[task].begin(), lines[task].end());
        all.push_back("usleep " + std::to_string(model_.pauseUs));
        return all;
    }
    Lines cycle() {
        return unit.journal.only({"hal ", "log 3 src/GPSTimedWorker", "callback OnTracking", "usleep",
                                  "log 6 src/GPSAdapter.cpp Current"});
    }

    static constexpr char kPositionQuery[] = "GetData";
    static constexpr char kLastStatusQuery[] = "GetErrorEstimates";

    Timetable wanted_;
    ScheduleModel model_;
    const std::vector<Stretch> history_;
    std::size_t stretch_ = 0;
    int cycles_ = 0;
    uint32_t began_ = 0;
    int64_t beganUtc_ = 0;
    std::string failure_; // thrown later: between here and the test stands the library
};

TEST(ScheduleModel, HoldsForEveryTaskOfEveryCycle) {
    forRandomHistories([] {
        Service service(*timetables(), *tickCounts(), *historyOf(stretches(), 30));
        service.run();
    });
}

} // namespace
