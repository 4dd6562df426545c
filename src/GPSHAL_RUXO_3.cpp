// The u-blox receiver behind gpsd.
//
// gpsd owns the serial port while the service runs; the driver starts and kills it through the shell and
// takes its reports through libgps. One reader thread per Start copies each report into the snapshot
// (`reader`), value by value with its arrival time, under `semaphore`. The queries run on the caller's thread
// and read the snapshot without the semaphore: they judge every value by its own age.
//
// When gpsd falls silent the reader counts the empty cycles and in the end gives up; the next GetData then
// stops everything, has the receiver configured again while gpsd is down, and starts anew.

#include "GPSHAL_RUXO_3.h"

#include <gps.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <sstream>
#include <string>

#include "GpsReport.h"
#include "LibraryThread.h"
#include "Log.h"
#include "Saturate.h"

// --- Constants ------------------------------------------------------------------------------------------

namespace {

constexpr char kLogSource[] = "src/GPSHAL_RUXO_3.cpp";

constexpr char kPidFile[] = "/var/run/gpsd.pid";
constexpr char kGpsdHost[] = "localhost";
constexpr char kGpsdPort[] = "2947";
constexpr unsigned int kGpsdWatchFlags = WATCH_ENABLE | WATCH_JSON;
constexpr int kNoDescriptor = -6;   // -1 and -2 would name libgps's shared memory and D-Bus

constexpr int kKillChecks = 10; // at one a second; killing waits one round longer than starting, on purpose
constexpr int kStartChecks = 9;
constexpr uint32_t kGpsdStartUpSeconds = 3; // between Initialize and the first connection
constexpr uint32_t kMillisecondsPerSecond = 1000;

constexpr int kReportTimeoutUs = 5000000;
constexpr useconds_t kReaderPauseUs = 50000;
constexpr unsigned int kEmptyCyclesAllowed = 10;
constexpr unsigned int kPauseAfterReloadSeconds = 5;

constexpr time_t kFreshSeconds = 10;
constexpr double kSatelliteLogSeconds = 1800.0;

constexpr double kMicrodegreesPerDegree = 1000000.0;
constexpr double kThousandths = 1000.0;

constexpr GPSAntennaState kAntennaInOrder = GPSAntennaState(1);
constexpr GPSAntennaState kAntennaNotAsked = GPSAntennaState(2);

// Shell commands.
constexpr char kFindGpsd[] = "pidof gpsd";
constexpr char kKillGpsd[] = "kill -9 $(pidof gpsd)";
constexpr char kStartGpsd[] = "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1";

// Log texts.
constexpr char kCheckFailed[] = "GPSD checkgpsd: Failed to check if GPSD is running \"pidof gpsd\"!";
constexpr char kKillFailed[] = "GPSD killgpsd: Failed to kill GPSD \"open\"!";
constexpr char kStartFailed[] = "GPSD startgpsd: Failed to start GPSD \"open\"!";
constexpr char kNoRuxoHal[] = "GPSHAL_RUXO_3 Initialize: RuxoHAL instance not found - bug fix needed!";
constexpr char kStartDelayed[] = "GPSD Start: requires additional start delay.";
constexpr char kThreadFailed[] = "GPSD Start: Failed creating data thread!";
constexpr char kConnectFailed[] = "Failed to connect to GPSD server (errno=%d)";
constexpr char kCloseSocket[] = "Close GPS socket";
constexpr char kCyclesWithoutData[] = "%d cycles without any data reception have been detected";
constexpr char kRestarting[] = "GPSD does not provide any data - restarting GPSD";
constexpr char kSatelliteSummary[] =
    "GPSD GetSatellites: visible satellites: %d, used satellites: %d, mode: %d, PDOP: %f";
constexpr char kSatelliteList[] = "GPSD GetSatellites: %s";

// --- Helpers --------------------------------------------------------------------------------------------

/// A shell command whose output is read, or whose end is waited for when the object goes.
class ShellCommand {
public:
    explicit ShellCommand(const char* command) : stream_(popen(command, "r")) {}
    ~ShellCommand() {
        if (stream_ != nullptr)
            pclose(stream_);
    }
    ShellCommand(const ShellCommand&) = delete;
    ShellCommand& operator=(const ShellCommand&) = delete;

