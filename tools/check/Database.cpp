#include "Database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <istream>
#include <ostream>

namespace {

constexpr uint8_t kSync1 = 0xB5;
constexpr uint8_t kSync2 = 0x62;
constexpr uint64_t kTrailerDigits = 6;
constexpr uint64_t kSentByThemselves = 123; // of 128 numbers from 0 on the configuration has 5
constexpr char kRecordBegin[] = "\xB5\x62\x13\x80";

/// The file's bytes one by one, as the library asks for them.
class ByteReader {
public:
    explicit ByteReader(std::istream& file) : buffer_(*file.rdbuf()) {}

    /// Sets `byte` to the next one; at the end it stays as it is.
    void next(uint8_t& byte) {
        const int read = buffer_.sbumpc();
        atEnd_ = read == std::char_traits<char>::eof();
        if (atEnd_)
            return;
        byte = static_cast<uint8_t>(read);
        ++position_;
    }
    uint8_t next() {
        uint8_t byte = 0;
        next(byte);
        return byte;
    }

    uint64_t position() const { return position_; }
    /// The last byte that was asked for is behind the end.
    bool isAtEnd() const { return atEnd_; }

private:
    std::streambuf& buffer_;
    uint64_t position_ = 0;
    bool atEnd_ = false;
};

/// UBX's checksum: two sums that run over the message from its class to its payload's end.
class RunningChecksum {
public:
    void add(uint8_t byte) {
        a_ = static_cast<uint8_t>(a_ + byte);
        b_ = static_cast<uint8_t>(b_ + a_);
    }
    bool is(const uint8_t (&stored)[2]) const { return stored[0] == a_ && stored[1] == b_; }

private:
    uint8_t a_ = 0;
    uint8_t b_ = 0;
};

/// One record's bytes behind its sync characters: counted, summed and looked through as they come.
class RecordReader {
public:
    RecordReader(ByteReader& bytes, DatabaseRecord& record) : bytes_(bytes), record_(record) {}

    void read() {
        record_.msgClass = summed();
        record_.msgId = summed();
        record_.length = summed();
        record_.length += 256u * summed();
        std::string payload;
        for (uint32_t i = 0; i < record_.length; ++i)
            payload += static_cast<char>(summed());
        record_.checksum[0] = taken();
        record_.checksum[1] = taken();
        record_.holdsAnother = payload.find(kRecordBegin) != std::string::npos;
        record_.verdict = verdict();
    }

private:
    uint8_t taken() {
        const uint8_t byte = bytes_.next();
        ++count_;
        if (byte != 0)
            record_.arrived = count_;
        isCut_ = isCut_ || bytes_.isAtEnd();
        return byte;
    }
    uint8_t summed() {
        const uint8_t byte = taken();
        sum_.add(byte);
        return byte;
    }
    DatabaseChecksum verdict() const {
        if (isCut_)
            return DatabaseChecksum::CutShort;
        if (sum_.is(record_.checksum))
            return DatabaseChecksum::Right;
        const bool isZero = record_.checksum[0] == 0 && record_.checksum[1] == 0;
        return isZero ? DatabaseChecksum::Zero : DatabaseChecksum::Wrong;
    }

    ByteReader& bytes_;
    DatabaseRecord& record_;
    RunningChecksum sum_;
    uint32_t count_ = 2; ///< the sync characters have been read
    bool isCut_ = false;
};

/// The library's walk through the file: at most as many steps as it has bytes but two, each of them a record
/// or a pair that is passed over. Behind the end the last pair stands.
class Walk {
public:
    Walk(std::istream& file, DatabaseReport& report) : bytes_(file), report_(report) {}

    void go() {
        const uint64_t steps = report_.size - 2;
        for (uint64_t step = 1; step <= steps; ++step) {
            const uint64_t offset = bytes_.position();
            bytes_.next(sync1_);
            bytes_.next(sync2_);
            if (bytes_.position() == offset) {
                report_.emptyFrames = isSync() ? steps - step + 1 : 0;
                return;
            }
            if (isSync())
                takeRecord(offset, step);
            else
                passOver(offset);
        }
    }

private:
    bool isSync() const { return sync1_ == kSync1 && sync2_ == kSync2; }

