#ifndef UBXCONFIGURATION_H
#define UBXCONFIGURATION_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "UbxFrame.h"
#include "simulator/ProtocolEngine.h"

/// The receiver's configuration: what UBX-CFG messages set, poll, save and load.
///
/// Each message's block is kept as its payload, so a poll returns exactly what is in force. What the rest of
/// the receiver needs (line speed, output, message rates) is derived from the blocks after every change.

namespace simulator {

/// What became of one CFG message.
struct CfgOutcome {
    bool accepted = false;         ///< ACK-ACK, otherwise ACK-NAK
    std::vector<UbxFrame> answers; ///< of a poll, sent ahead of the acknowledgement
};

class UbxConfiguration {
public:
    explicit UbxConfiguration(const EngineOptions& factory);

    /// Power-up and the reset line: factory values; what CFG-CFG saved is gone with the battery-backed
    /// memory.
    void resetToFactory();
    /// A restart by CFG-RST: what CFG-CFG saved, factory values for the rest.
    void reloadSaved();

    /// A frame of class CFG, CFG-RST excepted. A refused message changes nothing.
    CfgOutcome handle(const UbxFrame& frame);

    /// Of UART1, bits per second.
    uint32_t baudRate() const;
    bool acceptsUbx() const;         ///< input protocol mask of the port
    bool acknowledgesAiding() const; ///< ackAiding of CFG-NAVX5
    /// What the port sends, as the blocks in force say.
    const OutputConfiguration& output() const { return output_; }
    /// Whether CFG-INF lets texts of this level (0 error, 1 warning, 2 notice) through on this port.
    bool informs(uint8_t protocol, uint32_t level) const;
    /// Every how many epochs the message goes out on this port; 0: never.
    uint32_t rateOf(uint8_t messageClass, uint8_t id) const;

    /// Stored payload of a block; `selector` is the port, time pulse or protocol, 0 where there is only one.
    const Bytes& block(uint8_t id, uint8_t selector = 0) const;

private:
    using BlockKey = std::pair<uint8_t, uint8_t>;   ///< id, selector
    using MessageKey = std::pair<uint8_t, uint8_t>; ///< class, id
    static constexpr std::size_t kPorts = 6;        ///< I2C, UART1, UART2, USB, SPI, reserved

    struct Memory {
        std::map<BlockKey, Bytes> blocks;
        std::map<MessageKey, std::array<uint8_t, kPorts>> rates;
    };

    CfgOutcome handleBlock(const UbxFrame& frame);
    CfgOutcome handleInfUnits(const Bytes& payload);
    CfgOutcome handleMessageRate(const Bytes& payload);
    CfgOutcome handleSaveAndLoad(const Bytes& payload);
    static void copySections(const Memory& from, Memory& to, uint32_t sections);
    void derive();
    void deriveNmea();
    void deriveRates();

    EngineOptions factoryOptions_;
    Memory factory_;
    Memory saved_;
    Memory current_;
    OutputConfiguration output_;
};

} // namespace simulator

#endif
