// The folders that the service writes to, and the navigation database.

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

#include "Checks.h"
#include "Database.h"

namespace check {

namespace {

// A database of 123 records, as many as are sent back, of some 200 bytes each.
constexpr uint64_t kRoomForDatabase = 32 * 1024;
constexpr uint64_t kRoomForPidFile = 4 * 1024; // a block
constexpr int64_t kSecondsPerHour = 3600;

struct Folder {
    const char* path;
    const char* file;    ///< what is written there: opened where it stands, or made
    uint64_t room;       ///< bytes that the service needs there
    const char* without; ///< what becomes of it otherwise
};
const Folder kRun{kRunFolder, kPidFile, kRoomForPidFile, "gpsd can't write its pid file"};
const Folder kData{kDataFolder, kDatabase, kRoomForDatabase,
                   "the receiver starts without a database each time"};

bool isFolder(const char* path) {
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

uint64_t roomIn(const char* path) {
    struct statvfs system = {};
    return statvfs(path, &system) == 0 ? uint64_t{system.f_bavail} * system.f_frsize : 0;
}

std::string kibibytes(uint64_t bytes) { return std::to_string(bytes / 1024) + " KiB"; }

Finding checkFolder(const Folder& folder) {
    const std::string path = folder.path;
    const std::string without = std::string(": ") + folder.without;
    if (!isFolder(folder.path))
        return warning(path + " is no folder" + without, "make it, or mount it before the service starts");
    const bool canMakeFiles = access(folder.path, W_OK | X_OK) == 0;
    if (!canMakeFiles && access(folder.file, W_OK) != 0)
        return warning(path + " can't be written by this user" + without,
                       std::string("mount it for writing, and give the service's user the right to, or to ") +
                           folder.file + " alone");
    const uint64_t room = roomIn(folder.path);
    if (room < folder.room)
        return warning(path + " has " + kibibytes(room) + " left, " + kibibytes(folder.room) + " are needed" +
                           without,
                       "make room there");
    return ok((canMakeFiles ? path : folder.file) + " is writable, and " + path + " has " + kibibytes(room) +
              " left");
}

// --- Database

constexpr char kRemove[] = "remove /data/NavigationDatabaseDump while no service runs";

std::string ageOf(const DatabaseReport& report) {
    if (report.modifiedUtc < 0)
        return "";
    const int64_t hours = (static_cast<int64_t>(time(nullptr)) - report.modifiedUtc) / kSecondsPerHour;
    return (hours < 0 ? "from the future" : std::to_string(hours) + " h old") + std::string(", ");
}

Finding recordsFinding(const DatabaseReport& report) {
    const std::string what = "the database is " + ageOf(report) + databaseSummary(report);
    if (report.emptyFrames > 0)
        return fault(what + ": the service sends " + std::to_string(report.emptyFrames) +
                         " empty frames and waits up to 6 s for each",
                     kRemove);
    if (!report.trailerAgrees())
        return warning(what + ": the trailer does not hold the number of records", kRemove);
    if (report.damaged() > 0)
        return warning(what + ": the receiver refuses what is damaged",
                       "none is needed; a serial driver that hands on whole frames damages none");
    return ok(what);
}

Finding databaseFinding(const DatabaseReport& report) {
    switch (report.state) {
    case DatabaseState::Missing:
        return ok("there is no database yet; the first shutdown of a service writes it");
    case DatabaseState::NotRegular:
        return warning(std::string(kDatabase) + " is no regular file: it is neither read nor written",
                       "remove it; the service makes a file of its own");
    case DatabaseState::Unreadable:
        return warning(std::string(kDatabase) + " can't be read by this user",
                       "give the service's user the right to");
    case DatabaseState::TooShort:
        if (report.size == 0)
            return ok(
                "the database file is empty: it was made ahead, or power was lost or /data full when it "
                "was written; the next shutdown of a service writes it anew");
        return warning("the database was cut off at " + std::to_string(report.size) +
                           " bytes, by a loss of power or a full /data",
                       "none is needed; the next shutdown of a service writes it anew");
    case DatabaseState::Empty:
        return ok("the database is empty: the receiver had nothing to say, or was not heard");
    case DatabaseState::NoRecords:
        return warning("the database holds no record", kRemove);
    case DatabaseState::Records:
        break;
    }
    return recordsFinding(report);
}

} // namespace

Findings checkRunFolder(const Unit&) { return {checkFolder(kRun)}; }

Findings checkDataFolder(const Unit&) { return {checkFolder(kData)}; }

Findings checkDatabase(const Unit&) {
    Findings findings{databaseFinding(readDatabaseFile(kDatabase))};
    if (access(kDatabase, F_OK) == 0 && access(kDatabase, W_OK) != 0)
        findings.push_back(
            warning(std::string(kDatabase) + " can't be written by this user: it is never replaced",
                    "give the service's user the right to, or remove it"));
    return findings;
}

} // namespace check