    bool started() const { return stream_ != nullptr; }
    bool hasOutput() {
        char line[1024];
        return started() && fgets(line, sizeof line, stream_) != nullptr;
    }

private:
    FILE* stream_;
};

/// The reader thread's connection to gpsd: one session record, closed and released once.
class GpsdSession {
public:
    GpsdSession() : record_(static_cast<gps_data_t*>(calloc(1, sizeof(gps_data_t)))) {}
    ~GpsdSession() {
        close();
        free(record_);
    }
    GpsdSession(const GpsdSession&) = delete;
    GpsdSession& operator=(const GpsdSession&) = delete;

    bool exists() const { return record_ != nullptr; }
    const gps_data_t& record() const { return *record_; }

    void open();
    /// Waits for a report; false when none came in time.
    bool wait() const { return gps_waiting(record_, kReportTimeoutUs); }
    /// Reads one report; true when it brought data.
    bool read();
    void close();

private:
    gps_data_t* record_;
    bool open_ = false;
    bool usable_ = false;
};

void GpsdSession::open() {
    int rc = gps_open(kGpsdHost, kGpsdPort, record_);
    open_ = true;
    // libgps waits with select, which aborts the process on a descriptor beyond its set. Only the descriptor
    // is closed here: after gps_close, libgps would wait on a released session and crash.
    if (rc >= 0 && record_->gps_fd >= FD_SETSIZE) {
        ::close(static_cast<int>(record_->gps_fd));
        record_->gps_fd = kNoDescriptor;
        rc = -EMFILE;
    }
    // After a failed open gps_read would crash; it counts as failed without being called.
    usable_ = rc >= 0 || record_->gps_fd >= 0;
    errno = rc;
    if (rc < 0)
        LOG(Logging::LevelCritical, kConnectFailed, rc);
    gps_stream(record_, kGpsdWatchFlags, nullptr);
}

bool GpsdSession::read() {
    const int rc = usable_ ? gpsreport::read(gps_read, record_) : -1;
    return rc != 0 && rc != -1;
}

void GpsdSession::close() {
    if (open_)
        gps_close(record_);
    open_ = false;
}

unsigned int countEmptyCycle() { return ++GPSHAL_RUXO_3::noDataReadCounter; }

void logEmptyCycles(unsigned int count) {
    LOG(Logging::LevelError, kCyclesWithoutData, static_cast<int>(count));
}

/// A wait that brought nothing; enough of them end the thread.
void endIfSilent(GpsdSession& session, ReaderBlock& block) {
    const unsigned int count = countEmptyCycle();
    if (count > kEmptyCyclesAllowed) {
        LOG(Logging::LevelError, kCloseSocket);
        session.close();
        block.stopRequested = true;
    }
    logEmptyCycles(count);
}

void readOneReport(GpsdSession& session, ReaderBlock& block) {
    const time_t cycleTime = time(nullptr); // taken before the wait: the age counts from here
    if (!session.wait()) {
        endIfSilent(session, block);
        return;
    }
    if (!session.read())
        logEmptyCycles(countEmptyCycle());
    // KEEP: a failed read is copied all the same, with the mask that the record still holds, so old values
    // stay fresh. Pinned by ReaderThread.RefreshesArrivalTimesAfterAFailedRead
    sem_wait(&semaphore);
    gpsreport::copy(session.record(), cycleTime, block);
    sem_post(&semaphore);
    usleep(kReaderPauseUs);
}

/// What GetSatellites logs of each satellite, as three lists.
struct SatelliteTexts {
    std::string prns;
    std::string snrs;
    std::string used;
};

template <typename Append>
std::string satelliteList(const char* title, const char* end, int32_t count, Append append) {
    std::ostringstream text;
    text.imbue(std::locale::classic()); // an application's locale may group digits
    text << title;
    for (int32_t i = 0; i < count; ++i) {
        append(text, i);
        text << (i == count - 1 ? end : ",");
    }
    return text.str();
}

SatelliteTexts describeSatellites(const ReaderBlock& reader, int32_t count) {
    const auto prn = [&](std::ostream& text, int32_t i) { text << reader.PRN[i]; };
    const auto snr = [&](std::ostream& text, int32_t i) { text << reader.ss[i]; };
    const auto used = [&](std::ostream& text, int32_t i) { text << (reader.used[i] ? 'Y' : 'N'); };
    return {satelliteList("PRNs: [", "]; ", count, prn), satelliteList("SNRs: [", "]; ", count, snr),
            satelliteList("Used: [", "]", count, used)};
}

/// Mean signal-to-noise ratio of the satellites in use.
unsigned int meanSnr(const ReaderBlock& reader, int32_t count, int32_t satellitesUsed) {
    unsigned int sum = 0;
    for (int32_t i = 0; i < count; ++i)
        if (reader.used[i])
            sum += saturate<uint32_t>(reader.ss[i]);
    // KEEP: divided by gpsd's own count, not by the number of entries marked used.
    // Pinned by GetSatellites.DividesByGpsdsOwnCountOfUsedSatellites
    const auto divisor = static_cast<unsigned int>(satellitesUsed);
    return divisor == 0 ? 0 : sum / divisor;
}

unsigned int horizontalErrorMetres(double epx, double epy) {
    const float sumOfSquares = toSingle(epx * epx + epy * epy);
    return saturate<uint32_t>(std::sqrt(static_cast<double>(sumOfSquares)));
}

unsigned int queryAntenna(GPSAntennaState& state) {
    return ruxoHal == nullptr ? GPS_ERR_NOT_AVAILABLE : ruxoHal->GetGNSSAntennaState(state);
}

} // namespace

