#include "ruxo/GPSData.h"

GPSData::GPSData() { Clear(); }

GPSData::GPSData(const GPSData& other) = default;

GPSData::~GPSData() = default;

GPSData& GPSData::operator=(const GPSData& other) = default;

void GPSData::Clear() {
    valid = false;
    latitude = 0;
    longitude = 0;
    altitude = 0;
    time = 0;
    speed = 0;
    course = 0;
    hdop = 0.0f;
    tdop = 0.0f;
    pdop = 0.0f;
    gdop = 0.0f;
}
