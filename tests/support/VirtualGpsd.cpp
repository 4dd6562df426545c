#include "VirtualGpsd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <limits>
#include <string>

#include "GpsRecord.h"

namespace {

constexpr int kReportBytes = 250; // what a good read returns

std::string text(const char* format, unsigned int value) {
    char buffer[64];
    snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

void countUp(int& counter) {
    const GroundLock lock;
    ++counter;
}

bool isZero(const gps_data_t& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    return std::all_of(bytes, bytes + sizeof record, [](unsigned char byte) { return byte == 0; });
}

/// Any SKY brings all dilutions; those that it doesn't name are no numbers.
void takeDilutions(gps_data_t& record, double pdop) {
    auto& dop = record.dop;
    dop.xdop = dop.ydop = dop.hdop = dop.vdop = dop.tdop = dop.gdop =
        std::numeric_limits<double>::quiet_NaN();
    dop.pdop = pdop;
}

/// The first `satellites` are there and used, as far as there is room.
void takeSatellites(gps_data_t& record, int satellites) {
    int number = 0;
    for (auto& satellite : record.skyview) {
        const bool listed = ++number <= satellites;
        satellite.PRN = static_cast<decltype(satellite.PRN)>(listed ? number : 0);
        satellite.used = listed;
    }
}

} // namespace

// --- The script -----------------------------------------------------------------------------------------

void VirtualGpsd::reports(Fill fill, Duration wait) { readGives(kReportBytes, wait, std::move(fill)); }

void VirtualGpsd::readGives(int result, Duration wait, Fill fill) {
    script_.push_back({wait, true, result, std::move(fill)});
}

void VirtualGpsd::isSilent(int times) {
    for (int i = 0; i < times; ++i)
        script_.push_back({Duration::max(), false, 0, nullptr});
}

void VirtualGpsd::isInterrupted(int times) {
    for (int i = 0; i < times; ++i)
        script_.push_back({Duration(0), false, 0, nullptr, true});
}

void VirtualGpsd::reportsEvery(Duration period, Fill fill) {
    // At fixed times, however long the reader took for the one before.
    Duration next = clock_.elapsed();
    afterwards_ = [this, period, fill, next]() mutable {
        const Duration now = clock_.elapsed();
        next = std::max(next + period, now);
        return Cycle{next - now, true, kReportBytes, fill};
    };
}

void VirtualGpsd::sendsAFix(double latitude, double longitude) {
    reports([=](gps_data_t& record) {
        record.set = STATUS_SET | MODE_SET | LATLON_SET;
        record.fix.mode = 3;
        record.fix.latitude = latitude;
        record.fix.longitude = longitude;
    });
}

void VirtualGpsd::sendsTheSky(int satellites) {
    reports([=](gps_data_t& record) {
        takeDilutions(record, std::numeric_limits<double>::quiet_NaN());
        takeSatellites(record, satellites);
        const bool refused = satellites > static_cast<int>(std::size(record.skyview));
        if (kTellsDilutionsFromASky || !refused)
            record.satellites_used = satellites;
        if (refused)
            return;
        record.satellites_visible = satellites;
        record.set |= SATELLITE_SET;
    });
}

void VirtualGpsd::sendsDilutionsAlone(int used, double pdop) {
    reports([=](gps_data_t& record) {
        takeDilutions(record, pdop);
        takeSatellites(record, 0);
        record.satellites_visible = 0;
        record.satellites_used = kTellsDilutionsFromASky ? used : 0;
        record.set =
            kTellsDilutionsFromASky ? (record.set & ~SATELLITE_SET) | DOP_SET : record.set | SATELLITE_SET;
    });
}

void VirtualGpsd::stopsInALine() {
    afterwards_ = [] { return Cycle{Duration(0), true, 0, nullptr}; };
}

void VirtualGpsd::dies() {
    afterwards_ = [] { return Cycle{Duration(0), true, -1, nullptr}; };
}

void VirtualGpsd::openGives(int result, int descriptor) {
    openResult_ = result;
    nextDescriptor_ = descriptor;
}

void VirtualGpsd::openFindsNoMemory() {
    openGives(-1, kDescriptor);
    openHasMemory_ = false;
}

void VirtualGpsd::openKeepsItsBufferElsewhere() { openShowsItsBuffer_ = false; }

int VirtualGpsd::opens() const {
    const GroundLock lock;
    return opens_;
}

int VirtualGpsd::closes() const {
    const GroundLock lock;
    return closes_;
}

VirtualGpsd::Cycle VirtualGpsd::nextCycle() {
    if (script_.empty())
        return afterwards_ ? afterwards_() : Cycle{Duration::max(), false, 0, nullptr};
    Cycle cycle = script_.front();
    script_.pop_front();
    if (script_.empty() && whenLastCycleBegins)
        whenLastCycleBegins();
    return cycle;
}

// --- libgps ---------------------------------------------------------------------------------------------

int VirtualGpsd::open(const char* host, const char* port, gps_data_t* record) {
    if (other != nullptr)
        return other->open(record);
    journal_.add(std::string("gps_open ") + host + " " + port);
    EXPECT_TRUE(isZero(*record)) << "gps_open of a record that was not cleared";
    countUp(opens_);
    record_ = record;
    descriptor_ = nextDescriptor_;
    record->gps_fd = descriptor_;
    hasBuffer_ = descriptor_ > 0 && openHasMemory_;
    if (hasBuffer_ && openShowsItsBuffer_)
        record->privdata = reinterpret_cast<decltype(record->privdata)>(&script_);
    const int result = openResult_;
    openResult_ = 0;
    nextDescriptor_ = kDescriptor;
    openHasMemory_ = true;
    openShowsItsBuffer_ = true;
    return result;
}

int VirtualGpsd::stream(gps_data_t* record, unsigned int flags, const void* argument) {
    if (other != nullptr)
        return other->stream(record, flags);
    errnoAtStream = errno;
    journal_.add(text("gps_stream 0x%x", flags) + (argument == nullptr ? "" : " with an argument"));
    EXPECT_EQ(record, record_) << "gps_stream on a session that isn't open";
    return record->gps_fd < 0 ? -1 : 0;
}

bool VirtualGpsd::waiting(const gps_data_t* record, int timeoutMicros) {
    if (other != nullptr)
        return other->waiting(record, timeoutMicros);
    journal_.add(text("gps_waiting %u", static_cast<unsigned int>(timeoutMicros)));
    EXPECT_EQ(record, record_) << "gps_waiting on a session that isn't open";
    EXPECT_LT(record->gps_fd, 1024) << "gps_waiting aborts on such a descriptor";
    EXPECT_TRUE(record->gps_fd != -1 && record->gps_fd != -2) << "the numbers of sources that are not there";
    current_ = nextCycle();
    if (record->gps_fd < 0)
        return true;
    EXPECT_TRUE(hasBuffer_) << "gps_waiting crashes without the session's buffer";
    if (current_.interrupted) {
        errno = EINTR;
        return false;
    }
    const bool arrives = current_.arrives && current_.wait <= Duration(timeoutMicros);
    clock_.advance(arrives ? current_.wait : Duration(timeoutMicros));
    return arrives;
}

int VirtualGpsd::read(gps_data_t* record) {
    if (other != nullptr)
        return other->read(record);
    journal_.add("gps_read");
    EXPECT_EQ(record, record_) << "gps_read on a session that isn't open";
    EXPECT_GE(record->gps_fd, 0) << "gps_read crashes after a failed open";
    EXPECT_TRUE(hasBuffer_) << "gps_read crashes without the session's buffer";
    if (current_.fill)
        current_.fill(*record);
    return current_.result;
}

int VirtualGpsd::close(gps_data_t* record) {
    if (other != nullptr)
        return other->close(record);
    journal_.add("gps_close");
    EXPECT_EQ(record, record_) << "gps_close on a session that isn't open";
    countUp(closes_);
    record_ = nullptr;
    return 0;
}

void VirtualGpsd::descriptorClosed(int descriptor) {
    journal_.add("close " + std::to_string(descriptor));
    descriptor_ = -1;
}
