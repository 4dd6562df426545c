// make_seeds FOLDER: writes what the fuzzers start from, a folder for each of them.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Bytes.h"

namespace {

const Bytes kFrame = ubxFrame(0x13, 0x80, "0123456789");
const Bytes kOtherFrame = ubxFrame(0x13, 0x80, Bytes(50, '\xb5'));

/// No further records, open port, all frames taken; then the file.
Bytes restoreInput(const Bytes& file, char recordsBefore = 0, char pattern = 0x55) {
    return Bytes{recordsBefore, 1, pattern} + file;
}

std::vector<Bytes> restoreSeeds() {
    Bytes damaged = kFrame;
    damaged.back() ^= 1;
    return {restoreInput(""),
            restoreInput("000000"),
            restoreInput(kFrame + kOtherFrame + "000002"),
            restoreInput(kFrame + kOtherFrame + kFrame + "000003", '\xf7', 0x1b),
            restoreInput(damaged + "000001"),
            restoreInput(kFrame.substr(0, 12)),
            restoreInput(ubxFrame(0x05, 0x01, "ab") + "000001"),
            restoreInput("junk" + kFrame + "!" + kFrame + "abcdef"),
            restoreInput(hex("b5 62 13 80 ff 00") + "short" + "000001")};
}

Bytes piece(const Bytes& content) {
    return Bytes{static_cast<char>(content.size() & 0xFF), static_cast<char>(content.size() >> 8)} + content;
}

/// Index and flags, one further record (13 80), pieces of the reply.
Bytes waitInput(int index, int flags, const std::vector<Bytes>& pieces) {
    Bytes input = {static_cast<char>(index), static_cast<char>(flags), 1, 0x13, '\x80', 0};
    for (const Bytes& content : pieces)
        input += piece(content);
    return input;
}

std::vector<Bytes> waitSeeds() {
    constexpr int kDump = 1;
    constexpr int kSmallBuffer = 8;
    const Bytes foreign = ackAck(0x0A, 0x0A);
    return {waitInput(1, 0, {ackAck(6, 0x17)}),
            waitInput(-1, 0,
                      {ackAck(6, 0) + ackAck(6, 0x17), ackAck(6, 0x3E) + ackAck(6, 0x23), ackAck(6, 0x13)}),
            waitInput(5, kDump, {kFrame + kOtherFrame, kFrame + mgaAck(0x80)}),
            waitInput(5, kDump | kSmallBuffer, {kFrame, kOtherFrame, mgaAck(0x80)}),
            waitInput(5, kDump | 2, {mgaAck(0x77) + kFrame}),
            waitInput(2, 0, {foreign + foreign + mgaAck(0x77)}),
            waitInput(2, kSmallBuffer, {Bytes(33, '.') + ackAck(6, 0x3E)}),
            waitInput(-2, kDump, {Bytes(4993, '.') + mgaAck(0x80)})};
}

void write(const std::filesystem::path& folder, const std::vector<Bytes>& seeds) {
    std::filesystem::create_directories(folder);
    for (std::size_t i = 0; i < seeds.size(); ++i)
        std::ofstream(folder / std::to_string(i), std::ios::binary) << seeds[i];
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "make_seeds: expected one argument, the folder to write to\n";
        return 2;
    }
    write(std::filesystem::path(argv[1]) / "restore", restoreSeeds());
    write(std::filesystem::path(argv[1]) / "wait_for_ack", waitSeeds());
    return 0;
}
