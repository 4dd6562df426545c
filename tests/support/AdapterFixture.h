#ifndef ADAPTERFIXTURE_H
#define ADAPTERFIXTURE_H

#include <memory>
#include <vector>

#include "AdapterMembers.h"
#include "RecordingCallback.h"
#include "ScriptedHal.h"

/// An adapter with a scripted receiver in its driver's place and a recording callback, with what its
/// construction did forgotten. The adapter owns the receiver.
class AdapterFixture : public UnitTest {
protected:
    template <typename Tag>
    auto& member(Tag tag) {
        return (*adapter).*memberOf(tag);
    }

    explicit AdapterFixture(bool withCallback = true)
        : adapter(std::make_unique<GPSAdapter>(withCallback ? &callback : nullptr)), hal(new ScriptedHal) {
        delete member(AdapterHal());
        member(AdapterHal()) = hal;
        hal->lock = callback.lock = &lock();
        unit.semaphores.journalAs(&lock(), "lock");
        unit.forget();
    }
    /// What a test hooked in may refer to what is gone by now.
    ~AdapterFixture() override {
        unit.semaphores.beforeEachCall = nullptr;
        callback.atCall = nullptr;
        if (adapter != nullptr)
            hal->atCall = nullptr;
    }

    sem_t& lock() { return member(AdapterLock()); }
    GPSTimedWorker& worker() { return *member(AdapterWorker()); }

    GPSReadings readings() {
        GPSReadings r;
        EXPECT_EQ(adapter->GetReadings(r), 0u);
        return r;
    }
    GPSParams params() {
        GPSParams p;
        EXPECT_EQ(adapter->GetParams(p), 0u);
        return p;
    }
    /// Changes some settings by way of `SetParams`.
    template <typename Change>
    void set(Change change) {
        GPSParams p = params();
        change(p);
        EXPECT_EQ(adapter->SetParams(p), 0u);
        unit.forget();
    }

    /// Whether `isDone` held at each call on the lock while `operation` ran, those that take it and those
    /// that give it back.
    template <typename Operation, typename IsDone>
    std::vector<bool> seenAtTheLock(Operation operation, IsDone isDone) {
        std::vector<bool> seen;
        unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call, const sem_t* called) {
            if (called == &lock())
                seen.push_back(isDone());
        };
        operation();
        unit.semaphores.beforeEachCall = nullptr;
        return seen;
    }

    /// What the callback was told since the last question.
    Lines told() {
        const Lines lines = unit.journal.only({"callback "});
        unit.journal.clear();
        return lines;
    }
    Lines logged() { return unit.log.texts(); }
    /// The source of the last log line.
    std::string source() { return unit.log.all().empty() ? "" : unit.log.all().back().source; }

    static GPSData fixAt(int32_t latitude, int32_t longitude, float pdop = 1.5f) {
        GPSData data;
        data.valid = true;
        data.latitude = latitude;
        data.longitude = longitude;
        data.pdop = pdop;
        return data;
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
    ScriptedHal* hal;
};

/// The same with no callback registered.
class AdapterWithoutCallback : public AdapterFixture {
protected:
    AdapterWithoutCallback() : AdapterFixture(false) {}
};

#endif
