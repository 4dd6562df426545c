// make_seeds FOLDER: writes what the fuzzers start from, a folder for each of them.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Bytes.h"

namespace {

// --- The database's restore -----------------------------------------------------------------------------

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

// --- A wait for acknowledgements ------------------------------------------------------------------------

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

// --- Frame texts ----------------------------------------------------------------------------------------

/// Each of the six tries, and those with limits.
std::vector<Bytes> frameTextSeeds() {
    const Bytes position = hex("04 15 ea d0 02 ac a2 b0 00 40 99 07 00 e8 03 00 00");
    return {hex("00 00 13 80") + "payload",
            hex("00 01 06 3e ff b5 62 0a"),
            hex("00 00 06 01"),
            hex("01 00 00") + "b562130x0",
            hex("01 1e d1") + "b56206130400010",
            hex("02 78 56 34 12"),
            hex("03 02") + "ab" + hex("01") + "xxabxab",
            hex("03 00 00"),
            position,
            hex("04 ff ff ff ff ff ff ff 7f ff ff ff ff ff ff ff ff"),
            hex("05 00 f1 53 65"),
            hex("05 ff ff ff 7f"),
            hex("05 00 00 00 00")};
}

// --- gpsd's reports -------------------------------------------------------------------------------------

const Bytes kVersion = R"({"class":"VERSION","release":"3.22","rev":"3.22","proto_major":3,"proto_minor":14})"
                       "\r\n";
const Bytes kFixReport =
    R"({"class":"TPV","device":"/dev/ttymxc1","status":2,"mode":3,"time":"2023-11-14T22:13:20.000Z","ept":0.005,)"
    R"("lat":48.137154000,"lon":11.576124000,"altHAE":566.1,"altMSL":520.2,"alt":520.2,"epx":4.1,"epy":5.2,"epv":9.9,)"
    R"("track":87.5,"speed":13.9,"climb":-0.1,"eps":0.5,"epc":19.5})"
    "\r\n";
const Bytes kSkyReport =
    R"({"class":"SKY","device":"/dev/ttymxc1","xdop":0.7,"ydop":0.8,"vdop":1.1,"tdop":0.9,"hdop":1.1,"gdop":1.8,)"
    R"("pdop":1.5,"nSat":3,"uSat":2,"satellites":[{"PRN":5,"el":45.5,"az":120.0,"ss":38.0,"used":true,"gnssid":0},)"
    R"({"PRN":12,"el":-2.0,"az":359.9,"ss":21.4,"used":false},{"PRN":193,"el":5,"az":7,"ss":40,"used":true}]})"
    "\r\n";

Bytes tpv(const Bytes& members) { return R"({"class":"TPV",)" + members + "}\r\n"; }

/// A sky with so many satellites.
Bytes sky(int satellites, const Bytes& count) {
    Bytes list;
    for (int i = 1; i <= satellites; ++i)
        list += Bytes(i > 1 ? "," : "") + R"({"PRN":)" + std::to_string(i) + R"(,"ss":9,"used":true})";
    return R"({"class":"SKY","nSat":)" + count + R"(,"uSat":)" + count + R"(,"satellites":[)" + list +
           "]}\r\n";
}

std::vector<Bytes> reportSeeds() {
    const Bytes half = kFixReport.substr(0, 60);
    const Bytes devices = R"({"class":"DEVICES","devices":[{"class":"DEVICE","path":"/dev/ttymxc1"}]})"
                          "\r\n";
    return {
        kVersion + devices + kFixReport + kSkyReport,
        kFixReport + "\x02" + kSkyReport + "\x02\x02" + kFixReport + "\x03\x02",
        half + "\x01" + kFixReport.substr(60) + "\x04" + kSkyReport,
        kFixReport + kSkyReport + "\x05\x02\x02",
        Bytes("\x06\x03") + kFixReport + "\x06\x01" + kFixReport + "\x07\x09" + kFixReport,
        "no message\r\n{}\r\n{\"class\":\"TPV\"\r\n" + kFixReport,
        tpv(R"("mode":3,"time":"1969-12-31T23:59:59.500Z","lat":1e308,"lon":-1e308,"altMSL":1e308)"),
        tpv(R"("mode":3,"lat":NaN,"lon":Infinity,"speed":-1,"track":-0.1,"epx":1e200,"epy":1e200,"ept":-1e9)"),
        tpv(R"("mode":2,"lat":"48","lon":11)") + tpv(R"("mode":9,"lat":48)") + tpv(R"("mode":0)"),
        sky(0, "0") + kFixReport + sky(30, "30") + sky(140, "-5"),
        sky(185, "185") + kFixReport + sky(3, "2147483647"),
        R"({"class":"SKY","pdop":1.5,"uSat":7})"
        "\r\n" +
            kFixReport,
        R"({"class":"ERROR","message":"$(reboot)`reboot`; \"\\x41"})"
        "\r\n",
        Bytes(2000, '{') + "\r\n" + kFixReport};
}

