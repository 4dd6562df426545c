// The library's binary interface: where each virtual operation has its slot, and each member its place. An
// application that is already built relies on both, so a test that fails here means a change for every one.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "GPSAdapter.h"
#include "GPSTimedWorker.h"
#include "HandlerMembers.h"
#include "MemberAccess.h"
#include "VirtualUnit.h"

EXPOSE_MEMBER(HalName, GPSHAL, halName);
EXPOSE_MEMBER(HandlerDevicePath, UbxConfigHandler, devicePath);

namespace {

// --- Members --------------------------------------------------------------------------------------------

struct Member {
    const char* name;
    std::size_t offset;
    std::size_t size;
    std::size_t alignment;
};

/// The offset that a pointer to member holds (Itanium C++ ABI, which every Linux compiler follows).
template <typename Class, typename Type>
std::size_t offsetOf(Type Class::*pointer) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof pointer == sizeof offset, "a pointer to member holds its offset");
    std::memcpy(&offset, &pointer, sizeof offset);
    return static_cast<std::size_t>(offset);
}

/// A member that is exactly of type `Type`: anything else doesn't compile.
template <typename Type, typename Class>
Member member(const char* name, Type Class::*pointer) {
    return {name, offsetOf(pointer), sizeof(Type), alignof(Type)};
}

std::size_t alignedUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

/// That the members follow each other in this order from `begin` to the object's end, with nothing between.
template <typename Class>
void expectMembers(std::size_t begin, const std::vector<Member>& members) {
    std::size_t end = begin;
    for (const Member& m : members) {
        EXPECT_EQ(m.offset, alignedUp(end, m.alignment)) << m.name;
        end = m.offset + m.size;
    }
    EXPECT_EQ(alignedUp(end, alignof(Class)), sizeof(Class)) << "a member behind the last one";
}

constexpr std::size_t kVirtualTablePointer = sizeof(void*);

TEST(MemberOrder, OfGPSData) {
    expectMembers<GPSData>(
        0, {member<bool>("valid", &GPSData::valid), member<int32_t>("latitude", &GPSData::latitude),
            member<int32_t>("longitude", &GPSData::longitude),
            member<int32_t>("altitude", &GPSData::altitude), member<int32_t>("time", &GPSData::time),
            member<uint32_t>("speed", &GPSData::speed), member<uint32_t>("course", &GPSData::course),
            member<float>("hdop", &GPSData::hdop), member<float>("tdop", &GPSData::tdop),
            member<float>("pdop", &GPSData::pdop), member<float>("gdop", &GPSData::gdop)});
}

TEST(MemberOrder, OfGPSGeofence) {
    using G = GPSGeofence;
    expectMembers<G>(0, {member<RuxoString>("name", &G::name), member<int32_t>("longitude", &G::longitude),
                         member<int32_t>("latitude", &G::latitude), member<uint32_t>("width", &G::width),
                         member<uint32_t>("height", &G::height), member<uint32_t>("margin", &G::margin)});
}

TEST(MemberOrder, OfGPSParams) {
    using P = GPSParams;
    expectMembers<P>(
        0, {member<bool>("enabled", &P::enabled), member<uint32_t>("positionInterval", &P::positionInterval),
            member<uint32_t>("statusInterval", &P::statusInterval),
            member<bool>("trackingEnabled", &P::trackingEnabled),
            member<int32_t>("trackingPeriod", &P::trackingPeriod),
            member<int32_t>("trackingBase", &P::trackingBase),
            member<int32_t>("trackingOffset", &P::trackingOffset),
            member<bool>("geofencesEnabled", &P::geofencesEnabled),
            member<GPSGeofence[12]>("geofences", &P::geofences),
            member<bool>("resetTimeDeviation", &P::resetTimeDeviation),
            member<uint32_t>("odometerValue", &P::odometerValue),
            member<bool>("setOdometer", &P::setOdometer), member<uint32_t>("logInterval", &P::logInterval)});
}

