#ifndef BSP_RECORDS_H
#define BSP_RECORDS_H

#include <cstdint>
#include <string>

#include "bsp/visible.h"

/// The platform's fix, laid out in this vendor's way.
class BSP_VISIBLE GPSData {
public:
    GPSData();
    GPSData(const GPSData& other);
    ~GPSData();
    GPSData& operator=(const GPSData& other);

    void Clear();

    uint32_t source; ///< this vendor's own
    float pdop;
    float hdop;
    float tdop;
    float gdop;
    int32_t time;
    int32_t altitude;
    int32_t longitude;
    int32_t latitude;
    uint32_t course;
    uint32_t speed;
    bool valid;
};

/// This vendor's text has room for short ones of its own.
class BSP_VISIBLE RuxoString {
public:
    RuxoString();
    RuxoString(const char* text);
    RuxoString(const RuxoString& other);
    ~RuxoString();
    RuxoString& operator=(const RuxoString& other);

    bool equals(const RuxoString& other) const;
    const char* getStr() const;
    void setStr(const char* text);

private:
    std::string text_;
};

BSP_VISIBLE uint32_t ruxo_systemtick();
BSP_VISIBLE uint32_t ruxosleep_interruptible(uint32_t milliseconds);

#endif
