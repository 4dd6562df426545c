// An application's locale in every line: the same life in the locale of C and in one that groups digits and
// writes a decimal comma, whose journals (log, commands, callbacks) are compared line by line.

#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <locale>
#include <regex>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "FaultFigures.h"
#include "GpsRecord.h"
#include "RecordingCallback.h"

namespace {

// --- The locale -----------------------------------------------------------------------------------------

constexpr char kName[] = "de_DE";

/// The C library never gives back the search path that it makes of LOCPATH.
std::locale fromLocpath() {
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler disabler;
#endif
    return std::locale(kName);
}

/// In front of all locales, and gone with its content where one can't be made of that.
class LocaleFolder {
public:
    LocaleFolder() {
        EXPECT_NE(mkdtemp(&path_[0]), nullptr);
        setenv("LOCPATH", path_.c_str(), 1);
    }
    ~LocaleFolder() {
        unsetenv("LOCPATH");
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    LocaleFolder(const LocaleFolder&) = delete;
    LocaleFolder& operator=(const LocaleFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_ = std::filesystem::temp_directory_path() / "ruxogps-locale-XXXXXX";
};

/// The application's, for C and C++, as long as it lives. The host needn't have it: localedef makes it.
class GermanLocale {
public:
    GermanLocale() : before_(std::locale::classic()) {
        make();
        before_ = std::locale::global(fromLocpath());
    }
    ~GermanLocale() { std::locale::global(before_); }
    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;

private:
    void make() {
        const std::string source = folder_.path() + "/source";
        std::ofstream(source) << text();
        std::string words[] = {"localedef", "-c", "--quiet",        "-i",
                               source,      "-f", "ANSI_X3.4-1968", folder_.path() + "/" + kName};
        char* arguments[std::size(words) + 1] = {};
        for (std::size_t i = 0; i < std::size(words); ++i)
            arguments[i] = &words[i][0];
        pid_t child = -1;
        EXPECT_EQ(posix_spawnp(&child, words[0].c_str(), nullptr, nullptr, arguments, environ), 0);
        waitpid(child, nullptr, 0); // warnings count as a failure; the locale's use tells
    }

    /// Of a German one's numbers alone: the rest would take seconds.
    static std::string text() {
        std::string all;
        for (const char* category : {"LC_IDENTIFICATION", "LC_CTYPE", "LC_COLLATE", "LC_TIME", "LC_MESSAGES",
                                     "LC_PAPER", "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE", "LC_MEASUREMENT"})
            all += category + std::string("\ncopy \"POSIX\"\nEND ") + category + "\n";
        for (const char* category : {"LC_NUMERIC", "LC_MONETARY"})
            all += category + std::string("\ncopy \"de_DE\"\nEND ") + category + "\n";
        return all;
    }

    LocaleFolder folder_;
    std::locale before_;
};

// --- A life ---------------------------------------------------------------------------------------------

/// A receiver with a database, that acknowledges everything.
Bytes receiverWithDatabase(const Bytes& frame) {
    if (frame[2] == 0x13 && frame.size() == 8)
        return ubxFrame(0x13, 0x80, Bytes(1200, 'x')) + mgaAck(0x80);
    return contentReceiver(frame);
}

/// With fractions wherever a report may have them.
void fillWithFractions(gps_data_t& r) {
    fillNorthbound(r);
    r.fix.speed = 1234.567;
    r.fix.track = 87.65;
    r.dop.pdop = 1.25;
    for (int i = 0; i < r.satellites_visible; ++i) {
        r.skyview[i].PRN = static_cast<short>(1000 + i);
        r.skyview[i].ss = 12345.5 + i;
        r.skyview[i].used = true;
    }
}

/// A service from its construction to its end, with each line that carries a number.
class Life : public UnitTest {
public:
    Life() {
        unit.port.receiver = receiverWithDatabase;
        unit.port.setDumpFile(ubxFrame(0x13, 0x80, Bytes(1100, 'y')) + ubxFrame(0x13, 0x80, "zz") + "000002");
        adapter_ = std::make_unique<GPSAdapter>(&callback_);
        callback_.lock = &((*adapter_).*memberOf(AdapterLock()));
        noDataReadCounter() = 0;
    }
    ~Life() override { unit.clock.afterEachSleep = nullptr; }

    Lines lead() {
        adapter_->setInitialPosition(48137154, 11576124, 519000);
        takeSettings();
        adapter_->Initialize();
        adapter_->Start();
        work(1); // without a fix for the geofence
        reportsCome();
        work(20);
        unit.clock.setUtc(unit.clock.utc() + 1800); // the satellites' lines are due
        reportsCome();
        work(5);
        gpsdFallsSilent();
        callsFail();
        adapter_.reset();
        return unit.journal.lines();
    }

private:
    void TestBody() override {}

    GPSTimedWorker& worker() { return *((*adapter_).*memberOf(AdapterWorker())); }
    GPSHAL_RUXO_3& driver() { return *static_cast<GPSHAL_RUXO_3*>((*adapter_).*memberOf(AdapterHal())); }
    ReaderBlock& block() { return driver().*memberOf(DriverReader()); }

    void takeSettings() {
        GPSParams params;
        adapter_->GetParams(params);
        params.setOdometer = true;
        params.odometerValue = 1234567;
        params.logInterval = 5;
        params.trackingEnabled = params.geofencesEnabled = true;
        params.trackingPeriod = 10;
        params.geofences[11].latitude = 48000000;
        params.geofences[11].longitude = 11500000;
        params.geofences[11].width = params.geofences[11].height = 20000;
        adapter_->SetParams(params);
    }

    /// The reader takes what gpsd's script has, on this thread.
    void read() {
        block().stopRequested = false;
        unit.gpsd.whenLastCycleBegins = [this] { block().stopRequested = true; };
        GPSHAL_RUXO_3::ReadData(&block());
    }
    void reportsCome() {
        for (int i = 0; i < 3; ++i)
            unit.gpsd.reports(fillWithFractions);
        read();
    }
    /// The worker's cycles of so many seconds.
    void work(int seconds) {
        bool& stop = worker().*memberOf(WorkerStopRequested());
        stop = false;
        const auto end = unit.clock.elapsed() + std::chrono::seconds(seconds);
        unit.clock.afterEachSleep = [&stop, end, this](VirtualClock::Duration) {
            stop = unit.clock.elapsed() >= end;
        };
        worker().Run();
        unit.clock.afterEachSleep = nullptr;
    }
    /// Eleven empty waits, the watchdog's restart, and no connection behind it.
    void gpsdFallsSilent() {
        unit.gpsd.isSilent(11);
        read();
        work(2);
        unit.gpsd.openGives(-6, -1);
        unit.gpsd.readGives(-1);
        read();
    }
    void callsFail() {
        unit.timeOfDayError = EFAULT;
        adapter_->UpdateSystemTimeDeviation();
        worker().Start();
        unit.threads.joinFails(EINTR);
        worker().Stop();
        unit.semaphores.fail(VirtualSemaphores::Wait, EINVAL);
        adapter_->LogDetails();
    }

    RecordingCallback callback_;
    std::unique_ptr<GPSAdapter> adapter_;
};

/// As the platform's log writes a number with a fraction in this locale.
Lines withCommas(Lines lines) {
    static const std::regex point("([0-9])[.]([0-9])");
    for (std::string& line : lines)
        if (line.find("Current GPS data: ") != std::string::npos || line.find("PDOP: ") != std::string::npos)
            line = std::regex_replace(line, point, "$1,$2");
    return lines;
}

/// What is compared holds each kind of line with a number that a unit's log may show.
void expectEachKindOfLine(const Lines& lines) {
    for (const char* part : {"Set odometer from 0 to 1234567",
                             "(2 of 2)",
                             "2 MGA messages used",
                             "usleep 250000.",
                             "GPS is available: ",
                             "odometer=1234567",
                             "longitude=11.5 latitude=48.0004",
                             "speed=1234.57m/s",
                             "visible satellites: 12, used satellites: 8, mode: 3, PDOP: 1.25",
                             "PRNs: [1000,1001",
                             "SNRs: [12345.5,12346.5",
                             "1 cycles without",
                             "11 cycles without",
                             "(errno=-6)",
                             "timeofday fails, errno=14",
                             "failed to get semaphore (errno=22)",
                             "check geofence returns rc=0x",
                             "failed to check geofence (error code 0x",
                             "join worker thread (result is 4)",
                             "Initial position assistance",
                             "callback OnTracking 48000",
                             "stty -F /dev/ttymxc1 115200"})
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [part](const std::string& line) {
            return line.find(part) != std::string::npos;
        })) << part;
}

TEST(LocaleLines, AreTheSameInEachLineButForTheDecimalCommaOfTheLogsOwnNumbers) {
    const Lines before = Life().lead();
    expectEachKindOfLine(before);
    Lines within;
    {
        const GermanLocale locale;
        within = Life().lead();
    }
    const Lines expected = withCommas(before);
    ASSERT_EQ(within.size(), expected.size());
    int commas = 0;
    for (std::size_t i = 0; i < within.size(); ++i) {
        EXPECT_EQ(within[i], expected[i]);
        commas += within[i] != before[i] ? 1 : 0;
    }
    EXPECT_GT(commas, 0) << "the locale was not taken";
    faultFigure("system.locale-in-every-line", "lines", static_cast<double>(within.size()));
    faultFigure("system.locale-in-every-line", "lines_with_a_comma", commas);
}

} // namespace
