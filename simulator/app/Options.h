// The command line of receiver-simulator.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/ProtocolEngine.h"
#include "simulator/Simulator.h"

namespace simulator {

// A command line that can't be carried out; what() is one clear sentence.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    EngineOptions engine;
    SimulatorSettings settings;
    std::string engineName;
    std::string link;
    std::string controlFifo;
    std::string stateFile;
    std::string logFile;
    std::string captureFile;
    std::string resetLineFile;
    std::vector<std::string> commands; // carried out at the start
    unsigned portBaudRate = 9600;      // until a client sets another
    bool quitAtEnd = false;
    bool printRouteLength = false;
    bool help = false;
};

// Throws OptionError.
Options parseOptions(const std::vector<std::string>& arguments);

// What --help prints but for the control commands.
std::string optionHelp();

} // namespace simulator
