// The navigation database file is whatever somebody left on the disk: its restore sends nothing but frames,
// ends, and touches no memory that isn't its own.
//
// Input: records that are in the list already, flags (1: port open, 2: a small buffer, 240 and above: long
// frames too), the pattern of replies, then the file.

#include "FuzzGround.h"

namespace {

const std::string kCommandBegin = R"(system echo -e "\xb5\x62)";
constexpr std::size_t kTrailerSize = 6;
const std::string kDumpFile = "/data/NavigationDatabaseDump";

/// Answers by the pattern's bits, two for each frame: nothing, taken, refused, rubbish.
struct PatternedReceiver {
    uint8_t pattern;
    unsigned int frames = 0;

    Bytes operator()(const Bytes& frame) {
        const auto id = static_cast<uint8_t>(frame.size() > 3 ? frame[3] : 0);
        switch (pattern >> (2 * (frames++ % 4)) & 3) {
        case 0:
            return "";
        case 1:
            return contentReceiver(frame);
        case 2:
            return mgaAck(id, 0, 1);
        default:
            return frame;
        }
    }
};

/// Most runs have short frames alone: one of 64 kB takes as long as a hundred of them.
void shortenFrames(Bytes& file) {
    constexpr std::size_t kHeader = 6;
    for (std::size_t at = file.find("\xb5\x62"); at != Bytes::npos; at = file.find("\xb5\x62", at + 1))
        if (at + kHeader <= file.size())
            file[at + kHeader - 1] &= 1;
}

/// A command that writes a frame: nothing in it that a shell would take for something else.
bool isFrameCommand(const std::string& line) {
    return line.compare(0, kCommandBegin.size(), kCommandBegin) == 0 && isAllowedCommand(line);
}

bool isExpected(const std::string& line) {
    return isFrameCommand(line) || line == "usleep 21701" || line.compare(0, 4, "log ") == 0 ||
           line == "fopen " + kDumpFile + " rb";
}

void demandUntouched(FuzzGround& ground, const Bytes& file, bool portWasOpen) {
    demand(ground.unit.port.dumpFile() == file, "the file stays as it is");
    demand(ground.roomBehindBufferIsZero(), "nothing is written behind the buffer");
    demand(ground.unit.port.isOpen() == portWasOpen, "the port is neither opened nor closed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    FuzzGround& ground = FuzzGround::fresh();
    for (unsigned int more = input.byte(); more > 0; --more)
        ground.records().push_back({"", R"(\xb5\x62\x06\x01\x00\x00\x7\x1b)", 0x06, 0x01, (more & 1) != 0});
    const std::size_t before = ground.records().size();
    const uint8_t flags = input.byte();
    ground.useBufferOf((flags & 2) != 0 ? 14 : 64);
    if ((flags & 1) != 0)
        ground.openPort();
    ground.answer(PatternedReceiver{input.byte()});
    Bytes file = input.rest();
    if (flags < 0xF0)
        shortenFrames(file);
    ground.unit.port.setDumpFile(file);
    ground.unit.forget();
    ground.member(HandlerMaxReads()) = 2;

    ground.handler.restoreNavigationDatabase();

    const std::size_t most = file.size() < kTrailerSize ? 0 : file.size() - 2;
    demand(ground.records().size() - before <= most, "no more frames than bytes, less two");
    demandUntouched(ground, file, (flags & 1) != 0);
    for (const std::string& line : ground.unit.journal.lines())
        demand(isExpected(line), line.c_str());
    return 0;
}
