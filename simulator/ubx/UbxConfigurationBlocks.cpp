#include "UbxConfigurationBlocks.h"

#include <algorithm>
#include <array>
#include <set>

#include "UbxIds.h"
#include "UbxPayload.h"
#include "simulator/Constants.h"

namespace simulator {

namespace {

using Merged = std::optional<Bytes>;

void copyField(const Bytes& from, Bytes& to, std::size_t offset, std::size_t size) {
    std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(offset), size,
                to.begin() + static_cast<std::ptrdiff_t>(offset));
}

// A field that is applied only where its bit stands in the message's mask.
struct MaskedField {
    uint32_t bit;
    std::size_t offset;
    std::size_t size;
};

template <std::size_t count>
Bytes applyMasked(const Bytes& stored, const Bytes& wanted, uint32_t mask,
                  const std::array<MaskedField, count>& fields) {
    Bytes result = stored;
    for (const MaskedField& field : fields)
        if ((mask & (1u << field.bit)) != 0)
            copyField(wanted, result, field.offset, field.size);
    return result;
}

template <std::size_t length>
Merged replaceWhole(const Bytes&, const Bytes& wanted) {
    return wanted.size() == length ? Merged(wanted) : std::nullopt;
}

// --- CFG-PRT --------------------------------------------------------------------------------------------

constexpr uint8_t kI2c = 0;
constexpr uint8_t kUart1 = 1;
constexpr uint8_t kUart2 = 2;
constexpr uint32_t kMode8N1 = 0x000008C0;
constexpr uint32_t kModeMask = 0x00003EC0; // stop bits, parity, character length
constexpr uint32_t kInProtocols = 0x0007;  // UBX, NMEA, RTCM2; protocol 18 has no others
constexpr uint32_t kOutProtocols = 0x0003; // UBX, NMEA
const std::set<uint32_t> kSpeeds = {4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};

Bytes factoryPort(uint8_t port, const EngineOptions& options) {
    const bool isUart = port == kUart1 || port == kUart2;
    const uint32_t out = port != kUart1
                             ? kOutProtocols
                             : (options.factory.ubxOut ? 1u : 0u) | (options.factory.nmeaOut ? 2u : 0u);
    return PayloadWriter()
        .u1(port)
        .u1(0)
        .u2(0)
        .u4(isUart ? kMode8N1 : 0)
        .u4(port == kUart1 ? options.baudRate : (isUart ? 9600u : 0u))
        .u2(kInProtocols)
        .u2(out)
        .zeros(4)
        .bytes();
}

Merged mergePort(const Bytes&, const Bytes& wanted) {
    const PayloadReader fields(wanted);
    if (wanted.size() != 20)
        return std::nullopt;
    const bool isUart = fields.u1(0) == kUart1 || fields.u1(0) == kUart2;
    const bool sound = (fields.u4(4) & kModeMask) == kMode8N1 && kSpeeds.count(fields.u4(8)) != 0;
    if (isUart && !sound)
        return std::nullopt;
    return PayloadWriter()
        .u1(fields.u1(0))
        .u1(0)
        .u2(fields.u2(2))
        .u4(fields.u4(4))
        .u4(fields.u4(8))
        .u2(fields.u2(12) & kInProtocols)
        .u2(fields.u2(14) & kOutProtocols)
        .u2(fields.u2(16))
        .zeros(2)
        .bytes();
}

// --- CFG-INF, CFG-RATE, CFG-ANT, CFG-SBAS, CFG-RXM, CFG-TP5 ---------------------------------------------

Bytes factoryInf(uint8_t protocol, const EngineOptions&) {
    const uint32_t levels = protocol == 1 ? 0x07 : 0x00; // NMEA: error, warning, notice
    PayloadWriter payload;
    payload.u1(protocol).zeros(3);
    for (int port = 0; port < 6; ++port)
        payload.u1(levels);
    return payload.bytes();
}

Bytes factoryRate(uint8_t, const EngineOptions& options) {
    constexpr uint32_t kGpsTime = 1;
    return PayloadWriter()
        .u2(static_cast<uint32_t>(options.factory.epochPeriod.count()))
        .u2(1)
        .u2(kGpsTime)
        .bytes();
}

Merged mergeRate(const Bytes&, const Bytes& wanted) {
    constexpr uint32_t kShortestPeriodMs = 50;
    constexpr uint32_t kMostCycles = 127;
    constexpr uint32_t kLastTimeReference = 4;
    const PayloadReader fields(wanted);
    const bool sound = wanted.size() == 6 && fields.u2(0) >= kShortestPeriodMs && fields.u2(2) >= 1 &&
                       fields.u2(2) <= kMostCycles && fields.u2(4) <= kLastTimeReference;
    return sound ? Merged(wanted) : std::nullopt;
}

Bytes factoryAntenna(uint8_t, const EngineOptions&) {
    // Supply control, short and open detection, power-down on short, recovery; pins of the reference design.
    return PayloadWriter().u2(0x001F).u2(0x398B).bytes();
}

Merged mergeAntenna(const Bytes& stored, const Bytes& wanted) {
    constexpr uint32_t kReconfigurePins = 0x8000;
    if (wanted.size() != 4)
        return std::nullopt;
    const PayloadReader fields(wanted);
    const uint32_t pins = fields.u2(2);
    const bool takesPins = (pins & kReconfigurePins) != 0;
    const uint32_t kept = takesPins ? pins & 0x7FFFu : PayloadReader(stored).u2(2);
    return PayloadWriter().u2(fields.u2(0)).u2(kept).bytes();
}

Bytes factorySbas(uint8_t, const EngineOptions&) {
    return PayloadWriter().u1(0x01).u1(0x03).u1(3).u1(0).u4(0x00000851).bytes();
}

Merged mergeSbas(const Bytes&, const Bytes& wanted) {
    constexpr uint32_t kMostChannels = 3;
    return wanted.size() == 8 && wanted[2] <= kMostChannels ? Merged(wanted) : std::nullopt;
}

Bytes factoryRxm(uint8_t, const EngineOptions&) { return PayloadWriter().u1(8).u1(0).bytes(); }

Merged mergeRxm(const Bytes&, const Bytes& wanted) {
    const std::set<int> modes = {0, 1, 4}; // continuous, power save, continuous
    return wanted.size() == 2 && modes.count(wanted[1]) != 0 ? Merged(wanted) : std::nullopt;
}

Bytes factoryTimePulse(uint8_t pulse, const EngineOptions&) {
    constexpr uint32_t kSecondUs = 1000000;
    return PayloadWriter()
        .u1(pulse)
        .u1(1)
        .u2(0)
        .i2(50)
        .i2(0)
        .u4(kSecondUs)
        .u4(kSecondUs)
        .u4(0)
        .u4(100000)
        .i4(0)
        .u4(pulse == 0 ? 0x77 : 0x76)
        .bytes();
}

// --- CFG-NMEA -------------------------------------------------------------------------------------------

Bytes factoryNmea(uint8_t, const EngineOptions& options) {
    constexpr uint32_t kConsiderMode = 0x02;
    return PayloadWriter()
        .u1(0)
        .u1(static_cast<uint32_t>(options.factory.nmeaVersion))
        .u1(0)
        .u1(kConsiderMode)
        .u4(0)
        .u1(options.factory.extendedNumbering ? 1 : 0)
        .u1(static_cast<uint32_t>(options.factory.mainTalker))
        .u1(options.factory.gsvUsesMainTalker ? 1 : 0)
        .u1(1)
        .zeros(8)
        .bytes();
}

// Three lengths are on the market: 4 bytes of the old receivers, 12 of version 0, 20 of version 1.
bool soundNmea(const Bytes& wanted) {
    const std::set<int> versions = {0x21, 0x23, 0x40, 0x41};
    const std::set<int> satelliteLimits = {0, 8, 12, 16};
    constexpr uint32_t kLastTalker = 5;
    const std::size_t size = wanted.size();
    const PayloadReader fields(wanted);
    const bool knownLayout =
        size == 4 || (size == 12 && fields.u1(11) == 0) || (size == 20 && fields.u1(11) == 1);
    return knownLayout && versions.count(fields.u1(1)) != 0 && satelliteLimits.count(fields.u1(2)) != 0 &&
           fields.u1(8) <= 1 && fields.u1(9) <= kLastTalker && fields.u1(10) <= 1;
}

Merged mergeNmea(const Bytes& stored, const Bytes& wanted) {
    if (!soundNmea(wanted))
        return std::nullopt;
    Bytes result = stored;
    std::copy(wanted.begin(), wanted.end(), result.begin());
    result[11] = 1;
    return result;
}

// --- CFG-GNSS -------------------------------------------------------------------------------------------

constexpr uint32_t kChannels = 32;
constexpr std::size_t kGnssHeader = 4;
constexpr std::size_t kGnssBlock = 8;
constexpr uint32_t kSystems = 7;

struct GnssFactory {
    Constellation system;
    uint32_t reserved;
    uint32_t most;
    uint32_t flags;
};

const std::array<GnssFactory, kSystems> kGnssFactory = {{
    {Constellation::Gps, 8, 16, 0x01010000},
    {Constellation::Sbas, 1, 3, 0x01010000},
    {Constellation::Galileo, 4, 8, 0x01010000},
    {Constellation::BeiDou, 8, 16, 0x01010000},
    {Constellation::Imes, 0, 8, 0x03010000},
    {Constellation::Qzss, 0, 3, 0x05010000},
    {Constellation::Glonass, 8, 14, 0x01010000},
}};

Bytes factoryGnss(uint8_t, const EngineOptions& options) {
    PayloadWriter payload;
    payload.u1(0).u1(kChannels).u1(kChannels).u1(kSystems);
    for (const GnssFactory& row : kGnssFactory) {
        const uint32_t enable = options.factory.enabled.count(row.system) != 0 ? 1 : 0;
        payload.u1(static_cast<uint32_t>(row.system)).u1(row.reserved).u1(row.most).u1(0);
        payload.u4(row.flags | enable);
    }
    return payload.bytes();
}

bool isMajor(uint32_t gnssId) {
    const std::set<uint32_t> majors = {0, 2, 3, 6};
    return majors.count(gnssId) != 0;
}

// Channels and signals of a system that is switched on.
bool soundSystem(const PayloadReader& fields, std::size_t at) {
    constexpr uint32_t kLeastChannelsOfMajor = 4;
    const uint32_t reserved = fields.u1(at + 1);
    const uint32_t most = fields.u1(at + 2);
    const uint32_t signals = fields.u4(at + 4) >> 16u & 0xFFu;
    return most >= (isMajor(fields.u1(at)) ? kLeastChannelsOfMajor : 1) && reserved <= most && signals != 0;
}

// The rules of the receiver's front end and channels, looked at when all wanted blocks are in place.
bool soundGnss(const Bytes& block) {
    constexpr uint32_t kBeiDou = 3;
    constexpr uint32_t kGlonass = 6;
    const PayloadReader fields(block);
    std::set<uint32_t> majors;
    uint32_t reserved = 0;
    for (std::size_t at = kGnssHeader; at < block.size(); at += kGnssBlock) {
        if ((fields.u4(at + 4) & 1u) == 0)
            continue;
        if (!soundSystem(fields, at))
            return false;
        reserved += fields.u1(at + 1);
        if (isMajor(fields.u1(at)))
            majors.insert(fields.u1(at));
    }
    // Two carrier bands at a time: BeiDou and GLONASS together leave none for GPS and Galileo.
    const bool threeBands = majors.count(kBeiDou) != 0 && majors.count(kGlonass) != 0 && majors.size() > 2;
    return !majors.empty() && !threeBands && reserved <= fields.u1(2);
}

Merged mergeGnss(const Bytes& stored, const Bytes& wanted) {
    const PayloadReader fields(wanted);
    if (wanted.size() < kGnssHeader || fields.u1(0) != 0 || fields.u1(3) == 0 ||
        wanted.size() != kGnssHeader + kGnssBlock * fields.u1(3))
        return std::nullopt;
    Bytes result = stored;
    result[2] = static_cast<uint8_t>(std::min<uint32_t>(fields.u1(2), kChannels));
    for (std::size_t at = kGnssHeader; at < wanted.size(); at += kGnssBlock) {
        if (fields.u1(at) >= kSystems)
            return std::nullopt;
        const std::size_t place = kGnssHeader + kGnssBlock * fields.u1(at);
        std::copy_n(wanted.begin() + static_cast<std::ptrdiff_t>(at), kGnssBlock,
                    result.begin() + static_cast<std::ptrdiff_t>(place));
    }
    return soundGnss(result) ? Merged(result) : std::nullopt;
}

// --- CFG-NAV5, CFG-NAVX5 --------------------------------------------------------------------------------

Bytes factoryNav5(uint8_t, const EngineOptions&) {
    constexpr uint32_t kPortable = 0;
    constexpr uint32_t kAuto2D3D = 3;
    return PayloadWriter()
        .u2(0xFFFF)
        .u1(kPortable)
        .u1(kAuto2D3D)
        .i4(0)
        .u4(10000)
        .i1(5)
        .u1(0)
        .u2(250)
        .u2(250)
        .u2(100)
        .u2(300)
        .u1(0)
        .u1(60)
        .zeros(4)
        .u2(0)
        .zeros(6)
        .bytes();
}

Merged mergeNav5(const Bytes& stored, const Bytes& wanted) {
    static constexpr std::array<MaskedField, 12> kFields = {{{0, 2, 1},
                                                             {1, 12, 1},
                                                             {2, 3, 1},
                                                             {3, 13, 1},
                                                             {4, 14, 4},
                                                             {5, 18, 4},
                                                             {6, 22, 1},
                                                             {7, 23, 1},
                                                             {8, 24, 2},
                                                             {6, 28, 2},
                                                             {2, 4, 8},
                                                             {10, 30, 1}}};
    const std::set<int> dynamicModels = {0, 2, 3, 4, 5, 6, 7, 8, 9};
    if (wanted.size() != 36)
        return std::nullopt;
    const Bytes result = applyMasked(stored, wanted, PayloadReader(wanted).u2(0), kFields);
    const bool sound = dynamicModels.count(result[2]) != 0 && result[3] >= 1 && result[3] <= 3;
    return sound ? Merged(result) : std::nullopt;
}

Bytes factoryNavx5(uint8_t, const EngineOptions&) {
    return PayloadWriter()
        .u2(2)
        .u2(0)
        .u4(0)
        .zeros(2)
        .u1(3)
        .u1(32)
        .u1(6)
        .u1(0)
        .u1(0)
        .zeros(2)
        .u1(0)
        .u2(1867)
        .u1(0)
        .zeros(5)
        .u1(0)
        .u1(0)
        .zeros(2)
        .u2(100)
        .zeros(7)
        .u1(0)
        .bytes();
}

Merged mergeNavx5(const Bytes& stored, const Bytes& wanted) {
    // Satellites, signal, first fix, week roll-over, acknowledged aiding, precise point, autonomous orbits.
    static constexpr std::array<MaskedField, 8> kFields = {
        {{2, 10, 2}, {3, 12, 1}, {6, 14, 1}, {9, 18, 2}, {10, 17, 1}, {13, 26, 1}, {14, 27, 1}, {14, 30, 2}}};
    const std::set<int> layouts = {0, 2};
    const PayloadReader fields(wanted);
    if (wanted.size() != 40 || layouts.count(fields.u2(0)) == 0 || fields.u1(17) > 1)
        return std::nullopt;
    return applyMasked(stored, wanted, fields.u2(2), kFields);
}

// --- Blocks that are only kept --------------------------------------------------------------------------

template <std::size_t length>
Bytes factoryZeros(uint8_t, const EngineOptions&) {
    return Bytes(length, 0);
}

Bytes factoryItfm(uint8_t, const EngineOptions&) {
    return PayloadWriter().u4(0x2D62ACF3).u4(0x0000061E).bytes();
}

// Set in 44 bytes, polled in 52: number and name of the datum come in front. Behind its figures stand shift,
// turn and scale against WGS 84, which are zero for itself.
Bytes factoryDatum(uint8_t, const EngineOptions&) {
    constexpr std::size_t kAgainstWgs84 = 7 * 4;
    return PayloadWriter()
        .u2(0)
        .text("WGS84", 6)
        .r8(kSemiMajorM)
        .r8(kInverseFlattening)
        .zeros(kAgainstWgs84)
        .bytes();
}

// Limits as the protocol description has them; NaN is within none.
bool soundDatum(const PayloadReader& fields) {
    const auto within = [](double value, double least, double most) {
        return least <= value && value <= most;
    };
    bool isSound = within(fields.r8(0), 6'300'000, 6'500'000) && within(fields.r8(8), 0, 500);
    for (const std::size_t shift : {16u, 20u, 24u})
        isSound = isSound && within(fields.r4(shift), -5000, 5000);
    for (const std::size_t turn : {28u, 32u, 36u})
        isSound = isSound && within(fields.r4(turn), -20, 20);
    return isSound && within(fields.r4(40), 0, 50);
}

Merged mergeDatum(const Bytes&, const Bytes& wanted) {
    constexpr uint32_t kOfTheUser = 0xFFFF;
    if (wanted.size() != 44 || !soundDatum(PayloadReader(wanted)))
        return std::nullopt;
    Bytes result = PayloadWriter().u2(kOfTheUser).text("USER", 6).bytes();
    result.insert(result.end(), wanted.begin(), wanted.end());
    return result;
}

Bytes factoryGeofences(uint8_t, const EngineOptions&) { return Bytes(8, 0); }

Merged mergeGeofences(const Bytes&, const Bytes& wanted) {
    constexpr std::size_t kMostFences = 4;
    const PayloadReader fields(wanted);
    const std::size_t fences = fields.u1(1);
    const bool sound = fields.u1(0) == 0 && fences <= kMostFences && wanted.size() == 8 + 12 * fences;
    return sound ? Merged(wanted) : std::nullopt;
}

Merged mergeInventory(const Bytes&, const Bytes& wanted) {
    constexpr std::size_t kMostData = 30;
    return wanted.size() <= 1 + kMostData ? Merged(wanted) : std::nullopt;
}

} // namespace

