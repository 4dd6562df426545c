// Nothing from outside reaches a shell but as \xHH: whatever stands in the database file, comes from the
// receiver, from gpsd or from the application's settings, each command is one of the fixed texts or one frame
// in its escaped form.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <random>
#include <string>

#include "AdapterMembers.h"
#include "AllowedCommands.h"
#include "DriverMembers.h"
#include "GpsRecord.h"
#include "RecordingCallback.h"

namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

/// What a shell would do something about.
const std::string kShellWords[] = {
    "$(reboot)", "`reboot`", "\"; reboot; \"", "' | sh", "\n reboot\n", "> /etc/passwd",
    "%n%s%x",    "\\x41",    "\xb5\x62",       "${IFS}", "*",           "&"};

/// Bytes that differ in each round, and are the same in each run.
class Hostile {
public:
    explicit Hostile(unsigned int seed) : random_(seed) {}

    uint32_t number() { return static_cast<uint32_t>(random_()); }
    uint32_t below(uint32_t limit) { return number() % limit; }
    double real() {
        constexpr double kWild[] = {0, -1, 90, 180, 1e308, -1e308, INFINITY, -INFINITY, NAN};
        return below(2) == 0 ? kWild[below(9)] : static_cast<double>(number()) / 1e4 - 2e5;
    }
    Bytes bytes(uint32_t most) {
        Bytes result(below(most), '\0');
        for (char& c : result)
            c = static_cast<char>(random_());
        return result;
    }
    /// Shell words between random bytes.
    Bytes text() { return bytes(8) + kShellWords[below(std::size(kShellWords))] + bytes(8); }

    /// A file of frames of any class, right or damaged, junk, and any trailer or none.
    Bytes file() {
        Bytes content;
        for (uint32_t pieces = below(8); pieces > 0; --pieces)
            content += below(3) == 0 ? text() : frame();
        return content + (below(2) == 0 ? "000003" : text());
    }
    /// A reply of acknowledgements, database frames and whatever else.
    Bytes reply() {
        switch (below(4)) {
        case 0:
            return text();
        case 1:
            return frame() + frame() + mgaAck(0x80);
        case 2:
            return ackAck(static_cast<uint8_t>(number()), static_cast<uint8_t>(number()));
        default:
            return frame() + text() + mgaAck(static_cast<uint8_t>(number()));
        }
    }

private:
    Bytes frame() {
        const bool isDatabase = below(2) == 0;
        const auto msgClass = static_cast<uint8_t>(isDatabase ? 0x13 : number());
        const auto msgId = static_cast<uint8_t>(isDatabase ? 0x80 : number());
        Bytes whole = ubxFrame(msgClass, msgId, text());
        whole.resize(whole.size() - below(4));
        return whole;
    }

    std::mt19937 random_;
};

/// A service on a virtual unit, from its construction on.
class HostileInputs : public UnitTest {
protected:
    using Round = std::function<void(Hostile&)>;

    /// `round` again and again, each on a unit as it was; every command is looked at.
    void tryRounds(unsigned int rounds, const Round& round) {
        for (unsigned int seed = 0; seed < rounds && !HasFailure(); ++seed) {
            Hostile hostile(seed);
            unit.shell.daemon = VirtualDaemon();
            unit.clock.setUtc(VirtualClock::kStartUtc);
            noDataReadCounter() = 0;
            round(hostile);
            lookAtTheCommands(seed);
        }
    }
    void lookAtTheCommands(unsigned int seed) {
        Lines others;
        for (const std::string& line : unit.journal.take()) {
            commands += isCommand(line) ? 1 : 0;
            frames += line.compare(0, 15, "system echo -e ") == 0 ? 1 : 0;
            if (isCommand(line) && !isAllowedCommand(line))
                others.push_back(line);
        }
        EXPECT_THAT(others, IsEmpty()) << "in round " << seed;
        unit.forget();
    }

    /// Starts the service, lets its worker take a fix, and ends it.
    void serve(GPSAdapter& adapter) {
        adapter.Initialize();
        unit.clock.advance(std::chrono::seconds(3));
        adapter.Start();
        adapter.UpdateCurrentPosition();
        adapter.UpdateGeofence();
        adapter.SendTracking();
        adapter.LogDetails();
    }
    /// One run of the driver's reader thread through what gpsd sends.
    void readReports(GPSAdapter& adapter) {
        auto& driver = static_cast<GPSHAL_RUXO_3&>(*(adapter.*memberOf(AdapterHal())));
        unit.gpsd.whenLastCycleBegins = [&driver] {
            (driver.*memberOf(DriverReader())).stopRequested = true;
        };
        unit.threads.run(unit.threads.count() - 2); // the worker's was made behind it
        unit.gpsd.whenLastCycleBegins = nullptr;
    }

    RecordingCallback callback;
    std::size_t commands = 0;
    std::size_t frames = 0;
};

