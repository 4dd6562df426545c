#ifndef UBXIDS_H
#define UBXIDS_H

#include <cstdint>
#include <string>

/// Classes and ids of the UBX messages that the simulated receiver knows, and their names for the log.

namespace simulator::ubx {

constexpr uint8_t kNav = 0x01;
constexpr uint8_t kInf = 0x04;
constexpr uint8_t kAck = 0x05;
constexpr uint8_t kCfg = 0x06;
constexpr uint8_t kMon = 0x0A;
constexpr uint8_t kMga = 0x13;
constexpr uint8_t kNmea = 0xF0; // standard sentences, as UBX-CFG-MSG names them

constexpr uint8_t kAckNak = 0x00;
constexpr uint8_t kAckAck = 0x01;

constexpr uint8_t kCfgPrt = 0x00;
constexpr uint8_t kCfgMsg = 0x01;
constexpr uint8_t kCfgInf = 0x02;
constexpr uint8_t kCfgRst = 0x04;
constexpr uint8_t kCfgDat = 0x06;
constexpr uint8_t kCfgRate = 0x08;
constexpr uint8_t kCfgCfg = 0x09;
constexpr uint8_t kCfgRxm = 0x11;
constexpr uint8_t kCfgAnt = 0x13;
constexpr uint8_t kCfgSbas = 0x16;
constexpr uint8_t kCfgNmea = 0x17;
constexpr uint8_t kCfgUsb = 0x1B;
constexpr uint8_t kCfgOdo = 0x1E;
constexpr uint8_t kCfgNavx5 = 0x23;
constexpr uint8_t kCfgNav5 = 0x24;
constexpr uint8_t kCfgTp5 = 0x31;
constexpr uint8_t kCfgRinv = 0x34;
constexpr uint8_t kCfgItfm = 0x39;
constexpr uint8_t kCfgPm2 = 0x3B;
constexpr uint8_t kCfgGnss = 0x3E;
constexpr uint8_t kCfgLogfilter = 0x47;
constexpr uint8_t kCfgGeofence = 0x69;
constexpr uint8_t kCfgPms = 0x86;

constexpr uint8_t kMonVer = 0x04;
constexpr uint8_t kMonHw = 0x09;
constexpr uint8_t kMonGnss = 0x28;

constexpr uint8_t kMgaIni = 0x40;
constexpr uint8_t kMgaAckData0 = 0x60;
constexpr uint8_t kMgaDbd = 0x80;

/// Whether the receiver has this message at all, in either direction.
bool isKnown(uint8_t messageClass, uint8_t id);

/// "CFG-PRT", or "class 0x21 id 0x0e" for what has no name here.
std::string name(uint8_t messageClass, uint8_t id);

} // namespace simulator::ubx

#endif
