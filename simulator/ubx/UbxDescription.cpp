#include "UbxDescription.h"

#include <array>
#include <map>

#include "UbxIds.h"
#include "UbxPayload.h"
#include "simulator/Numbers.h"

namespace simulator {

namespace {

std::string systemName(uint32_t gnssId) {
    static const std::array<const char*, 7> names = {"GPS",  "SBAS", "Galileo", "BeiDou",
                                                     "IMES", "QZSS", "GLONASS"};
    return gnssId < names.size() ? names[gnssId] : formatted("system %u", gnssId);
}

std::string portName(uint32_t port) {
    static const std::array<const char*, 5> names = {"i2c", "uart1", "uart2", "usb", "spi"};
    return port < names.size() ? names[port] : formatted("port %u", port);
}

std::string describePort(const PayloadReader& fields) {
    return portName(fields.u1(0)) +
           formatted(" %u in 0x%02x out 0x%02x", fields.u4(8), fields.u2(12), fields.u2(14));
}

std::string describeMessageRate(const PayloadReader& fields) {
    return ubx::name(fields.u1(0), fields.u1(1)) + formatted(" every %u", fields.u1(2));
}

std::string describeReset(const PayloadReader& fields) {
    return formatted("clear 0x%04x mode 0x%02x", fields.u2(0), fields.u1(2));
}

std::string describeRate(const PayloadReader& fields) {
    return formatted("%u ms every %u", fields.u2(0), fields.u2(2));
}

std::string describeSaveAndLoad(const PayloadReader& fields) {
    return formatted("clear 0x%08x save 0x%08x load 0x%08x", fields.u4(0), fields.u4(4), fields.u4(8));
}

std::string describeAntenna(const PayloadReader& fields) {
    return formatted("flags 0x%04x pins 0x%04x", fields.u2(0), fields.u2(2));
}

std::string describeNmea(const PayloadReader& fields) {
    return "version " + nmeaVersionName(fields.u1(1)) + (fields.u1(8) == 1 ? " extended" : " strict");
}

std::string describeNavx5(const PayloadReader& fields) {
    constexpr uint32_t kAckAiding = 1u << 10u;
    const bool concerned = (fields.u2(2) & kAckAiding) != 0;
    return formatted("mask 0x%04x", fields.u2(2)) +
           (concerned ? formatted(" ack aiding %u", fields.u1(17)) : "");
}

std::string describeGnss(const PayloadReader& fields) {
    std::set<Constellation> enabled;
    for (std::size_t block = 0; block < fields.u1(3); ++block)
        if ((fields.u4(4 + 8 * block + 4) & 1u) != 0)
            enabled.insert(static_cast<Constellation>(fields.u1(4 + 8 * block)));
    return systemNames(enabled);
}

std::string describeInitial(const PayloadReader& fields) {
    constexpr uint32_t kPosition = 0x01;
    constexpr uint32_t kTime = 0x10;
    if (fields.u1(0) == kPosition) {
        return formatted("position %.7f %.7f %.2f m", fields.i4(4) * 1e-7, fields.i4(8) * 1e-7,
                         fields.i4(12) * 0.01);
    }
    if (fields.u1(0) == kTime) {
        return formatted("time %04u-%02u-%02uT%02u:%02u:%02uZ", fields.u2(4), fields.u1(6), fields.u1(7),
                         fields.u1(8), fields.u1(9), fields.u1(10));
    }
    return formatted("type 0x%02x", fields.u1(0));
}

std::string describeRecord(const PayloadReader& fields) {
    static const std::array<const char*, 11> kinds = {"?",       "position",   "time",   "clock",
                                                      "utc",     "ionosphere", "health", "ephemeris",
                                                      "almanac", "orbit",      "closing"};
    constexpr uint32_t kFirstOfSatellites = 7;
    constexpr uint32_t kLastOfSatellites = 9;
    const uint32_t kind = fields.u1(0);
    if (kind >= kinds.size())
        return "unknown record";
    return kinds[kind] + (kind < kFirstOfSatellites || kind > kLastOfSatellites
                              ? std::string()
                              : " " + systemName(fields.u1(1)) + formatted(" %u", fields.u1(2)));
}

using Describer = std::string (*)(const PayloadReader&);

const std::map<std::pair<int, int>, Describer> kDescribers = {
    {{ubx::kCfg, ubx::kCfgPrt}, describePort},        {{ubx::kCfg, ubx::kCfgMsg}, describeMessageRate},
    {{ubx::kCfg, ubx::kCfgRst}, describeReset},       {{ubx::kCfg, ubx::kCfgRate}, describeRate},
    {{ubx::kCfg, ubx::kCfgCfg}, describeSaveAndLoad}, {{ubx::kCfg, ubx::kCfgAnt}, describeAntenna},
    {{ubx::kCfg, ubx::kCfgNmea}, describeNmea},       {{ubx::kCfg, ubx::kCfgNavx5}, describeNavx5},
    {{ubx::kCfg, ubx::kCfgGnss}, describeGnss},       {{ubx::kMga, ubx::kMgaIni}, describeInitial},
    {{ubx::kMga, ubx::kMgaDbd}, describeRecord},
};

} // namespace

std::string describe(const UbxFrame& frame) {
    const std::string name = ubx::name(frame.messageClass, frame.id);
    if (frame.payload.empty())
        return name + " poll";
    const auto describer = kDescribers.find({frame.messageClass, frame.id});
    const std::string detail = describer == kDescribers.end()
                                   ? formatted("%zu bytes", frame.payload.size())
                                   : describer->second(PayloadReader(frame.payload));
    return name + " " + detail;
}

std::string systemNames(const std::set<Constellation>& systems) {
    std::string names;
    for (const Constellation system : systems)
        names += (names.empty() ? "" : "+") + systemName(static_cast<uint32_t>(system));
    return names.empty() ? "none" : names;
}

std::string nmeaVersionName(uint32_t version) { return formatted("%u.%u", version >> 4u, version & 0x0Fu); }

} // namespace simulator
