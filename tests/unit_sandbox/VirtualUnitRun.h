#ifndef VIRTUALUNITRUN_H
#define VIRTUALUNITRUN_H

#include <map>
#include <string>
#include <vector>

/// A line of unit_probe: "end start rc=0x00000000 seconds=3.001 t=1767225600.125".
struct ProbeLine {
    std::string kind; ///< "end"
    std::string name; ///< "start"; empty where no word stands
    std::map<std::string, std::string> fields;
    double t = 0; ///< the unit's time, seconds since 1970

    std::string text(const std::string& field) const;
    double number(const std::string& field) const; ///< NaN when there is none
};

/// A line that the library wrote to the platform's log.
struct LogLine {
    int level = 0;
    std::string source;
    std::string text;
    double t = 0; ///< the unit's time, seconds since 1970
};

/// A line of the receiver's log: what the host sent it.
struct ReceiverLine {
    std::string text; ///< "CFG-ANT flags 0x0001 pins 0x0000: ACK-ACK"
    double t = 0;     ///< the unit's time, seconds since 1970
};

/// One run of the probe, or of a script with probes, on a virtual unit of its own, and what came of it.
///
/// The unit's clock runs faster (RUXOGPS_UNIT_SPEED, 10 without it; RUXOGPS_UNIT_SPEED_FACTOR slows it down
/// for a repeated run); all times are the unit's.
class VirtualUnitRun {
public:
    using Fields = std::map<std::string, std::string>;

    VirtualUnitRun();
    ~VirtualUnitRun();
    VirtualUnitRun(const VirtualUnitRun&) = delete;
    VirtualUnitRun& operator=(const VirtualUnitRun&) = delete;

    // --- Before the run

    VirtualUnitRun& receiver(const std::string& arguments);
    VirtualUnitRun& option(const std::string& option); ///< of tools/virtual-unit
    VirtualUnitRun& speed(double factor);              ///< at most this much faster than usual
    VirtualUnitRun& dataSize(int kib);                 ///< an own /data with so little room, lost at the end
    std::string dataFolder() const;                    ///< the unit's /data, unless `dataSize` is given

    // --- The run

    void probe(const std::vector<std::string>& steps);
    void script(const std::string& bash); ///< `$0` is the probe

    // --- After it

    int status() const { return status_; } ///< 128 + N when signal N ended it
    std::vector<ProbeLine> lines(const std::string& kind, const std::string& name = "") const;
    ProbeLine line(const std::string& kind,
                   const std::string& name = "") const;                ///< the first one, or an empty one
    std::vector<std::string> sequence(const std::string& event) const; ///< "entered:a", for "geofence"
    std::vector<std::string> output() const;                           ///< of the probe's shell steps

    const std::vector<LogLine>& log() const { return log_; }
    std::vector<LogLine> logged(int level, const std::string& text) const; ///< lines with exactly this text
    std::vector<LogLine> loggedLike(const std::string& part) const;

    std::vector<ReceiverLine> receiverLog(const std::string& part = "") const; ///< lines that contain `part`
    Fields receiverState() const;               ///< as the receiver left it at its end
    std::vector<Fields> receiverStates() const; ///< at the probe's `state` steps
    std::string describe() const;               ///< everything, for a person

private:
    void run(const std::vector<std::string>& command);
    std::vector<std::string> commandLine(const std::vector<std::string>& command) const;
    void readResults();

    std::string folder_;
    std::string receiver_;
    std::vector<std::string> options_;
    double speed_;
    int dataKib_ = 0; ///< 0: dataFolder() is used
    int status_ = -1;
    std::vector<ProbeLine> lines_;
    std::vector<std::string> outputLines_;
    std::vector<LogLine> log_;
};

#endif
