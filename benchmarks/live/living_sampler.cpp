// living_sampler SECONDS COUNTS NAME=PID ...
//
// What processes took during the next seconds, all their threads together, as the kernel accounts for it:
//
//   used NAME MILLISECONDS SWITCHES
//
// milliseconds of processor time and voluntary context switches, both per second, and from the file COUNTS
// what a living service took meanwhile:
//
//   took REPORTS BURSTS
//
// both per second. Processor time is counted in nanoseconds (schedstat), not in ticks.

#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "LivingCounts.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Process {
    std::string name;
    std::string tasks; // the folder of its threads
};

struct Used {
    double nanoseconds = 0;
    double switches = 0;
};

struct Sample {
    Clock::time_point at;
    std::vector<Used> used;
    double reports = 0;
    double bursts = 0;
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "living_sampler: %s\n", what.c_str());
    exit(1);
}

double switchesOf(const std::string& task) {
    std::ifstream status(task + "/status");
    for (std::string word; status >> word;)
        if (double count = 0; word == "voluntary_ctxt_switches:" && status >> count)
            return count;
    fail("cannot read " + task + "/status");
}

Used usedBy(const Process& process) {
    Used sum;
    DIR* const folder = opendir(process.tasks.c_str());
    if (folder == nullptr)
        fail(process.name + " is gone");
    for (const dirent* entry = readdir(folder); entry != nullptr; entry = readdir(folder)) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string task = process.tasks + entry->d_name;
        double nanoseconds = 0;
        if (!(std::ifstream(task + "/schedstat") >> nanoseconds))
            fail("cannot read " + task + "/schedstat");
        sum.nanoseconds += nanoseconds;
        sum.switches += switchesOf(task);
    }
    closedir(folder);
    return sum;
}

Sample take(const std::vector<Process>& processes, const char* countsPath) {
    Sample sample;
    sample.at = Clock::now();
    for (const Process& process : processes)
        sample.used.push_back(usedBy(process));
    uint64_t counts[2] = {};
    static_assert(sizeof counts == sizeof(LivingCounts), "the file is read as it was mapped");
    if (std::ifstream(countsPath, std::ios::binary).read(reinterpret_cast<char*>(counts), sizeof counts)) {
        sample.reports = static_cast<double>(counts[0]);
        sample.bursts = static_cast<double>(counts[1]);
    }
    return sample;
}

std::vector<Process> processesOf(int argc, char** argv) {
    std::vector<Process> processes;
    for (const std::string argument : std::vector<const char*>(argv + 3, argv + argc)) {
        const std::size_t equals = argument.find('=');
        if (equals == std::string::npos)
            fail("'" + argument + "' is no NAME=PID");
        processes.push_back({argument.substr(0, equals), "/proc/" + argument.substr(equals + 1) + "/task/"});
    }
    return processes;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4)
        return 2;
    const std::vector<Process> processes = processesOf(argc, argv);
    const Sample before = take(processes, argv[2]);
    std::this_thread::sleep_until(before.at + std::chrono::seconds(atoi(argv[1])));
    const Sample after = take(processes, argv[2]);
    const double seconds = std::chrono::duration<double>(after.at - before.at).count();
    for (std::size_t i = 0; i < processes.size(); ++i)
        std::printf("used %s %.6f %.4f\n", processes[i].name.c_str(),
                    (after.used[i].nanoseconds - before.used[i].nanoseconds) / 1e6 / seconds,
                    (after.used[i].switches - before.used[i].switches) / seconds);
    std::printf("took %.4f %.4f\n", (after.reports - before.reports) / seconds,
                (after.bursts - before.bursts) / seconds);
}
