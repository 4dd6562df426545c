#ifndef UBXCONFIGURATIONBLOCKS_H
#define UBXCONFIGURATIONBLOCKS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "UbxFrame.h"
#include "simulator/ProtocolEngine.h"

/// The blocks of the configuration, one row per CFG message: lengths, factory value, and what may be set.

namespace simulator {

/// Sections of UBX-CFG-CFG's masks.
namespace cfg_section {
constexpr uint32_t kPort = 0x0001;
constexpr uint32_t kMessages = 0x0002;
constexpr uint32_t kInf = 0x0004;
constexpr uint32_t kNavigation = 0x0008;
constexpr uint32_t kReceiver = 0x0010;
constexpr uint32_t kInventory = 0x0200;
constexpr uint32_t kAntenna = 0x0400;
constexpr uint32_t kLogging = 0x0800;
} // namespace cfg_section

struct CfgBlockRow {
    uint8_t id;       ///< of class CFG
    uint32_t section; ///< of the masks above
    /// Several blocks under one id, told apart by the payload's first byte; a poll may name one.
    std::vector<uint8_t> selectors;
    uint8_t polledByDefault; ///< what an empty poll asks for
    /// The payload after power-up.
    Bytes (*factory)(uint8_t selector, const EngineOptions& options);
    /// The block after `wanted` was applied to `stored`; nothing where the receiver refuses it.
    std::optional<Bytes> (*merge)(const Bytes& stored, const Bytes& wanted);
};

const std::vector<CfgBlockRow>& cfgBlockRows();

/// Null where the receiver has no such message.
const CfgBlockRow* findCfgBlockRow(uint8_t id);

} // namespace simulator

#endif