// --- The worker's cycle ---------------------------------------------------------------------------------

constexpr char kAllGroups[] = "02 ff 03 ";

/// A worker of 1 s whose odometer starts after seven cycles: a fix at 48.137154, 11.576124, an error of 2 m.
Bytes atWork(const std::string& steps) {
    return hex("07 01 02 ff 03 04 b2 84 de 02 dc a3 b0 00 05 18 09 02 0a 0c 00 08 07 0b 00 f1 53 65 " +
               steps);
}

/// North by 90 m at a time, a second each.
std::string drive(int seconds) {
    std::string steps;
    for (int i = 0; i < seconds; ++i)
        steps += "03 20 03 00 00 01 03 ";
    return steps;
}

std::vector<Bytes> workerSeeds() {
    const std::string tracking = "0c 06 01 02 05 00 00 00 00 ";
    const std::string geofence = "0d 00 04 24 28 72 29 00 80 00 80 14 14 05 ";
    return {atWork("01 40 " + drive(30)),
            atWork("00 " + tracking + "01 40 " + geofence + drive(25) + "03 00 80 00 00 01 20 "),
            atWork("01 10 02 00 00 01 40 02 ff 03 01 10 07 03 01 08 07 01 01 08 08 02 01 08 "),
            atWork("01 08 12 0b 01 30 " + drive(3)),
            atWork("01 04 10 00 00 00 80 01 04 10 05 00 00 00 01 20 11 fd ff ff ff 01 20 0f 01 01 08 "),
            atWork("0c 10 01 01 00 00 00 c8 c8 01 10 0e 01 30 0c 01 00 00 00 00 00 00 00 01 04 "),
            atWork("01 40 04 f2 91 e1 02 dc a3 b0 00 01 40 "),
            atWork("06 00 0f 01 04 06 07 0e 01 04 06 00 0c 06 07 02 01 04 05 a0 01 04 05 9f 01 30 "),
            hex("07 c8") + hex(kAllGroups) + hex("01 10 0c 06 00 00 f0 02 c8 00 00 00 00 01 10")};
}

// --- The receiver's parser ------------------------------------------------------------------------------

std::vector<Bytes> parserSeeds() {
    const Bytes poll = ubxFrame(0x0A, 0x04, "");
    const Bytes port =
        hex("b5 62 06 00 14 00 01 00 00 00 c0 08 00 00 00 c2 01 00 07 00 03 00 00 00 00 00 b0 7e");
    const Bytes position =
        ubxFrame(0x13, 0x40, hex("01 00 00 00 15 ea d0 02 ac a2 b0 00 40 99 07 00 e8 03 00 00"));
    Bytes damaged = poll;
    damaged.back() ^= 1;
    const Bytes whole = Bytes(2, '\0');
    return {whole + poll + "\n" + port + ubxFrame(0x06, 0x00, "") + ubxFrame(0x06, 0x3E, ""),
            hex("00 25") + "$PUBX,00*33\r\n" + kFrame + "\n" + damaged + position,
            hex("01 00") + kFrame + poll,
            hex("02 03") + hex("b5 62 13 80 ff ff") + kFrame,
            hex("04 00") + hex("b5 62 13 80 ff ff") + kOtherFrame,
            whole + hex("b5 b5 62 b5 62 0a 04 02 00 b5 62") + poll + hex("b5"),
            whole + ubxFrame(0x06, 0x04, hex("00 00 01 00")) + ubxFrame(0x13, 0x80, "") + kFrame +
                kOtherFrame,
            whole + ubxFrame(0x06, 0x23, Bytes(40, '\0')) + ubxFrame(0x06, 0x17, Bytes(20, '\0')) +
                ubxFrame(0x06, 0x01, hex("01 07 01"))};
}

// --- Files ----------------------------------------------------------------------------------------------

void write(const std::filesystem::path& folder, const std::vector<Bytes>& seeds) {
    std::filesystem::create_directories(folder);
    for (std::size_t i = 0; i < seeds.size(); ++i)
        std::ofstream(folder / ("seed-" + std::to_string(i)), std::ios::binary) << seeds[i];
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "make_seeds: expected one argument, the folder to write to\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    write(folder / "restore", restoreSeeds());
    write(folder / "wait_for_ack", waitSeeds());
    write(folder / "frame_texts", frameTextSeeds());
    write(folder / "gpsd_reports", reportSeeds());
    write(folder / "worker_cycle", workerSeeds());
    write(folder / "ubx_parser", parserSeeds());
    return 0;
}