TEST(MemberOrder, OfGPSReadings) {
    using R = GPSReadings;
    expectMembers<R>(0, {member<bool>("available", &R::available),
                         member<GPSAntennaState>("antennaState", &R::antennaState),
                         member<uint32_t>("satelliteCount", &R::satelliteCount),
                         member<uint32_t>("snr", &R::snr), member<uint32_t>("fixTick", &R::fixTick),
                         member<uint32_t>("odometer", &R::odometer), member<GPSData>("data", &R::data),
                         member<GPSGeofenceState[12]>("geofenceStates", &R::geofenceStates),
                         member<bool>("timeDeviationValid", &R::timeDeviationValid),
                         member<int32_t>("timeDelta", &R::timeDelta),
                         member<uint32_t>("horizontalError", &R::horizontalError),
                         member<int32_t>("timeError", &R::timeError)});
}

TEST(MemberOrder, OfGPSHAL) {
    expectMembers<GPSHAL>(kVirtualTablePointer, {member<RuxoString>("halName", memberOf(HalName()))});
}

TEST(MemberOrder, OfGPSHAL_RUXO_3) {
    expectMembers<GPSHAL_RUXO_3>(sizeof(GPSHAL),
                                 {member<bool>("active", memberOf(DriverActive())),
                                  member<bool>("running", memberOf(DriverRunning())),
                                  member<bool>("gpsdRunning", memberOf(DriverGpsdRunning())),
                                  member<ReaderBlock>("reader", memberOf(DriverReader())),
                                  member<pthread_t>("readerThread", memberOf(DriverReaderThread())),
                                  member<time_t>("lastQueryTime", memberOf(DriverLastQueryTime())),
                                  member<time_t>("lastSatelliteLog", memberOf(DriverLastSatelliteLog())),
                                  member<uint32_t>("initializeTick", memberOf(DriverInitializeTick())),
                                  member<UbxConfigHandler>("ubxConfig", memberOf(DriverUbxConfig()))});
}

TEST(MemberOrder, OfTheReaderBlock) {
    using B = ReaderBlock;
    expectMembers<B>(0, {member<bool>("stopRequested", &B::stopRequested),
                         member<int32_t>("status", &B::status),
                         member<int32_t>("fixTime", &B::fixTime),
                         member<int32_t>("mode", &B::mode),
                         member<double>("latitude", &B::latitude),
                         member<double>("longitude", &B::longitude),
                         member<double>("altitude", &B::altitude),
                         member<double>("track", &B::track),
                         member<double>("speed", &B::speed),
                         member<double>("climb", &B::climb),
                         member<double>("ept", &B::ept),
                         member<double>("epy", &B::epy),
                         member<double>("epx", &B::epx),
                         member<double>("epv", &B::epv),
                         member<double>("eps", &B::eps),
                         member<int32_t>("satellitesVisible", &B::satellitesVisible),
                         member<int32_t>("satellitesUsed", &B::satellitesUsed),
                         member<double[235]>("ss", &B::ss),
                         member<bool[235]>("used", &B::used),
                         member<int16_t[235]>("PRN", &B::PRN),
                         member<int16_t[235]>("elevation", &B::elevation),
                         member<int16_t[235]>("azimuth", &B::azimuth),
                         member<double>("xdop", &B::xdop),
                         member<double>("ydop", &B::ydop),
                         member<double>("pdop", &B::pdop),
                         member<double>("hdop", &B::hdop),
                         member<double>("vdop", &B::vdop),
                         member<double>("tdop", &B::tdop),
                         member<double>("gdop", &B::gdop),
                         member<time_t>("tsStatus", &B::tsStatus),
                         member<time_t>("tsTime", &B::tsTime),
                         member<time_t>("tsMode", &B::tsMode),
                         member<time_t>("tsLatLon", &B::tsLatLon),
                         member<time_t>("tsAltitude", &B::tsAltitude),
                         member<time_t>("tsTrack", &B::tsTrack),
                         member<time_t>("tsSpeed", &B::tsSpeed),
                         member<time_t>("tsClimb", &B::tsClimb),
                         member<time_t>("tsSatellites", &B::tsSatellites),
                         member<time_t>("tsTimeError", &B::tsTimeError),
                         member<time_t>("tsHorizontalError", &B::tsHorizontalError),
                         member<time_t>("tsVerticalError", &B::tsVerticalError),
                         member<time_t>("tsSpeedError", &B::tsSpeedError),
                         member<time_t>("tsDop", &B::tsDop)});
}

