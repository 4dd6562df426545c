// What docs/semantics.md draws of the service's life: start, stop, the watchdog's restart, the navigation
// database. What takes time is what the library waits for; commands and gpsd's own work take theirs on top.

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "GpsRecord.h"
#include "Lanes.h"
#include "RecordingCallback.h"

using namespace std::chrono_literals;

namespace {

const std::vector<std::string> kLanes = {"lane", "from", "to", "what"};

Bytes databaseFrame(std::size_t length, char content) { return ubxFrame(0x13, 0x80, Bytes(length, content)); }

class DrawnLife : public UnitTest {
protected:
    DrawnLife() {
        noDataReadCounter() = 0;
        unit.shell.daemon.checksUntilUp = unit.shell.daemon.checksUntilGone = 2;
        unit.port.setDumpFile(databaseFrame(20, 'a') + databaseFrame(20, 'b') + "000002");
    }

    void makeAdapter() { adapter = std::make_unique<GPSAdapter>(&callback); }
    GPSHAL_RUXO_3& driver() { return static_cast<GPSHAL_RUXO_3&>(*((*adapter).*memberOf(AdapterHal()))); }
    ReaderBlock& reader() { return driver().*memberOf(DriverReader()); }

    void drawStart(Drawn& drawn) {
        Lanes lanes(unit);
        lanes.call("constructor", [this] { makeAdapter(); });
        lanes.call("Initialize", [this] { adapter->Initialize(); });
        lanes.call("Start", [this] { adapter->Start(); });
        unit.clock.advance(1s);
        lanes.draw(drawn);
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
};

TEST_F(DrawnLife, StartsWithAReceiverThatAnswers) {
    Drawn drawn(
        "The start of a service whose receiver answers at once: lane, milliseconds from and to, what.",
        kLanes);
    drawStart(drawn);
    drawn.expectCommitted("start");
}

TEST_F(DrawnLife, StartsWithASilentReceiver) {
    Drawn drawn("The start of a service whose receiver is silent: lane, milliseconds from and to, what.",
                kLanes);
    unit.port.receiver = nullptr;
    drawStart(drawn);
    drawn.expectCommitted("start-silent");
}

// --- The watchdog ---------------------------------------------------------------------------------------

class DrawnWatchdog : public DrawnLife {
protected:
    DrawnWatchdog() {
        makeAdapter();
        adapter->Initialize();
        adapter->Start();
    }

    /// The reader runs; then the worker's next position cycle, a second after the reader's last at most.
    void draw(Drawn& drawn, VirtualClock::Duration untilTheCycle) {
        Lanes lanes(unit);
        lanes.begins("reader", "takes reports", 0);
        if (unit.shell.daemon.running)
            lanes.begins("gpsd", "runs", 0);
        unit.threads.run(0);
        unit.clock.advance(untilTheCycle);
        lanes.begins("worker", "restarts gpsd", lanes.milliseconds());
        adapter->UpdateCurrentPosition();
        lanes.catchUp();
        lanes.ends("worker", lanes.milliseconds());
        unit.clock.advance(2s);
        lanes.draw(drawn);
    }
};

TEST_F(DrawnWatchdog, RestartsAGpsdThatIsSilent) {
    Drawn drawn("gpsd falls silent at 0: lane, milliseconds from and to, what.", kLanes);
    draw(drawn, 1s);
    drawn.expectCommitted("watchdog-silence");
}

TEST_F(DrawnWatchdog, RestartsAGpsdThatHasGone) {
    Drawn drawn("gpsd dies at 0: lane, milliseconds from and to, what.", kLanes);
    unit.gpsd.dies();
    unit.shell.daemon.running = false;
    unit.clock.in(1s, [this] { reader().stopRequested = true; }); // as the restart's stop does
    draw(drawn, 0s);
    drawn.expectCommitted("watchdog-death");
}

// --- The end --------------------------------------------------------------------------------------------

class DrawnStop : public DrawnLife {
protected:
    DrawnStop() { unit.useRealThreads(); }

