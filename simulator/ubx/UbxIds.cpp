#include "UbxIds.h"

#include <map>
#include <utility>

#include "simulator/Numbers.h"

namespace simulator::ubx {

namespace {

const std::map<std::pair<int, int>, const char*> kNames = {
    {{kNav, 0x01}, "NAV-POSECEF"},
    {{kNav, 0x02}, "NAV-POSLLH"},
    {{kNav, 0x03}, "NAV-STATUS"},
    {{kNav, 0x04}, "NAV-DOP"},
    {{kNav, 0x06}, "NAV-SOL"},
    {{kNav, 0x07}, "NAV-PVT"},
    {{kNav, 0x11}, "NAV-VELECEF"},
    {{kNav, 0x12}, "NAV-VELNED"},
    {{kNav, 0x20}, "NAV-TIMEGPS"},
    {{kNav, 0x21}, "NAV-TIMEUTC"},
    {{kNav, 0x22}, "NAV-CLOCK"},
    {{kNav, 0x26}, "NAV-TIMELS"},
    {{kNav, 0x30}, "NAV-SVINFO"},
    {{kNav, 0x32}, "NAV-SBAS"},
    {{kNav, 0x35}, "NAV-SAT"},
    {{kNav, 0x61}, "NAV-EOE"},
    {{kInf, 0x00}, "INF-ERROR"},
    {{kInf, 0x01}, "INF-WARNING"},
    {{kInf, 0x02}, "INF-NOTICE"},
    {{kAck, kAckNak}, "ACK-NAK"},
    {{kAck, kAckAck}, "ACK-ACK"},
    {{kCfg, kCfgPrt}, "CFG-PRT"},
    {{kCfg, kCfgMsg}, "CFG-MSG"},
    {{kCfg, kCfgInf}, "CFG-INF"},
    {{kCfg, kCfgRst}, "CFG-RST"},
    {{kCfg, kCfgRate}, "CFG-RATE"},
    {{kCfg, kCfgCfg}, "CFG-CFG"},
    {{kCfg, kCfgRxm}, "CFG-RXM"},
    {{kCfg, kCfgAnt}, "CFG-ANT"},
    {{kCfg, kCfgSbas}, "CFG-SBAS"},
    {{kCfg, kCfgNmea}, "CFG-NMEA"},
    {{kCfg, kCfgOdo}, "CFG-ODO"},
    {{kCfg, kCfgNavx5}, "CFG-NAVX5"},
    {{kCfg, kCfgNav5}, "CFG-NAV5"},
    {{kCfg, kCfgTp5}, "CFG-TP5"},
    {{kCfg, kCfgItfm}, "CFG-ITFM"},
    {{kCfg, kCfgGnss}, "CFG-GNSS"},
    {{kCfg, kCfgLogfilter}, "CFG-LOGFILTER"},
    {{kCfg, kCfgDat}, "CFG-DAT"},
    {{kCfg, kCfgUsb}, "CFG-USB"},
    {{kCfg, kCfgRinv}, "CFG-RINV"},
    {{kCfg, kCfgPm2}, "CFG-PM2"},
    {{kCfg, kCfgGeofence}, "CFG-GEOFENCE"},
    {{kCfg, kCfgPms}, "CFG-PMS"},
    {{kMon, kMonVer}, "MON-VER"},
    {{kMon, kMonHw}, "MON-HW"},
    {{kMon, kMonGnss}, "MON-GNSS"},
    {{kMga, kMgaIni}, "MGA-INI"},
    {{kMga, kMgaAckData0}, "MGA-ACK"},
    {{kMga, kMgaDbd}, "MGA-DBD"},
    {{kNmea, 0x00}, "NMEA-GGA"},
    {{kNmea, 0x01}, "NMEA-GLL"},
    {{kNmea, 0x02}, "NMEA-GSA"},
    {{kNmea, 0x03}, "NMEA-GSV"},
    {{kNmea, 0x04}, "NMEA-RMC"},
    {{kNmea, 0x05}, "NMEA-VTG"},
    {{kNmea, 0x06}, "NMEA-GRS"},
    {{kNmea, 0x07}, "NMEA-GST"},
    {{kNmea, 0x08}, "NMEA-ZDA"},
    {{kNmea, 0x09}, "NMEA-GBS"},
    {{kNmea, 0x0A}, "NMEA-DTM"},
    {{kNmea, 0x0D}, "NMEA-GNS"},
};

} // namespace

bool isKnown(uint8_t messageClass, uint8_t id) { return kNames.count({messageClass, id}) != 0; }

std::string name(uint8_t messageClass, uint8_t id) {
    const auto found = kNames.find({messageClass, id});
    return found != kNames.end() ? found->second : formatted("class 0x%02x id 0x%02x", messageClass, id);
}

} // namespace simulator::ubx