sem_t semaphore;

// --- UbxConfigHandler -----------------------------------------------------------------------------------

UbxConfigHandler::UbxConfigHandler() {}

UbxConfigHandler::~UbxConfigHandler() {}

void UbxConfigHandler::reloadConfig() {}

// --- Driver life cycle ----------------------------------------------------------------------------------

unsigned int GPSHAL_RUXO_3::noDataReadCounter = 0;

GPSHAL_RUXO_3::GPSHAL_RUXO_3()
    : GPSHAL(kPidFile), active(false), running(false), gpsdRunning(false), reader(), readerThread(0),
      lastQueryTime(0), lastSatelliteLog(time(nullptr)), initializeTick(0) {}

GPSHAL_RUXO_3::~GPSHAL_RUXO_3() { GPSHAL_RUXO_3::Finalize(); }

bool GPSHAL_RUXO_3::IsActive() { return active; }

bool GPSHAL_RUXO_3::IsRunning() { return running; }

unsigned int GPSHAL_RUXO_3::Initialize() {
    if (active)
        return 0;
    killgpsd();
    const unsigned int rc = startgpsd();
    initializeTick = ruxo_systemtick();
    active = true;
    if (RuxoHAL::Instance() == nullptr)
        LOG(Logging::LevelCritical, kNoRuxoHal);
    return rc;
}

unsigned int GPSHAL_RUXO_3::Finalize() {
    const unsigned int rc = running ? Stop() : 0;
    killgpsd();
    active = false;
    return rc;
}

unsigned int GPSHAL_RUXO_3::Start() {
    if (!IsActive())
        return GPS_ERR_NOT_RUNNING;
    if (IsRunning())
        return 0;
    running = true;
    const uint32_t elapsed = ruxo_systemtick() - initializeTick;
    if (elapsed < kGpsdStartUpSeconds) {
        LOG(Logging::LevelInfo, kStartDelayed);
        ruxosleep_interruptible((kGpsdStartUpSeconds - elapsed) * kMillisecondsPerSecond);
    }
    sem_init(&semaphore, 0, 1);
    reader.stopRequested = false;
    SetTimesToZero();
    // KEEP: a thread that can't be created is only logged; the driver counts as running.
    // Pinned by DriverStart.SucceedsAndStaysRunningWhenTheThreadCanNotBeCreated
    if (createLibraryThread(readerThread, ReadData, &reader) != 0)
        LOG(Logging::LevelError, kThreadFailed);
    return 0;
}