    void takeRecord(uint64_t offset, uint64_t step) {
        DatabaseRecord record;
        record.offset = offset;
        record.step = step;
        record.arrived = 2;
        RecordReader(bytes_, record).read();
        report_.records.push_back(record);
    }

    void passOver(uint64_t offset) {
        const uint64_t end = report_.size - (report_.hasTrailer ? kTrailerDigits : 0);
        report_.bytesPassedOver += std::min(bytes_.position(), end) - std::min(offset, end);
    }

    ByteReader bytes_;
    DatabaseReport& report_;
    uint8_t sync1_ = 0;
    uint8_t sync2_ = 0;
};

// --- The trailer ----------------------------------------------------------------------------------------

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

void readTrailer(std::istream& file, DatabaseReport& report) {
    char digits[kTrailerDigits + 1] = {};
    file.seekg(-static_cast<std::streamoff>(kTrailerDigits), std::ios::end);
    file.read(digits, kTrailerDigits);
    report.hasTrailer = std::all_of(digits, digits + kTrailerDigits, isDigit);
    const std::string text(digits);
    report.total = text.substr(std::min(text.find_first_not_of('0'), text.size()));
}

DatabaseState stateOf(const DatabaseReport& report) {
    if (!report.records.empty())
        return DatabaseState::Records;
    const bool isTrailerAlone = report.size == kTrailerDigits && report.hasTrailer;
    return isTrailerAlone && report.total.empty() ? DatabaseState::Empty : DatabaseState::NoRecords;
}

/// Why a file was not opened. A socket, and a device that nobody drives, answer ENXIO.
DatabaseState stateOf(int error) {
    if (error == ENOENT)
        return DatabaseState::Missing;
    return error == ENXIO ? DatabaseState::NotRegular : DatabaseState::Unreadable;
}

/// The state of what was opened; `Records` stands for a regular file.
DatabaseState openedState(int descriptor, DatabaseReport& report) {
    struct stat status = {};
    if (descriptor < 0)
        return stateOf(errno);
    if (fstat(descriptor, &status) != 0)
        return DatabaseState::Unreadable;
    if (!S_ISREG(status.st_mode))
        return DatabaseState::NotRegular;
    report.modifiedUtc = static_cast<int64_t>(status.st_mtime);
    return DatabaseState::Records;
}

} // namespace

// --- The report -----------------------------------------------------------------------------------------

uint64_t DatabaseReport::count(DatabaseChecksum verdict) const {
    const auto has = [verdict](const DatabaseRecord& record) { return record.verdict == verdict; };
    return static_cast<uint64_t>(std::count_if(records.begin(), records.end(), has));
}

bool DatabaseReport::trailerAgrees() const {
    return hasTrailer && total == (records.empty() ? std::string() : std::to_string(records.size()));
}

uint64_t DatabaseReport::sentByThemselves() const { return std::min(frames(), kSentByThemselves); }

// --- Reading --------------------------------------------------------------------------------------------

DatabaseReport readDatabase(std::istream& file) {
    DatabaseReport report;
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (!file || size < 0)
        return report;
    report.size = static_cast<uint64_t>(size);
    if (report.size < kTrailerDigits) {
        report.state = DatabaseState::TooShort;
        return report;
    }
    readTrailer(file, report);
    file.seekg(0);
    if (!file)
        return report;
    Walk(file, report).go();
    report.state = stateOf(report);
    return report;
}

DatabaseReport readDatabaseFile(const std::string& path) {
    DatabaseReport report;
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    const DatabaseState state = openedState(descriptor, report);
    if (state == DatabaseState::Records) {
        // What was looked at is what is read, even if somebody puts something else in its place.
        std::ifstream file("/proc/self/fd/" + std::to_string(descriptor), std::ios::binary);
        const int64_t modifiedUtc = report.modifiedUtc;
        report = readDatabase(file);
        report.modifiedUtc = modifiedUtc;
    } else {
        report.state = state;
    }
    if (descriptor >= 0)
        close(descriptor);
    return report;
}