const std::vector<CfgBlockRow>& cfgBlockRows() {
    using namespace cfg_section;
    static const std::vector<CfgBlockRow> rows = {
        {ubx::kCfgPrt, kPort, {kI2c, kUart1, kUart2, 3, 4}, kUart1, factoryPort, mergePort},
        {ubx::kCfgInf, kInf, {0, 1}, 0, factoryInf, replaceWhole<10>},
        {ubx::kCfgRate, kNavigation, {0}, 0, factoryRate, mergeRate},
        {ubx::kCfgRxm, kReceiver, {0}, 0, factoryRxm, mergeRxm},
        {ubx::kCfgAnt, kAntenna, {0}, 0, factoryAntenna, mergeAntenna},
        {ubx::kCfgSbas, kNavigation, {0}, 0, factorySbas, mergeSbas},
        {ubx::kCfgNmea, kNavigation, {0}, 0, factoryNmea, mergeNmea},
        {ubx::kCfgOdo, kNavigation, {0}, 0, factoryZeros<20>, replaceWhole<20>},
        {ubx::kCfgNavx5, kNavigation, {0}, 0, factoryNavx5, mergeNavx5},
        {ubx::kCfgNav5, kNavigation, {0}, 0, factoryNav5, mergeNav5},
        {ubx::kCfgTp5, kReceiver, {0, 1}, 0, factoryTimePulse, replaceWhole<32>},
        {ubx::kCfgDat, kNavigation, {0}, 0, factoryDatum, mergeDatum},
        {ubx::kCfgUsb, kPort, {0}, 0, factoryZeros<108>, replaceWhole<108>},
        {ubx::kCfgRinv, kInventory, {0}, 0, factoryZeros<1>, mergeInventory},
        {ubx::kCfgPm2, kReceiver, {0}, 0, factoryZeros<44>, replaceWhole<44>},
        {ubx::kCfgGeofence, kNavigation, {0}, 0, factoryGeofences, mergeGeofences},
        {ubx::kCfgPms, kReceiver, {0}, 0, factoryZeros<8>, replaceWhole<8>},
        {ubx::kCfgItfm, kReceiver, {0}, 0, factoryItfm, replaceWhole<8>},
        {ubx::kCfgGnss, kReceiver, {0}, 0, factoryGnss, mergeGnss},
        {ubx::kCfgLogfilter, kLogging, {0}, 0, factoryZeros<12>, replaceWhole<12>},
    };
    return rows;
}

const CfgBlockRow* findCfgBlockRow(uint8_t id) {
    for (const CfgBlockRow& row : cfgBlockRows())
        if (row.id == id)
            return &row;
    return nullptr;
}

} // namespace simulator
