#include "UbxConfiguration.h"

#include <algorithm>
#include <set>

#include "UbxConfigurationBlocks.h"
#include "UbxIds.h"
#include "UbxPayload.h"

namespace simulator {

namespace {

constexpr uint8_t kThisPort = 1; // UART1
constexpr std::ptrdiff_t kInfUnit = 10;

// Messages that an M8 sends and this one doesn't: their rates are taken and kept.
const std::set<std::pair<uint8_t, uint8_t>> kOnlyConfigured = {
    {ubx::kNav, 0x05}, {ubx::kNav, 0x09}, {ubx::kNav, 0x13}, {ubx::kNav, 0x14}, {ubx::kNav, 0x23},
    {ubx::kNav, 0x24}, {ubx::kNav, 0x25}, {ubx::kNav, 0x31}, {ubx::kNav, 0x34}, {ubx::kNav, 0x39},
    {ubx::kNav, 0x60}, {0x02, 0x13},      {0x02, 0x14},      {0x02, 0x15},      {0x02, 0x59},
    {0x02, 0x61},      {ubx::kMon, 0x02}, {ubx::kMon, 0x06}, {ubx::kMon, 0x07}, {ubx::kMon, 0x08},
    {ubx::kMon, 0x09}, {ubx::kMon, 0x0B}, {ubx::kMon, 0x21}, {0x0D, 0x01},      {0x0D, 0x03},
    {0x0D, 0x06},      {0xF1, 0x00},      {0xF1, 0x03},      {0xF1, 0x04}};

bool isPeriodic(uint8_t messageClass, uint8_t id) {
    const bool sent =
        (messageClass == ubx::kNav || messageClass == ubx::kNmea) && ubx::isKnown(messageClass, id);
    return sent || kOnlyConfigured.count({messageClass, id}) != 0;
}

bool hasSelectors(const CfgBlockRow& row) { return row.selectors.size() > 1; }

bool isPoll(const CfgBlockRow& row, const Bytes& payload) {
    return payload.empty() || (hasSelectors(row) && payload.size() == 1);
}

} // namespace

UbxConfiguration::UbxConfiguration(const EngineOptions& factory) : factoryOptions_(factory) {
    for (const CfgBlockRow& row : cfgBlockRows())
        for (const uint8_t selector : row.selectors)
            factory_.blocks[{row.id, selector}] = row.factory(selector, factory);
    for (std::size_t id = 0; id < kSentenceIds; ++id) {
        const uint8_t rate = factory.factory.sentenceRate[id];
        factory_.rates[{ubx::kNmea, static_cast<uint8_t>(id)}] = {rate, rate, rate, rate, rate, 0};
    }
    resetToFactory();
}

void UbxConfiguration::resetToFactory() {
    saved_ = factory_;
    reloadSaved();
}

void UbxConfiguration::reloadSaved() {
    current_ = saved_;
    derive();
}

CfgOutcome UbxConfiguration::handle(const UbxFrame& frame) {
    if (frame.id == ubx::kCfgMsg)
        return handleMessageRate(frame.payload);
    if (frame.id == ubx::kCfgCfg)
        return handleSaveAndLoad(frame.payload);
    if (frame.id == ubx::kCfgInf && frame.payload.size() > std::size_t{kInfUnit})
        return handleInfUnits(frame.payload);
    return handleBlock(frame);
}

// One message may set several protocols.
CfgOutcome UbxConfiguration::handleInfUnits(const Bytes& payload) {
    const Memory before = current_;
    CfgOutcome outcome{payload.size() % std::size_t{kInfUnit} == 0, {}};
    for (auto at = payload.begin(); outcome.accepted && at != payload.end(); at += kInfUnit)
        outcome = handleBlock({ubx::kCfg, ubx::kCfgInf, Bytes(at, at + kInfUnit)});
    if (!outcome.accepted)
        current_ = before;
    return outcome;
}

CfgOutcome UbxConfiguration::handleBlock(const UbxFrame& frame) {
    const CfgBlockRow* row = findCfgBlockRow(frame.id);
    if (row == nullptr)
        return {};
    const Bytes& payload = frame.payload;
    const uint8_t selector = payload.empty()      ? row->polledByDefault
                             : hasSelectors(*row) ? payload.front()
                                                  : uint8_t{0};
    const auto stored = current_.blocks.find({frame.id, selector});
    if (stored == current_.blocks.end())
        return {};
    if (isPoll(*row, payload))
        return {true, {{ubx::kCfg, frame.id, stored->second}}};
    const std::optional<Bytes> merged = row->merge(stored->second, payload);
    if (merged) {
        stored->second = *merged;
        derive();
    }
    return {merged.has_value(), {}};
}

// Two bytes poll the rates of a message, three set the one of this port, eight those of all six ports.
CfgOutcome UbxConfiguration::handleMessageRate(const Bytes& payload) {
    const std::size_t size = payload.size();
    if ((size != 2 && size != 3 && size != 2 + kPorts) || !isPeriodic(payload[0], payload[1]))
        return {};
    auto& rates = current_.rates[{payload[0], payload[1]}];
    if (size == 2) {
        Bytes answer = payload;
        answer.insert(answer.end(), rates.begin(), rates.end());
        return {true, {{ubx::kCfg, ubx::kCfgMsg, answer}}};
    }
    if (size == 3)
        rates[kThisPort] = payload[2];
    else
        std::copy(payload.begin() + 2, payload.end(), rates.begin());
    derive();
    return {true, {}};
}

CfgOutcome UbxConfiguration::handleSaveAndLoad(const Bytes& payload) {
    if (payload.size() != 12 && payload.size() != 13)
        return {};
    const PayloadReader masks(payload);
    copySections(factory_, saved_, masks.u4(0));
    copySections(current_, saved_, masks.u4(4));
    copySections(saved_, current_, masks.u4(8));
    derive();
    return {true, {}};
}

void UbxConfiguration::copySections(const Memory& from, Memory& to, uint32_t sections) {
    for (const CfgBlockRow& row : cfgBlockRows()) {
        if ((sections & row.section) == 0)
            continue;
        for (const uint8_t selector : row.selectors)
            to.blocks[{row.id, selector}] = from.blocks.at({row.id, selector});
    }
    if ((sections & cfg_section::kMessages) != 0)
        to.rates = from.rates;
}

uint32_t UbxConfiguration::baudRate() const { return PayloadReader(block(ubx::kCfgPrt, kThisPort)).u4(8); }

bool UbxConfiguration::acceptsUbx() const {
    return (PayloadReader(block(ubx::kCfgPrt, kThisPort)).u2(12) & 1u) != 0;
}

bool UbxConfiguration::acknowledgesAiding() const { return PayloadReader(block(ubx::kCfgNavx5)).u1(17) == 1; }

bool UbxConfiguration::informs(uint8_t protocol, uint32_t level) const {
    constexpr std::size_t kMasks = 4;
    return (block(ubx::kCfgInf, protocol).at(kMasks + kThisPort) >> level & 1u) != 0;
}

uint32_t UbxConfiguration::rateOf(uint8_t messageClass, uint8_t id) const {
    const auto found = current_.rates.find({messageClass, id});
    return found == current_.rates.end() ? 0 : found->second[kThisPort];
}

const Bytes& UbxConfiguration::block(uint8_t id, uint8_t selector) const {
    return current_.blocks.at({id, selector});
}

void UbxConfiguration::derive() {
    output_ = factoryOptions_.factory;
    const uint32_t protocols = PayloadReader(block(ubx::kCfgPrt, kThisPort)).u2(14);
    output_.ubxOut = (protocols & 1u) != 0;
    output_.nmeaOut = (protocols & 2u) != 0;
    deriveNmea();
    deriveRates();
    const PayloadReader gnss(block(ubx::kCfgGnss));
    output_.enabled.clear();
    for (std::size_t at = 4; at < block(ubx::kCfgGnss).size(); at += 8)
        if ((gnss.u4(at + 4) & 1u) != 0)
            output_.enabled.insert(static_cast<Constellation>(gnss.u1(at)));
}

void UbxConfiguration::deriveNmea() {
    const PayloadReader nmea(block(ubx::kCfgNmea));
    output_.nmeaVersion = static_cast<NmeaVersion>(nmea.u1(1));
    output_.extendedNumbering = nmea.u1(8) == 1;
    output_.mainTalker = static_cast<MainTalker>(nmea.u1(9));
    output_.gsvUsesMainTalker = nmea.u1(10) == 1;
}

void UbxConfiguration::deriveRates() {
    const PayloadReader rate(block(ubx::kCfgRate));
    output_.epochPeriod = std::chrono::milliseconds(rate.u2(0) * rate.u2(2));
    for (std::size_t id = 0; id < kSentenceIds; ++id)
        output_.sentenceRate[id] = static_cast<uint8_t>(rateOf(ubx::kNmea, static_cast<uint8_t>(id)));
}

} // namespace simulator