// --- Printing -------------------------------------------------------------------------------------------

namespace {

template <typename... Values>
std::string formatted(const char* format, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string number(uint64_t value) { return std::to_string(value); }

std::string inWords(const DatabaseRecord& record) {
    const std::string of = " of " + number(record.size()) + " bytes";
    switch (record.verdict) {
    case DatabaseChecksum::Right:
        return "right";
    case DatabaseChecksum::Zero:
        return "00 00: cut by a short read, " + number(record.arrived) + of + " came at most";
    case DatabaseChecksum::CutShort:
        return "cut: the file ends inside the record";
    case DatabaseChecksum::Wrong:
        break;
    }
    return formatted("%02x %02x: wrong", record.checksum[0], record.checksum[1]);
}

void printRecord(const DatabaseRecord& record, uint64_t index, std::ostream& out) {
    out << formatted("%6llu  %8llu  %7u  %02x %02x  ", static_cast<unsigned long long>(index),
                     static_cast<unsigned long long>(record.offset), record.length, record.msgClass,
                     record.msgId)
        << inWords(record) << (record.isDatabase() ? "" : "; no database record")
        << (record.isSentGarbled() ? "; sent garbled, as its class or id is below 10" : "")
        << (record.holdsAnother ? "; another record begins inside it and is lost" : "") << '\n';
}

const char* inWords(DatabaseState state) {
    switch (state) {
    case DatabaseState::Missing:
        return "no file: the receiver begins from nothing";
    case DatabaseState::NotRegular:
        return "no regular file nor a link to one: the library neither reads nor writes it";
    case DatabaseState::Unreadable:
        return "can't be read";
    case DatabaseState::TooShort:
        return "fewer than 6 bytes: power was lost while it was written, or there was no room";
    case DatabaseState::Empty:
        return "000000: the receiver had nothing to say, or was not heard";
    case DatabaseState::NoRecords:
        return "no record in any of its bytes";
    case DatabaseState::Records:
        break;
    }
    return "";
}

std::string trailerInWords(const DatabaseReport& report) {
    if (!report.hasTrailer)
        return "no trailer";
    const std::string digits = std::string(kTrailerDigits - report.total.size(), '0') + report.total;
    return "trailer " + digits + (report.trailerAgrees() ? "" : ", which is not their number");
}

/// What the next start does with a file that has records.
void printOutlook(const DatabaseReport& report, std::ostream& out) {
    if (report.bytesPassedOver > 0)
        out << number(report.bytesPassedOver) << " bytes belong to no record and are passed over\n";
    if (report.emptyFrames > 0)
        out << "the file ends with a record: the next start goes on with " << number(report.emptyFrames)
            << " empty frames, about 6 s for each that is sent\n";
    out << "the next start makes " << number(report.frames()) << " frames of it, the first "
        << number(report.sentByThemselves()) << " are sent\n";
    if (report.frames() >= kSentByThemselves)
        out << "from " << number(kSentByThemselves)
            << " frames on the library can't save the database again: remove the file while no service "
               "runs\n";
}

} // namespace

std::string databaseSummary(const DatabaseReport& report) {
    if (report.state != DatabaseState::Records)
        return inWords(report.state);
    std::string text = number(report.records.size()) + " records, " + number(report.whole()) + " whole, " +
                       number(report.damaged()) + " damaged";
    if (report.damaged() > 0)
        text += " (" + number(report.count(DatabaseChecksum::Zero)) + " cut by a short read, " +
                number(report.count(DatabaseChecksum::Wrong)) + " with a wrong checksum, " +
                number(report.count(DatabaseChecksum::CutShort)) + " cut by the file's end)";
    return text + ", " + trailerInWords(report);
}

void printDatabase(const DatabaseReport& report, std::ostream& out) {
    if (report.state == DatabaseState::Records) {
        out << "record    offset  payload  class  checksum\n";
        uint64_t index = 0;
        for (const DatabaseRecord& record : report.records)
            printRecord(record, ++index, out);
    }
    out << databaseSummary(report) << '\n';
    if (report.state == DatabaseState::Records)
        printOutlook(report, out);
}