    /// The calls of an end, 100 ms behind a cycle of the worker, with what ends in each.
    void draw(
        Drawn& drawn, const std::function<void()>& whenStarted = [] {}) {
        makeAdapter();
        adapter->Initialize();
        adapter->Start();
        unit.clock.advance(20100ms);
        whenStarted();
        zero = unit.clock.elapsed();
        ((*adapter).*memberOf(AdapterWorker()))->Stop();
        drawn.row("worker", 0, now(), "ends its sleep");
        adapter->Stop();
        const std::int64_t stopped = now();
        drawn.row("reader", 0, stopped, "ends its wait");
        drawn.row("application", 0, stopped, "Stop");
        adapter->Finalize();
        const std::int64_t finalized = now();
        drawn.row("gpsd", 0, finalized, "runs");
        drawn.row("application", stopped, finalized, "Finalize");
        adapter.reset();
        drawn.row("port", finalized, now(), "library");
        drawn.row("application", finalized, now(), "destructor");
        drawn.row("database", now(), now(), "is written");
    }
    std::int64_t now() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(unit.clock.elapsed() - zero).count();
    }

    VirtualClock::Duration zero{0};
};

void fillReport(gps_data_t& r) { r.set = STATUS_SET; }

TEST_F(DrawnStop, EndsAServiceInUse) {
    Drawn drawn("The end of a service with a report each second and a receiver that answers at once: lane, "
                "milliseconds from and to, what.",
                kLanes);
    unit.gpsd.reportsEvery(1s, fillReport);
    draw(drawn);
    drawn.expectCommitted("stop");
}

TEST_F(DrawnStop, EndsAServiceWhoseGpsdAndReceiverAreSilent) {
    Drawn drawn(
        "The end of a service whose gpsd and receiver are silent: lane, milliseconds from and to, what.",
        kLanes);
    draw(drawn, [this] { unit.port.receiver = nullptr; });
    drawn.expectCommitted("stop-silent");
}

// --- The navigation database ----------------------------------------------------------------------------

class DrawnDatabase : public DrawnLife {
protected:
    /// A row for each field of the frames in `bytes`, and one for what is behind them.
    static void draw(Drawn& drawn, const char* where, Bytes bytes) {
        for (int frame = 1; bytes.rfind("\xb5\x62", 0) == 0; ++frame) {
            const std::size_t length = static_cast<unsigned char>(bytes[4]);
            const struct {
                const char* name;
                std::size_t bytes;
            } fields[] = {
                {"sync", 2}, {"class and id", 2}, {"length", 2}, {"payload", length}, {"checksum", 2}};
            for (const auto& field : fields) {
                drawn.row(where, frame, field.name, toHex(bytes.substr(0, field.bytes)));
                bytes.erase(0, field.bytes);
            }
        }
        if (!bytes.empty())
            drawn.row(where, "-", "trailer", toHex(bytes));
    }
};

TEST_F(DrawnDatabase, HoldsFramesAsTheyCameAndGoesBackWithRightChecksums) {
    Drawn drawn("A navigation database of two frames, the second of which comes with two reads: what the "
                "receiver sent, "
                "what the file holds, what the next start sends.",
                {"where", "frame", "field", "bytes"});
    const Bytes whole = databaseFrame(4, 'a') + databaseFrame(6, 'b');
    unit.port.receiver = [whole](const Bytes& frame) {
        return frame.substr(2, 4) == hex("13 80 00 00") ? whole.substr(0, 20) : contentReceiver(frame);
    };
    makeAdapter();
    unit.port.arrivesLater(whole.substr(20) + mgaAck(0x80));
    adapter.reset();
    draw(drawn, "receiver", whole);
    draw(drawn, "file", unit.port.dumpFile().value_or(""));
    unit.forget();
    makeAdapter();
    Bytes sent;
    for (std::size_t frame = 5; frame < unit.port.sent.size(); ++frame) // behind the configuration
        sent += unit.port.sent[frame];
    draw(drawn, "start", sent);
    drawn.expectCommitted("database");
}

} // namespace