TEST(MemberOrder, OfUbxConfigHandler) {
    expectMembers<UbxConfigHandler>(
        kVirtualTablePointer,
        {member<std::vector<UbxConfigHandler::UbxCommands>>("commandList", memberOf(HandlerRecords())),
         member<std::string>("devicePath", memberOf(HandlerDevicePath())),
         member<std::string>("baudRate", memberOf(HandlerBaudRate())),
         member<uint32_t>("acknowledgedCount", memberOf(HandlerAcknowledgedCount())),
         member<FILE*>("serialPort", memberOf(HandlerSerialPort())),
         member<uint32_t>("readBufferSize", memberOf(HandlerReadBufferSize())),
         member<unsigned char*>("readBuffer", memberOf(HandlerReadBuffer())),
         member<uint32_t>("readDelayUs", memberOf(HandlerReadDelayUs())),
         member<uint32_t>("maxReads", memberOf(HandlerMaxReads())),
         member<unsigned char[4]>("mgaAckPayloadStart", memberOf(HandlerMgaAckPayloadStart())),
         member<uint32_t>("mgaUsedCount", memberOf(HandlerMgaUsedCount())),
         member<uint32_t>("mgaNotUsedCount", memberOf(HandlerMgaNotUsedCount()))});
}

TEST(MemberOrder, OfUbxCommands) {
    using C = UbxConfigHandler::UbxCommands;
    expectMembers<C>(
        0, {member<std::string>("description", &C::description), member<std::string>("frame", &C::frame),
            member<unsigned char>("msgClass", &C::msgClass), member<unsigned char>("msgId", &C::msgId),
            member<bool>("acknowledged", &C::acknowledged)});
}

TEST(MemberOrder, OfGPSAdapter) {
    expectMembers<GPSAdapter>(
        kVirtualTablePointer,
        {member<IGPSCallback*>("callback", memberOf(AdapterCallback())),
         member<GPSHAL*>("hal", memberOf(AdapterHal())),
         member<GPSTimedWorker*>("worker", memberOf(AdapterWorker())),
         member<GPSData>("odometerFiltered", memberOf(AdapterOdometerFiltered())),
         member<GPSData>("odometerReference", memberOf(AdapterOdometerReference())),
         member<int32_t>("odometerWarmup", memberOf(AdapterOdometerWarmup())),
         member<GPSAntennaState>("previousAntennaState", memberOf(AdapterPreviousAntennaState())),
         member<GPSParams>("params", memberOf(AdapterParams())),
         member<bool>("available", memberOf(AdapterAvailable())),
         member<GPSAntennaState>("antennaState", memberOf(AdapterAntennaState())),
         member<uint32_t>("satelliteCount", memberOf(AdapterSatelliteCount())),
         member<uint32_t>("snr", memberOf(AdapterSnr())),
         member<uint32_t>("fixTick", memberOf(AdapterFixTick())),
         member<uint32_t>("odometer", memberOf(AdapterOdometer())),
         member<GPSData>("currentData", memberOf(AdapterCurrentData())),
         member<GPSGeofenceState[12]>("geofenceStates", memberOf(AdapterGeofenceStates())),
         member<bool>("timeDeviationValid", memberOf(AdapterTimeDeviationValid())),
         member<int32_t>("timeDelta", memberOf(AdapterTimeDelta())),
         member<uint32_t>("horizontalError", memberOf(AdapterHorizontalError())),
         member<int32_t>("timeError", memberOf(AdapterTimeError())),
         member<sem_t>("lockSemaphore", memberOf(AdapterLock())),
         member<uint32_t>("maxGeofences", memberOf(AdapterMaxGeofences())),
         member<bool>("ntpServiceAvailable", memberOf(AdapterNtpServiceAvailable())),
         member<bool>("antennaCallbackFlag", memberOf(AdapterAntennaCallbackFlag())),
         member<uint32_t>("validFixCounter", memberOf(AdapterValidFixCounter()))});
}

