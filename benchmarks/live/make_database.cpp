// make_database FRAMES
//
// Writes a navigation database with so many records of the simulated receiver's to the standard output, as
// the library saves it: ephemerides in frames of 172 bytes, and the number of frames in six digits.

#include <cstdio>
#include <cstdlib>

#include "NavigationDatabase.h"
#include "UbxFrame.h"
#include "UbxIds.h"

int main(int argc, char** argv) {
    const long frames = argc == 2 ? strtol(argv[1], nullptr, 10) : -1;
    if (frames < 0 || frames > 2000) {
        fprintf(stderr, "make_database needs a number of frames from 0 to 2000\n");
        return 2;
    }
    simulator::NavigationDatabase database(1);
    database.fill(static_cast<std::size_t>(frames), std::nullopt);
    for (const simulator::Bytes& record : database.dump()) {
        const simulator::Bytes frame =
            simulator::encodeUbx({simulator::ubx::kMga, simulator::ubx::kMgaDbd, record});
        fwrite(frame.data(), 1, frame.size(), stdout);
    }
    printf("%06ld", frames);
    return ferror(stdout) == 0 && fflush(stdout) == 0 ? 0 : 1;
}
