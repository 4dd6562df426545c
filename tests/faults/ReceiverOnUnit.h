#ifndef RECEIVERONUNIT_H
#define RECEIVERONUNIT_H

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "EndToEnd.h"
#include "FaultFigures.h"

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
class ReceiverOnUnit : public EndToEndTest {
protected:
    /// What the library waits for answers at least: 275 pauses of 21701 us. Each pause comes a little late,
    /// so only another wait of the same run tells how long one may take.
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
    /// The construction spent at least so many waits for answers behind its pause after the reset. Without
    /// one all five commands were acknowledged; and where the first was not, its wait tells how long one of
    /// this run may take, so that a further one would show.
    void expectWaits(int waits, std::size_t number = 0) const {
        EXPECT_GE(construction(number), 1 + waits * kLeastWait);
        const double firstWait = betweenFirstCommands(number);
        if (waits == 0) {
            EXPECT_EQ(acknowledgedAtTheStart(number), 5);
        } else if (firstWait >= kLeastWait) {
            EXPECT_LT(construction(number), 1 + (waits + 1) * firstWait);
        }
    }

    /// Seconds from the first command of a construction to the second.
    double betweenFirstCommands(std::size_t number) const {
        const auto first = unit.logged(6, "UBXConfig: Setting baud rate to 115200");
        const auto second = unit.logged(6, "UBXConfig: Setting NMEA version to 4.10 extended");
        return second.at(number).t - first.at(number).t;
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
};

#endif