TEST(MemberOrder, OfTheAdaptersReadingsIsThatOfGPSReadings) {
    const std::size_t block = offsetOf(memberOf(AdapterAvailable()));
    EXPECT_EQ(offsetOf(memberOf(AdapterAntennaState())) - block, offsetof(GPSReadings, antennaState));
    EXPECT_EQ(offsetOf(memberOf(AdapterSatelliteCount())) - block, offsetof(GPSReadings, satelliteCount));
    EXPECT_EQ(offsetOf(memberOf(AdapterSnr())) - block, offsetof(GPSReadings, snr));
    EXPECT_EQ(offsetOf(memberOf(AdapterFixTick())) - block, offsetof(GPSReadings, fixTick));
    EXPECT_EQ(offsetOf(memberOf(AdapterOdometer())) - block, offsetof(GPSReadings, odometer));
}

TEST(MemberOrder, OfGPSTimedWorker) {
    // In front of these stands the reference to the adapter, which has no pointer to member.
    expectMembers<GPSTimedWorker>(sizeof(void*),
                                  {member<bool>("running", memberOf(WorkerRunning())),
                                   member<bool>("stopRequested", memberOf(WorkerStopRequested())),
                                   member<pthread_t>("thread", memberOf(WorkerThread())),
                                   member<sem_t>("startSemaphore", memberOf(WorkerStartSemaphore()))});
}

class WorkerLayout : public UnitTest {};

TEST_F(WorkerLayout, BeginsWithTheAdapter) {
    GPSAdapter adapter(nullptr);
    const GPSTimedWorker worker(adapter);
    const void* first = nullptr;
    std::memcpy(&first, &worker, sizeof first);
    EXPECT_EQ(first, &adapter);
}

TEST(Values, OfTheGeofenceStates) {
    EXPECT_EQ(static_cast<uint32_t>(GPSGeofenceState::Unknown), 0u);
    EXPECT_EQ(static_cast<uint32_t>(GPSGeofenceState::Inside), 1u);
    EXPECT_EQ(static_cast<uint32_t>(GPSGeofenceState::Outside), 2u);
    EXPECT_EQ(static_cast<uint32_t>(GPSGeofenceState::Entered), 3u);
    EXPECT_EQ(static_cast<uint32_t>(GPSGeofenceState::Left), 4u);
    static_assert(sizeof(GPSGeofenceState) == 4 && sizeof(GPSAntennaState) == 4, "32 bits each");
}

// --- Slots ----------------------------------------------------------------------------------------------

/// The virtual table of a class of the library, behind offset and type.
void* const* tableOf(const std::string& mangledClass) {
    auto* table = static_cast<void* const*>(dlsym(RTLD_DEFAULT, ("_ZTV" + mangledClass).c_str()));
    return table == nullptr ? nullptr : table + 2;
}

void expectSlots(const std::string& mangledClass, const std::vector<std::string>& operations) {
    void* const* table = tableOf(mangledClass);
    ASSERT_NE(table, nullptr);
    for (std::size_t slot = 0; slot < operations.size(); ++slot) {
        const std::string symbol = "_ZN" + mangledClass + operations[slot];
        void* const function = dlsym(RTLD_DEFAULT, symbol.c_str());
        ASSERT_NE(function, nullptr) << symbol << " is not exported";
        EXPECT_EQ(table[slot], function) << "slot " << slot + 1 << " is not " << symbol;
    }
}

// The complete and the deleting destructor come first in each.