unsigned int GPSHAL_RUXO_3::Stop() {
    reader.stopRequested = true;
    if (!running)
        return 0;
    if (readerThread != 0)
        pthread_join(readerThread, nullptr);
    readerThread = 0;
    running = false;
    return 0;
}

void GPSHAL_RUXO_3::SetTimesToZero() {
    static constexpr time_t ReaderBlock::*kArrivals[] = {
        &ReaderBlock::tsStatus,
        &ReaderBlock::tsTime,
        &ReaderBlock::tsMode,
        &ReaderBlock::tsLatLon,
        &ReaderBlock::tsAltitude,
        &ReaderBlock::tsTrack,
        &ReaderBlock::tsSpeed,
        &ReaderBlock::tsClimb,
        &ReaderBlock::tsSatellites,
        &ReaderBlock::tsTimeError,
        &ReaderBlock::tsHorizontalError,
        &ReaderBlock::tsVerticalError,
        &ReaderBlock::tsSpeedError,
        &ReaderBlock::tsDop,
    };
    for (time_t ReaderBlock::*arrival : kArrivals)
        reader.*arrival = 0;
}

unsigned int GPSHAL_RUXO_3::getgnss() { return 0; }

// --- gpsd control ---------------------------------------------------------------------------------------

unsigned int GPSHAL_RUXO_3::checkgpsd() {
    ShellCommand find(kFindGpsd);
    if (!find.started())
        LOG(Logging::LevelError, kCheckFailed);
    gpsdRunning = find.hasOutput();
    return 0;
}

unsigned int GPSHAL_RUXO_3::killgpsd() {
    checkgpsd();
    if (!gpsdRunning)
        return 0;
    {
        const ShellCommand kill(kKillGpsd);
        if (!kill.started())
            LOG(Logging::LevelError, kKillFailed);
        waitForGpsd(false, kKillChecks);
    }
    Util::File::RemoveSingleFile(kPidFile);
    return 0;
}

unsigned int GPSHAL_RUXO_3::startgpsd() {
    checkgpsd();
    if (gpsdRunning)
        return 0;
    const ShellCommand start(kStartGpsd);
    if (!start.started())
        LOG(Logging::LevelError, kStartFailed);
    waitForGpsd(true, kStartChecks);
    return 0;
}

void GPSHAL_RUXO_3::waitForGpsd(bool up, int checks) {
    for (int i = 0; i < checks; ++i) {
        checkgpsd();
        if (gpsdRunning == up)
            return;
        sleep(1);
    }
}

// --- Reader ---------------------------------------------------------------------------------------------

void* GPSHAL_RUXO_3::ReadData(void* readerBlock) {
    ReaderBlock& block = *static_cast<ReaderBlock*>(readerBlock);
    GpsdSession session;
    if (!session.exists())
        return nullptr;
    session.open();
    while (!block.stopRequested)
        readOneReport(session, block);
    return nullptr;
}

// --- Queries --------------------------------------------------------------------------------------------

bool GPSHAL_RUXO_3::isFresh(time_t arrival) const { return arrival >= lastQueryTime - kFreshSeconds; }

void GPSHAL_RUXO_3::restartAfterSilence() {
    LOG(Logging::LevelError, kRestarting);
    Stop();
    Finalize();
    ubxConfig.reloadConfig();
    sleep(kPauseAfterReloadSeconds);
    Initialize();
    Start();
    noDataReadCounter = 0;
}

unsigned int GPSHAL_RUXO_3::judgeValidity(GPSData& data) const {
    if (!isFresh(reader.tsStatus))
        return GPS_ERR_NO_CURRENT_DATA;
    GPSAntennaState antenna = kAntennaNotAsked;
    const unsigned int rc = queryAntenna(antenna);
    data.valid = rc == 0 && antenna == kAntennaInOrder;
    return rc;
}

