// Every public operation, as the headers allow, from four threads, while gpsd is killed every nine seconds:
// what ThreadSanitizer looks at. By hand, for minutes (4500 s of the unit's, 10 times as fast as the host's):
//
//   cmake --preset tsan -DRUXOGPS_TESTS=ON && cmake --build --preset tsan
//   export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp:halt_on_error=1"
//   threads=build/tsan/tests/faults/use/unit_threads
//   tools/virtual-unit --speed 10 --receiver '--ttff 2 --burst' -- $threads 3000

#include <fstream>
#include <regex>
#include <set>

#include "EndToEnd.h"
#include "FaultFigures.h"

using testing::Each;
using testing::Ge;
using testing::SizeIs;

namespace {

// The unit's time for the adapter; half as much for the driver. Under a sanitizer, which is what it is for,
// twice as much.
#if defined __SANITIZE_THREAD__
constexpr int kSeconds = 120;
#else
constexpr int kSeconds = 60;
#endif
constexpr int kKillPeriodSeconds = 9;
constexpr int kLeastLives = 2;
constexpr int kCallers = 4;

using Names = std::set<std::string>;

/// What any thread may call.
const Names kAnyones = {"lock",
                        "unlock",
                        "ResetParams",
                        "SetParams",
                        "GetParams",
                        "GetReadings",
                        "GetMaxGeoFences",
                        "SetNTPServiceAvailable",
                        "GetNTPServiceAvailable"};

/// The public operations of `type` in its public header: what stands before "private:", at the depth of a
/// member, and isn't deleted.
Names operationsInHeader(const std::string& type) {
    static const std::regex member(R"(^    (?!//)(?:[\w*]+ )*(~?\w+)\(.*)");
    std::ifstream header(PUBLIC_HEADERS "/" + type + ".h");
    Names names;
    std::smatch match;
    for (std::string line; std::getline(header, line) && line != "private:";)
        if (std::regex_match(line, match, member) && line.find("= delete") == std::string::npos)
            names.insert(type + "::" + match[1].str());
    return names;
}

class UseFromThreads : public EndToEndTest {
protected:
    void use(const std::string& argument) {
        unit.script(UNIT_THREADS " " + argument);
        EXPECT_EQ(unit.status(), 0) << "a race, a crash, two threads in the lock, or no fix in the end";
    }
    /// The times that gpsd was there to be killed.
    std::size_t kills() const {
        std::size_t count = 0;
        for (const ProbeLine& kill : unit.lines("kill", "gpsd"))
            count += kill.text("status") == "0" ? 1 : 0;
        return count;
    }
    double calls() const {
        double sum = 0;
        for (const ProbeLine& called : unit.lines("called"))
            sum += called.number("calls");
        return sum;
    }
    void expectEachOperationCalled() const {
        for (const ProbeLine& called : unit.lines("called"))
            EXPECT_GE(called.number("calls"), 1) << called.name;
        for (const std::string& name : kAnyones)
            EXPECT_EQ(unit.line("called", "GPSAdapter::" + name).number("threads"), kCallers) << name;
    }
};

} // namespace

TEST_F(UseFromThreads, KnowsEachPublicOperation) {
    use("list");
    Names known;
    for (const ProbeLine& operation : unit.lines("called"))
        known.insert(operation.name);
    Names expected = operationsInHeader("GPSHAL");
    expected.erase("GPSHAL::GPSHAL"); // the base's, which GetNewInstance calls
    expected.merge(operationsInHeader("GPSAdapter"));
    EXPECT_EQ(known, expected);
    faultFigure("use.four-threads-know-each-operation", "operations", static_cast<double>(known.size()));
}

TEST_F(UseFromThreads, OfEveryOperationIsSafeWhileGpsdIsKilled) {
    unit.receiver("--ttff 2 --burst");
    use(std::to_string(kSeconds));
    expectEachOperationCalled();
    EXPECT_THAT(unit.lines("life"), SizeIs(Ge(std::size_t{kLeastLives})));
    EXPECT_GE(unit.lines("kill", "gpsd").size(), kSeconds * 3 / 2 / kKillPeriodSeconds) << "tries to kill it";
    EXPECT_GE(kills(), unit.lines("life").size()) << "each life has a gpsd, and lasts several tries";
    EXPECT_THAT(unit.lines("fix", "after-all"), SizeIs(1));
    faultFigure("use.four-threads", "calls", calls());
    faultFigure("use.four-threads", "kills", static_cast<double>(kills()));
    faultFigure("use.four-threads", "recovery_s", unit.line("fix", "after-all").number("seconds"));
}
