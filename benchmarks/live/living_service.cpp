// living_service
//
// An application of the library: a callback that does nothing, the default settings and one geofence. It
// configures the receiver and starts gpsd, says "ready", and does what it is told, a line at a time:
//
//   renew      stops the service, and starts another gpsd
//   start      starts the service and waits for fixes; the antenna is in order without a look
//   start-file the same with the host platform's antenna, which reads a file at each query
//
// each of which it answers with "ready" as well. It ends with its standard input.

#include <dlfcn.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "GPSAdapter.h"
#include "IdleApplication.h"

namespace {

bool looksAtFile = false;

void setOneGeofence(GPSAdapter& adapter) {
    GPSParams params;
    adapter.GetParams(params);
    params.geofencesEnabled = true;
    params.geofences[0].name.setStr("gate");
    params.geofences[0].width = params.geofences[0].height = 10000;
    adapter.SetParams(params);
}

bool renew(GPSAdapter& adapter) { return adapter.Finalize() == 0 && adapter.Initialize() == 0; }

bool start(GPSAdapter& adapter) {
    if (adapter.Start() != 0)
        return false;
    awaitFixes(adapter);
    return true;
}

bool carryOut(const std::string& line, GPSAdapter& adapter) {
    looksAtFile = line == "start-file";
    return line == "renew" ? renew(adapter) : start(adapter);
}

} // namespace

// The host platform's reads a file: a stand-in for the unit's hardware, whose cost says nothing about the
// library.
unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    using Query = unsigned int(RuxoHAL*, GPSAntennaState&);
    static auto* const query =
        reinterpret_cast<Query*>(dlsym(RTLD_NEXT, "_ZN7RuxoHAL19GetGNSSAntennaStateER15GPSAntennaState"));
    if (looksAtFile)
        return query(this, state);
    state = GPS_ANTENNA_OK;
    return 0;
}

int main() {
    IdleApplication callback;
    GPSAdapter adapter(&callback);
    setOneGeofence(adapter);
    bool worked = adapter.Initialize() == 0;
    for (std::string line; worked; worked = carryOut(line, adapter)) {
        std::cout << "ready" << std::endl;
        if (!std::getline(std::cin, line))
            _exit(0); // without the seconds that an orderly end takes
    }
    std::cerr << "living_service: an operation failed" << std::endl;
    _exit(1);
}
