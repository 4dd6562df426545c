#ifndef RECEIVERONUNIT_H
#define RECEIVERONUNIT_H

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "FaultOnUnit.h"

constexpr char kAllAcknowledged[] = "UBXConfig: All commands have been acknowledged by positioning chip";
constexpr char kNoDumpFile[] = "Failed to open navigation database dump file";
constexpr char kEmptyDump[] = "Navigation database dump file is empty";
constexpr char kNotWritable[] = "Failed to open device for storing navigation database dump";
constexpr char kChecksumError[] = "Checksum error: Failed to restore one part of the navigation database";
constexpr char kConfigured[] =
    "until-state antenna_flags=0x0001 10"; // the last command; the state follows each epoch

/// What tells a configured receiver from a factory-fresh one.
inline const VirtualUnitRun::Fields kConfiguredState = {
    {"baud", "115200"},         {"nmea_version", "4.1"},
    {"ack_aiding", "on"},       {"gnss", "GPS+SBAS+Galileo+QZSS+GLONASS"},
    {"antenna_svcs", "on"},     {"sv_numbering", "extended"},
    {"antenna_flags", "0x0001"}};

/// The receiver, its line and its database's file, for rows on the virtual unit.
class ReceiverOnUnit : public FaultOnUnit {
protected:
    /// What the library waits for answers at least: 275 pauses of 21701 us. Each pause comes a little late.
    static constexpr double kLeastWait = 275 * 0.021701;

    // --- The database's file

    std::string dumpFile() const { return unit.dataFolder() + "/NavigationDatabaseDump"; }
    std::string dump() const {
        std::ifstream file(dumpFile(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void writeDump(const std::string& content) const {
        std::ofstream(dumpFile(), std::ios::binary) << content;
    }

    // --- What a run took

    double construction(std::size_t number = 0) const { return secondsOf("construct", number); }
    double secondsOf(const std::string& step, std::size_t number = 0) const {
        return unit.lines("end", step).at(number).number("seconds");
    }
    /// The construction spent exactly so many waits for answers behind its pause after the reset. Without
    /// one all five commands were acknowledged.
    void expectWaits(int waits, std::size_t number = 0) const {
        EXPECT_EQ(waitsOf("construct", number), waits);
        EXPECT_GE(construction(number), 1 + waits * kLeastWait);
        if (waits == 0) {
            EXPECT_EQ(acknowledgedAtTheStart(number), 5);
        }
    }

    /// How many waits for answers ran to their end in a step. Each lies between two of its moments, with
    /// nothing but a process or two and the pause of 1 s behind a reset, far less than a wait: so one too
    /// many shows at any pace of the host, as does a second one between the same moments. The receiver tells
    /// when it took a frame, by as much later as the unit's clock may be late.
    int waitsOf(const std::string& step, std::size_t number = 0) const {
        const std::vector<double> moments = momentsOf(step, number);
        int waits = 0;
        for (std::size_t i = 1; i < moments.size(); ++i)
            waits += static_cast<int>((moments[i] - moments[i - 1] + kLateness) / kLeastWait);
        return waits;
    }

    // --- What was sent and answered

    /// Acknowledgements that the library had seen when the first construction was over.
    std::ptrdiff_t acknowledgedAtTheStart(std::size_t number = 0) const {
        const double begin = unit.lines("begin", "construct").at(number).t;
        const double end = unit.lines("end", "construct").at(number).t;
        const auto all = unit.loggedLike("Acknowledgment has been received");
        return std::count_if(all.begin(), all.end(),
                             [&](const LogLine& line) { return line.t >= begin && line.t <= end; });
    }

    static void expectConfigured(const VirtualUnitRun::Fields& state) {
        EXPECT_THAT(state, ::testing::IsSupersetOf(kConfiguredState));
    }

    /// The counts of the last restore in the log.
    struct Counts {
        int used = -1;
        int notUsed = -1;
        int total = -1;
    };
    Counts restored() const {
        Counts counts;
        for (const LogLine& line : unit.loggedLike("UBXConfig: Restoring navigation database completed"))
            EXPECT_EQ(
                std::sscanf(
                    line.text.c_str() + line.text.find(','),
                    ", %d MGA messages used, %d MGA messages not used, %d MGA messages received in total",
                    &counts.used, &counts.notUsed, &counts.total),
                3);
        return counts;
    }

private:
    /// A step's begin and end, and what no wait reaches across: the log's lines, but for acknowledgements,
    /// which come within a wait; and the frames of the database that the receiver took, as the log names only
    /// the last of them.
    std::vector<double> momentsOf(const std::string& step, std::size_t number) const {
        const double begin = unit.lines("begin", step).at(number).t;
        const double end = unit.lines("end", step).at(number).t;
        std::vector<double> moments{begin, end};
        const auto add = [&](double t) {
            if (t > begin && t < end)
                moments.push_back(t);
        };
        for (const LogLine& line : unit.log())
            if (line.text.find("Acknowledgment has been received") == std::string::npos)
                add(line.t);
        for (const char* frame : {"MGA-DBD", "class 0x00 id 0x00"})
            for (const ReceiverLine& line : unit.receiverLog(frame))
                if (line.text.find("ignored") == std::string::npos)
                    add(line.t);
        std::sort(moments.begin(), moments.end());
        return moments;
    }
};

#endif
