#ifndef OPTIONS_H
#define OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "LongOptions.h"
#include "simulator/ProtocolEngine.h"
#include "simulator/Simulator.h"

/// The command line of receiver-simulator.

namespace simulator {

using command_line::OptionError;

/// The command line is in order, but a file that it names can't be read or doesn't hold what is wanted.
class FileError : public OptionError {
public:
    using OptionError::OptionError;
};

/// What the program shall do. The usual values are those of a factory receiver at 47.2852 N 8.5653 E.
struct Options {
    EngineOptions engine;
    SimulatorSettings settings;
    std::string engineName; // "nmea" or "ubx"
    std::string link;       // paths of files; empty: none
    std::string controlFifo;
    std::string stateFile;
    std::string logFile;
    std::string captureFile;
    std::string resetLineFile;
    std::vector<int32_t> latenessDescriptors;
    std::vector<std::string> commands; // carried out at the start
    uint32_t portBaudRate = 9600;      // until a client sets another
    bool quitAtEnd = false;
    bool printRouteLength = false; // the program prints one of these and ends
    bool checkRecording = false;
    bool help = false;
    bool version = false;
};

/// Reads the arguments behind the program's name, and the files of waypoints and recordings that they name.
/// Values stand behind their option or behind an equals sign; of an option that is given twice the last one
/// counts, but for --command. Throws FileError and OptionError.
Options parseOptions(const std::vector<std::string>& arguments);

/// What --help prints but for the control commands: a line per option.
std::string optionHelp();

/// What --version prints: program, project and version.
std::string versionText();

} // namespace simulator

#endif
