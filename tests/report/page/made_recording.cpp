#include <cstdio>
#include <cstring>

#include "MadeDrive.h"

/// Writes the recording of a made drive: something to look at without a drive.
int main(int argc, char** argv) {
    const struct {
        const char* name;
        report::MadeDrive (*make)();
    } kDrives[] = {{"round", report::deliveryRound},
                   {"day", report::wholeDay},
                   {"date-line", report::overTheDateLine},
                   {"pole", report::overThePole}};
    for (const auto& drive : kDrives)
        if (argc == 2 && std::strcmp(argv[1], drive.name) == 0)
            return std::fputs(drive.make().recording().c_str(), stdout) < 0 || std::fflush(stdout) != 0;
    std::fputs("usage: made_recording round|day|date-line|pole > FILE\n", stderr);
    return 2;
}
