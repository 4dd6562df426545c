#ifndef BYTES_H
#define BYTES_H

#include <cstdint>
#include <string>

/// Raw bytes; zeros are bytes like others.
using Bytes = std::string;

/// "b5 62 0a" in hex, blanks and letter case ignored, as bytes.
Bytes hex(const std::string& text);
/// Bytes as "b5 62 0a".
std::string toHex(const Bytes& bytes);

/// The bytes that `echo -e` makes of `text`: backslash, x and one or two hex digits are one byte.
Bytes unescaped(const std::string& text);

/// A whole UBX frame with its checksum.
Bytes ubxFrame(uint8_t msgClass, uint8_t msgId, const Bytes& payload);
/// UBX-ACK-ACK for a message.
Bytes ackAck(uint8_t msgClass, uint8_t msgId);
/// UBX-MGA-ACK-DATA0 for an assistance message; type 1 and infoCode 0 mean that the receiver uses it.
Bytes mgaAck(uint8_t msgId, uint8_t type = 1, uint8_t infoCode = 0,
             const Bytes& payloadStart = Bytes(4, '\0'), uint8_t version = 0);
/// What a receiver answers that is content with everything: the acknowledgement of `frame`.
Bytes contentReceiver(const Bytes& frame);

#endif
