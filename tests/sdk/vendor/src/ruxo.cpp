#include <ctime>

#include "bsp/records.h"

GPSData::GPSData() { Clear(); }
GPSData::GPSData(const GPSData& other) = default;
GPSData::~GPSData() = default;
GPSData& GPSData::operator=(const GPSData& other) = default;

void GPSData::Clear() {
    source = 0;
    pdop = hdop = tdop = gdop = 0;
    time = altitude = longitude = latitude = 0;
    course = speed = 0;
    valid = false;
}

RuxoString::RuxoString() = default;
RuxoString::RuxoString(const char* text) : text_(text == nullptr ? "" : text) {}
RuxoString::RuxoString(const RuxoString& other) = default;
RuxoString::~RuxoString() = default;
RuxoString& RuxoString::operator=(const RuxoString& other) = default;

bool RuxoString::equals(const RuxoString& other) const { return text_ == other.text_; }
const char* RuxoString::getStr() const { return text_.c_str(); }
void RuxoString::setStr(const char* text) { text_ = text == nullptr ? "" : text; }

uint32_t ruxo_systemtick() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(now.tv_sec);
}

uint32_t ruxosleep_interruptible(uint32_t milliseconds) { return milliseconds; }
