// A receiver, or whatever is on the line, sends what it likes: the wait ends within its budget, marks and
// counts consistently, and touches no memory that isn't its own.
//
// Input: index, flags (1: dump, 2 and 4: opens of the dump file that fail, 8: a small buffer), number of
// further records, three bytes for each (class, id, acknowledged), then pieces of the reply: their length in
// two bytes and their bytes.

#include "FuzzGround.h"

namespace {

const std::string kDumpFile = "/data/NavigationDatabaseDump";
constexpr uint32_t kSmallBuffer = 40;
constexpr uint32_t kBuffer = 5000;
constexpr std::size_t kLongestPiece = 6000;
constexpr uint8_t kMostRecords = 8;

Bytes nextPiece(FuzzInput& input) {
    const std::size_t low = input.byte();
    return input.bytes((low + 256u * input.byte()) % kLongestPiece);
}

std::size_t countAcknowledged(FuzzGround& ground) {
    return static_cast<std::size_t>(std::count_if(ground.records().begin(), ground.records().end(),
                                                  [](const auto& record) { return record.acknowledged; }));
}

/// The trailer is there; every record before it has a header's four bytes at least.
void demandWholeDump(const Bytes& file) {
    demand(file.size() >= 6, "a dump has a trailer");
    const std::string digits = file.substr(file.size() - 6);
    demand(digits.find_first_not_of("0123456789") == std::string::npos, "the trailer is a number");
    demand(std::stoul(digits) * 5 <= file.size() - 6, "each frame has a header and a length");
}

void addRecords(FuzzGround& ground, FuzzInput& input) {
    for (unsigned int more = input.byte() % kMostRecords; more > 0; --more) {
        const uint8_t msgClass = input.byte();
        const uint8_t msgId = input.byte();
        ground.records().push_back({"extra", "", msgClass, msgId, input.flag()});
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    FuzzGround& ground = FuzzGround::fresh();
    const auto index = static_cast<signed char>(input.byte());
    const uint8_t flags = input.byte();
    const bool dump = (flags & 1) != 0;
    for (auto& record : ground.records())
        record.acknowledged = (flags & 16) != 0;
    addRecords(ground, input);
    ground.useBufferOf((flags & 8) != 0 ? kSmallBuffer : kBuffer);
    ground.unit.port.setDumpFile("");
    const int failingOpens = (flags >> 1 & 1) + (flags >> 2 & 1);
    if (dump && failingOpens > 0)
        ground.unit.port.openFails(kDumpFile, failingOpens);
    ground.openPort();
    ground.unit.forget();
    ground.unit.port.arrives(nextPiece(input));
    ground.unit.clock.afterEachSleep = [&](VirtualClock::Duration) {
        ground.unit.port.arrives(nextPiece(input));
    };
    const std::size_t acknowledgedBefore = countAcknowledged(ground);

    ground.handler.waitForAck(index, dump);

    const std::size_t acknowledged = countAcknowledged(ground) - acknowledgedBefore;
    const std::size_t counted =
        ground.member(HandlerMgaUsedCount()) + ground.member(HandlerMgaNotUsedCount());
    demand(acknowledged <= ground.records().size(), "no acknowledgement is taken back");
    demand(counted <= acknowledged, "each MGA-ACK counted has marked a record");
    demand(ground.unit.port.reads >= 1 && ground.unit.port.reads <= 3, "the budget is kept");
    demand(ground.unit.journal.count("usleep") + 1 == static_cast<std::size_t>(ground.unit.port.reads),
           "one pause lies between two reads");
    demand(ground.roomBehindBufferIsZero(), "nothing is written behind the buffer");
    demand(ground.unit.port.isOpen(), "the port stays open");
    if (dump && failingOpens < 2)
        demandWholeDump(ground.unit.port.dumpFile().value_or(""));
    return 0;
}