unsigned int GPSHAL_RUXO_3::GetData(GPSData& data) {
    lastQueryTime = time(nullptr);
    data.Clear();
    if (noDataReadCounter > kEmptyCyclesAllowed)
        restartAfterSilence();
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    const unsigned int rc = judgeValidity(data);
    fillFreshFields(data);
    return rc;
}

void GPSHAL_RUXO_3::fillFreshFields(GPSData& data) const {
    if (isFresh(reader.tsTime))
        data.time = reader.fixTime;
    if (isFresh(reader.tsLatLon)) {
        data.latitude = saturate<int32_t>(reader.latitude * kMicrodegreesPerDegree);
        data.longitude = saturate<int32_t>(reader.longitude * kMicrodegreesPerDegree);
    }
    if (isFresh(reader.tsAltitude))
        data.altitude = saturate<int32_t>(reader.altitude * kThousandths);
    if (isFresh(reader.tsTrack))
        data.course = saturate<uint32_t>(reader.track * kThousandths);
    if (isFresh(reader.tsSpeed))
        data.speed = saturate<uint32_t>(reader.speed * kThousandths);
    if (isFresh(reader.tsDop)) {
        data.hdop = toSingle(reader.hdop);
        data.tdop = toSingle(reader.tdop);
        data.pdop = toSingle(reader.pdop);
        data.gdop = toSingle(reader.gdop);
    }
}

unsigned int GPSHAL_RUXO_3::GetCurrentTime(long& utcSeconds) {
    lastQueryTime = time(nullptr);
    utcSeconds = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (!isFresh(reader.tsTime))
        return GPS_ERR_NO_CURRENT_DATA;
    utcSeconds = reader.fixTime;
    return 0;
}

unsigned int GPSHAL_RUXO_3::GetAntennaStatus(GPSAntennaState& state) {
    lastQueryTime = time(nullptr);
    state = kAntennaInOrder;
    return running ? queryAntenna(state) : GPS_ERR_NOT_RUNNING;
}

unsigned int GPSHAL_RUXO_3::GetStatus(bool& receiving) {
    lastQueryTime = time(nullptr);
    receiving = false;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    receiving = isFresh(reader.tsStatus);
    return 0;
}

unsigned int GPSHAL_RUXO_3::GetSatellites(unsigned int& snr, unsigned int& visible) {
    lastQueryTime = time(nullptr);
    snr = 0;
    visible = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (!isFresh(reader.tsSatellites))
        return GPS_ERR_NO_CURRENT_DATA;
    const int32_t reported = reader.satellitesVisible;
    const int32_t count = std::clamp(reported, 0, static_cast<int32_t>(kSatelliteCapacity));
    visible = static_cast<unsigned int>(reported);
    snr = meanSnr(reader, count, reader.satellitesUsed);
    if (difftime(lastQueryTime, lastSatelliteLog) >= kSatelliteLogSeconds)
        logSatellites(count);
    return 0;
}

void GPSHAL_RUXO_3::logSatellites(int32_t count) {
    lastSatelliteLog = time(nullptr);
    const SatelliteTexts texts = describeSatellites(reader, count);
    LOG(Logging::LevelInfo, kSatelliteSummary, reader.satellitesVisible, reader.satellitesUsed, reader.mode,
        reader.pdop);
    LOG(Logging::LevelInfo, kSatelliteList, texts.prns.c_str());
    LOG(Logging::LevelInfo, kSatelliteList, texts.snrs.c_str());
    LOG(Logging::LevelInfo, kSatelliteList, texts.used.c_str());
}

unsigned int GPSHAL_RUXO_3::GetErrorEstimates(unsigned int& horizontalError, int& timeError) {
    lastQueryTime = time(nullptr);
    horizontalError = 0;
    timeError = 0;
    if (!running)
        return GPS_ERR_NOT_RUNNING;
    if (isFresh(reader.tsTimeError))
        timeError = saturate<int32_t>(reader.ept * kThousandths);
    if (isFresh(reader.tsHorizontalError))
        horizontalError = horizontalErrorMetres(reader.epx, reader.epy);
    return 0;
}