TEST(SlotOrder, OfGPSHAL_RUXO_3) {
    expectSlots("13GPSHAL_RUXO_3",
                {"D1Ev", "D0Ev", "8IsActiveEv", "10InitializeEv", "8FinalizeEv", "9IsRunningEv", "5StartEv",
                 "4StopEv", "7GetDataER7GPSData", "14GetCurrentTimeERl",
                 "16GetAntennaStatusER15GPSAntennaState", "9GetStatusERb", "13GetSatellitesERjS0_",
                 "17GetErrorEstimatesERjRi", "18setInitialPositionEjjj"});
}

TEST(SlotOrder, OfGPSAdapter) { expectSlots("10GPSAdapter", {"D1Ev", "D0Ev"}); }

TEST(SlotOrder, OfUbxConfigHandler) { expectSlots("16UbxConfigHandler", {"D1Ev", "D0Ev"}); }

TEST(SlotOrder, OfGPSHALHasTwelvePureOnesBetweenDestructorAndDefault) {
    void* const* table = tableOf("6GPSHAL");
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table[14], dlsym(RTLD_DEFAULT, "_ZN6GPSHAL18setInitialPositionEjjj"));
    for (int slot = 3; slot < 14; ++slot)
        EXPECT_EQ(table[slot], table[2]) << "slot " << slot + 1 << " is not pure";
    EXPECT_NE(table[14], table[2]);
}

/// An application's callback that notes which operation was called.
class NotingCallback : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return note("OnGeofenceLeft"); }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return note("OnGeofenceEntered"); }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override {
        return note("OnAntennaStateChanged");
    }
    unsigned int OnAvailabilityChanged(bool) override { return note("OnAvailabilityChanged"); }
    unsigned int OnPositionUpdate() override { return note("OnPositionUpdate"); }
    unsigned int OnTracking(const GPSData&) override { return note("OnTracking"); }

    std::vector<std::string> called;

private:
    unsigned int note(const char* name) {
        called.push_back(name);
        return 0;
    }
};

TEST(SlotOrder, OfIGPSCallbackHasSixOperationsAndNoDestructor) {
    NotingCallback callback;
    IGPSCallback* const object = &callback;
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<void*>(object), sizeof table);
    // As compiled code calls a virtual operation: the object first; these take at most three arguments more.
    using Operation = unsigned int (*)(IGPSCallback*, void*, void*, void*);
    for (int slot = 0; slot < 6; ++slot)
        reinterpret_cast<Operation>(table[slot])(object, nullptr, nullptr, nullptr);
    EXPECT_EQ(callback.called,
              (std::vector<std::string>{"OnGeofenceLeft", "OnGeofenceEntered", "OnAntennaStateChanged",
                                        "OnAvailabilityChanged", "OnPositionUpdate", "OnTracking"}));
    static_assert(!std::has_virtual_destructor<IGPSCallback>::value, "it would shift all six slots");
}

TEST(SlotOrder, OfGPSGeofenceAndGPSTimedWorkerHasNone) {
    static_assert(!std::is_polymorphic<GPSGeofence>::value && !std::is_polymorphic<GPSTimedWorker>::value,
                  "they have no virtual operations");
    EXPECT_EQ(tableOf("11GPSGeofence"), nullptr);
}

// --- What can't be copied -------------------------------------------------------------------------------

TEST(Copying, IsForRecordsAlone) {
    static_assert(!std::is_copy_constructible<GPSAdapter>::value, "it owns a driver and a worker");
    static_assert(!std::is_copy_constructible<GPSTimedWorker>::value, "it owns a thread");
    static_assert(!std::is_copy_constructible<UbxConfigHandler>::value, "it owns a buffer and a stream");
    static_assert(!std::is_copy_assignable<GPSAdapter>::value, "");
    static_assert(!std::is_copy_assignable<UbxConfigHandler>::value, "");
    static_assert(std::is_copy_constructible<GPSParams>::value, "");
    static_assert(std::is_copy_constructible<GPSReadings>::value, "");
}

} // namespace
