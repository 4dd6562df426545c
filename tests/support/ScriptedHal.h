#ifndef SCRIPTEDHAL_H
#define SCRIPTEDHAL_H

#include <functional>
#include <string>

#include "FailingMemory.h"
#include "GPSHAL.h"
#include "VirtualUnit.h"

/// A receiver that answers what the test says. Each call stands in the journal as "hal GetData".
///
/// Keeps an eye on what holds for every call: the adapter's lock is free.
class ScriptedHal : public GPSHAL {
public:
    ScriptedHal() : GPSHAL("scripted") {}
    ~ScriptedHal() override { called("destroyed"); }

    // --- The answers ----------------------------------------------------------------------------------

    bool active = true;
    bool running = true;
    unsigned int initializeResult = 0;
    unsigned int finalizeResult = 0;
    unsigned int startResult = 0;
    unsigned int stopResult = 0;
    unsigned int initialPositionResult = 0;

    GPSData fix;
    unsigned int fixResult = 0;
    long utc = 0;
    unsigned int utcResult = 0;
    GPSAntennaState antenna = GPS_ANTENNA_OK;
    bool fillsAntenna = true;
    unsigned int antennaResult = 0;
    unsigned int snr = 0;
    unsigned int visible = 0;
    bool fillsSatellites = true;
    unsigned int satellitesResult = 0;
    unsigned int horizontalError = 0;
    int timeError = 0;
    unsigned int errorsResult = 0;

    /// Runs at each call, before it is answered, with its name.
    std::function<void(const std::string& name)> atCall;
    /// The adapter's lock, once known.
    sem_t* lock = nullptr;

    // --- GPSHAL ---------------------------------------------------------------------------------------

    bool IsActive() override { return called("IsActive"), active; }
    unsigned int Initialize() override { return called("Initialize"), initializeResult; }
    unsigned int Finalize() override { return called("Finalize"), finalizeResult; }
    bool IsRunning() override { return called("IsRunning"), running; }
    unsigned int Start() override { return called("Start"), startResult; }
    unsigned int Stop() override { return called("Stop"), stopResult; }

    unsigned int GetData(GPSData& data) override {
        called("GetData");
        data = fix;
        return fixResult;
    }
    unsigned int GetCurrentTime(long& utcSeconds) override {
        called("GetCurrentTime");
        utcSeconds = utc;
        return utcResult;
    }
    unsigned int GetAntennaStatus(GPSAntennaState& state) override {
        called("GetAntennaStatus");
        if (fillsAntenna)
            state = antenna;
        return antennaResult;
    }
    unsigned int GetStatus(bool& receiving) override {
        called("GetStatus");
        receiving = fix.valid;
        return 0;
    }
    unsigned int GetSatellites(unsigned int& ratio, unsigned int& count) override {
        called("GetSatellites");
        if (fillsSatellites) {
            ratio = snr;
            count = visible;
        }
        return satellitesResult;
    }
    unsigned int GetErrorEstimates(unsigned int& horizontal, int& time) override {
        called("GetErrorEstimates");
        horizontal = horizontalError;
        time = timeError;
        return errorsResult;
    }
    unsigned int setInitialPosition(unsigned int latitude, unsigned int longitude,
                                    unsigned int altitude) override {
        const GroundMemory memory;
        call("setInitialPosition " + std::to_string(latitude) + " " + std::to_string(longitude) + " " +
             std::to_string(altitude));
        return initialPositionResult;
    }

private:
    void called(const char* name) {
        const GroundMemory memory;
        call(name);
    }
    void call(const std::string& name) {
        VirtualUnit::current()->journal.add("hal " + name);
        if (lock != nullptr && name != "destroyed") {
            EXPECT_FALSE(VirtualSemaphores::isTaken(*lock)) << name << " with the adapter's lock held";
        }
        if (atCall)
            atCall(name);
    }
};

#endif