void fillWith(Hostile& hostile, gps_data_t& r) {
    r.set = hostile.number() | (gps_mask_t{hostile.number()} << 32);
    for (double* value :
         {&r.fix.latitude, &r.fix.longitude, &r.fix.track, &r.fix.speed, &r.fix.climb, &r.fix.ept, &r.fix.epx,
          &r.fix.epy, &r.fix.epv, &r.dop.pdop, &r.dop.hdop, &r.dop.tdop, &r.dop.gdop})
        *value = hostile.real();
    setAltitude(r, hostile.real());
    setTime(r, static_cast<int32_t>(hostile.number()), 0);
    r.satellites_visible = static_cast<int>(hostile.number());
    r.satellites_used = static_cast<int>(hostile.number());
}

void setHostile(Hostile& hostile, GPSParams& params) {
    params.geofencesEnabled = true;
    params.trackingEnabled = true;
    params.trackingPeriod = static_cast<int32_t>(hostile.number());
    params.odometerValue = hostile.number();
    params.setOdometer = true;
    for (GPSGeofence& geofence : params.geofences) {
        geofence.name.setStr(hostile.text().c_str());
        geofence.latitude = static_cast<int32_t>(hostile.number());
        geofence.longitude = static_cast<int32_t>(hostile.number());
        geofence.width = hostile.number();
        geofence.height = hostile.number();
    }
}

} // namespace

TEST_F(HostileInputs, OfADatabaseFileReachTheShellAsFramesAlone) {
    tryRounds(150, [this](Hostile& hostile) {
        unit.port.setDumpFile(hostile.file());
        const UbxConfigHandler handler;
    });
    EXPECT_GT(frames, 150u * 8) << "six of a construction and its end, and those of the file";
}

TEST_F(HostileInputs, OfAReceiverReachTheShellAsFramesAlone) {
    Hostile receiver(1);
    unit.port.receiver = [&receiver](const Bytes&) { return receiver.reply(); };
    tryRounds(200, [](Hostile&) { const UbxConfigHandler handler; });
    EXPECT_GT(frames, 200u * 6) << "what a dump saved is sent back by the next construction";
}

TEST_F(HostileInputs, OfGpsdReachNoShell) {
    tryRounds(100, [this](Hostile& hostile) {
        GPSAdapter adapter(&callback);
        serve(adapter);
        lookAtTheCommands(0);
        const std::size_t before = commands;
        for (int i = 0; i < 5; ++i)
            unit.gpsd.reports([&hostile](gps_data_t& r) { fillWith(hostile, r); });
        readReports(adapter);
        adapter.UpdateCurrentPosition();
        adapter.UpdateSatelliteCount();
        lookAtTheCommands(0);
        EXPECT_EQ(commands, before);
    });
}

TEST_F(HostileInputs, OfSettingsReachNoShell) {
    tryRounds(100, [this](Hostile& hostile) {
        GPSAdapter adapter(&callback);
        GPSParams params;
        setHostile(hostile, params);
        lookAtTheCommands(0);
        const std::size_t before = commands;
        adapter.SetParams(params);
        adapter.UpdateGeofence();
        adapter.LogDetails();
        lookAtTheCommands(0);
        EXPECT_EQ(commands, before);
        serve(adapter);
    });
}

TEST_F(HostileInputs, OfAnInitialPositionReachTheShellAsAFrameAlone) {
    tryRounds(100, [this](Hostile& hostile) {
        GPSAdapter adapter(&callback);
        serve(adapter);
        adapter.setInitialPosition(hostile.number(), hostile.number(), hostile.number());
    });
    EXPECT_EQ(frames, 100u * 7) << "five of the configuration, the position, and the poll";
}

TEST_F(HostileInputs, InARestartReachTheShellAsFramesAlone) {
    Hostile receiver(2);
    unit.port.receiver = [&receiver](const Bytes&) { return receiver.reply(); };
    tryRounds(25, [this](Hostile& hostile) {
        unit.port.setDumpFile(hostile.file());
        GPSAdapter adapter(&callback);
        serve(adapter);
        noDataReadCounter() = 11;
        adapter.UpdateCurrentPosition();
        EXPECT_EQ(noDataReadCounter(), 0u);
    });
}

// --- The judge ------------------------------------------------------------------------------------------

TEST(AllowedCommands, AreThirteenFixedTexts) { EXPECT_THAT(fixedCommands(), SizeIs(13)); }

TEST(AllowedCommands, AreFramesOfOneOrTwoDigitsAByte) {
    EXPECT_TRUE(isAllowedCommand(written(R"(\xb5\x62\x7\x1b)")));
    EXPECT_TRUE(isAllowedCommand(written(R"(\x7)")));
    EXPECT_TRUE(isAllowedCommand("popen pidof gpsd"));
}

TEST(AllowedCommands, AreNothingElse) {
    for (const char* const text : {"", "\\x", "\\xg1", "\\xb5 ", "\\xb51", "xb5", "\\xB5", "\\x$", "\\xb5\\",
                                   "\\xb5\n", "$(reboot)", "\\xb5`x`", "\\xb5\"; reboot; \"\\x1"})
        EXPECT_FALSE(isAllowedCommand(written(text))) << text;
    for (const char* const line :
         {"popen pidof gpsd ", "system pidof gpsd", "system reboot", "popen echo -e \"\\xb5\"",
          "system echo -e \"\\xb5\" > /dev/ttymxc1; reboot", "system echo -e \"\\xb5\""})
        EXPECT_FALSE(isAllowedCommand(line)) << line;
}
