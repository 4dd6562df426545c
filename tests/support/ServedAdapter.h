#ifndef SERVEDADAPTER_H
#define SERVEDADAPTER_H

#include <memory>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "RecordingCallback.h"

/// An adapter that serves: with its real driver and its worker's real cycles, and a gpsd that says each
/// second what the test wants. The worker's thread is captured, and each of its sleeps puts the clock
/// forward.
class ServedAdapter : public UnitTest {
protected:
    using Duration = VirtualClock::Duration;

    ServedAdapter() : adapter(std::make_unique<GPSAdapter>(&callback)) {
        noDataReadCounter() = 0;
        unit.clock.advance(std::chrono::seconds(10));
        EXPECT_EQ(adapter->Initialize(), 0u);
        EXPECT_EQ(adapter->Start(), 0u);
        callback.lock = &((*adapter).*memberOf(AdapterLock()));
        block() = ReaderBlock{};
        unit.forget();
    }
    ~ServedAdapter() override { unit.clock.afterEachSleep = nullptr; }

    /// What gpsd said last, as the reader thread leaves it for the driver's queries.
    ReaderBlock& block() {
        auto* const driver = static_cast<GPSHAL_RUXO_3*>((*adapter).*memberOf(AdapterHal()));
        return (*driver).*memberOf(DriverReader());
    }

    /// A whole report has come: a fix here, with these dilutions and estimates.
    void fixComes(double latitude, double longitude) {
        ReaderBlock& r = block();
        r.latitude = latitude;
        r.longitude = longitude;
        r.tsStatus = r.tsTime = r.tsMode = r.tsLatLon = r.tsHorizontalError = r.tsDop = unit.clock.utc();
        r.fixTime = static_cast<int32_t>(unit.clock.utc());
        r.mode = 3;
    }
    /// A report without a position has come: a status and what the dilutions are without a fix.
    void noFixComes() { block().tsStatus = unit.clock.utc(); }
    void setPdop(double pdop) { block().pdop = pdop; }
    void setErrors(double metres) { block().epx = block().epy = metres; }

    /// The worker runs for so many seconds; at the begin of each `second(number)` says what gpsd does.
    template <typename Second>
    void serve(int seconds, Second second) {
        GPSTimedWorker& worker = *((*adapter).*memberOf(AdapterWorker()));
        const time_t begin = unit.clock.utc();
        int next = 0;
        const auto passSecond = [&] {
            for (; next <= unit.clock.utc() - begin && next < seconds; ++next)
                second(next);
            worker.*memberOf(WorkerStopRequested()) = unit.clock.utc() - begin >= seconds;
        };
        unit.clock.afterEachSleep = [&](Duration) { passSecond(); };
        passSecond();
        worker.Run();
        unit.clock.afterEachSleep = nullptr;
    }

    GPSReadings readings() {
        GPSReadings r;
        EXPECT_EQ(adapter->GetReadings(r), 0u);
        return r;
    }
    uint32_t odometer() { return readings().odometer; }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
};

#endif
