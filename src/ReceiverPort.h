#ifndef RECEIVERPORT_H
#define RECEIVERPORT_H

#include <cstdio>
#include <string>

/// The receiver's serial port and its reset line. The line is set up and frames are written by shell
/// commands; replies are read from a stream. Called by the configuration handler alone, while gpsd is down.

/// Opens the port for reading for as long as a sequence lasts. However that ends, by an exception or a
/// cancelled thread too, it is closed: gpsd can't have a port that stays open.
class OpenPort {
public:
    /// Opens `devicePath` into `port`, and closes what is open there. On failure `port` is null, and a
    /// critical line is logged. Blocks as long as the device's open does.
    OpenPort(FILE*& port, const std::string& devicePath);
    /// Closes `port`, which is null then.
    ~OpenPort();
    OpenPort(const OpenPort&) = delete;
    OpenPort& operator=(const OpenPort&) = delete;

private:
    FILE*& port_;
};

/// Closes `port` unless it is null, and makes it null.
void closePort(FILE*& port);

/// The command that sets `devicePath` up at `baudRate` (decimal), raw and with reads that don't wait.
std::string portSetUpCommand(const std::string& devicePath, const std::string& baudRate);

/// Runs the command until it succeeds, at most `tries` times, each of which takes a second at most, with a
/// pause of so many seconds after each failure. True when it has succeeded.
bool setUpPort(const std::string& command, int tries, unsigned int pauseAfterFailure);

/// The command that writes `frame` (escaped) to `devicePath`. The shell's echo sends a line feed behind it.
std::string frameCommand(const std::string& frame, const std::string& devicePath);

/// Resets the receiver: its reset line (GPIO 93) goes low for 100 microseconds. It takes a second to start.
void pulseResetLine();

#endif
