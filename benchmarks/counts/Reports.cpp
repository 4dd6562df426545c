#include "Reports.h"

#include <cstdio>

std::string fixReport(int second) {
    char time[64];
    std::snprintf(time, sizeof time, "2026-01-01T00:%02d:%02d.000Z", second / 60 % 60, second % 60);
    return R"({"class":"TPV","device":"/dev/ttymxc1","status":2,"mode":3,"time":")" + std::string(time) +
           R"(","ept":0.005,"lat":48.137154321,"lon":11.576124123,"altHAE":565.4000,"altMSL":519.2000,)"
           R"("alt":519.2000,"epx":3.125,"epy":4.250,"epv":7.500,"track":123.4000,"magtrack":126.7000,)"
           R"("magvar":3.3,"speed":13.900,"climb":0.100,"eps":8.50,"epc":15.00,"geoidSep":46.200,)"
           R"("eph":7.125,"sep":12.350})"
           "\r\n";
}

std::string skyReport(int satellites) {
    std::string text = R"({"class":"SKY","device":"/dev/ttymxc1","time":"2026-01-01T00:00:00.000Z",)"
                       R"("xdop":0.55,"ydop":0.65,"vdop":1.05,"tdop":0.75,"hdop":0.85,"gdop":1.55,)"
                       R"("pdop":1.35,"nSat":100,"uSat":100,"satellites":[)";
    for (int i = 0; i < satellites; ++i) {
        char satellite[128];
        std::snprintf(
            satellite, sizeof satellite,
            R"({"PRN":%d,"el":%d.0,"az":%d.0,"ss":%d.0,"used":true,"gnssid":0,"svid":%d,"health":1})",
            101 + i % 140, 10 + i % 80, 100 + i % 260, 20 + i % 30, 11 + i % 80);
        text.append(i > 0 ? "," : "").append(satellite);
    }
    return text + "]}\r\n";
}
