#ifndef DATABASE_H
#define DATABASE_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

/// The receiver's navigation database as a file, decoded record by record in the very way in which the
/// library reads it at its next start: in pairs of bytes counted from the end of the record before, with no
/// search byte by byte. docs/navigation-database.md has the layout and says what damages it.
///
/// Any bytes will do: nothing here throws but std::bad_alloc, and nothing is written.

/// What a record's checksum says.
enum class DatabaseChecksum {
    Right,    ///< the record is whole
    Wrong,    ///< reported by the library, and sent with a fresh checksum all the same
    Zero,     ///< 00 00: cut by a short read and filled up with zeros; sent without a word
    CutShort, ///< the file ends inside the record
};

/// One message as the library takes it out of the file.
struct DatabaseRecord {
    uint64_t offset = 0; ///< of its first byte, in the file
    uint64_t step =
        0; ///< the number that the library gives it: equal to its place where nothing is passed over
    uint32_t length = 0; ///< of the payload in bytes, as the record says
    uint32_t arrived =
        0; ///< bytes up to the last that is not 0: of a cut record not more came from the receiver
    uint8_t msgClass = 0;     ///< 0x13 for a database record
    uint8_t msgId = 0;        ///< 0x80 for a database record
    uint8_t checksum[2] = {}; ///< as stored
    DatabaseChecksum verdict = DatabaseChecksum::CutShort;
    bool holdsAnother =
        false; ///< a database record begins inside its payload: this one was cut, and that one is lost

    /// Bytes of the whole record: sync characters, header, payload and checksum.
    uint64_t size() const { return length + 8u; }
    bool isWhole() const { return verdict == DatabaseChecksum::Right; }
    /// The library writes class and id without a leading zero, which shifts the rest of the frame by half a
    /// byte.
    bool isSentGarbled() const { return msgClass < 0x10 || msgId < 0x10; }
    bool isDatabase() const { return msgClass == 0x13 && msgId == 0x80; }
};

/// What stands where the file should be.
enum class DatabaseState {
    Missing,    ///< nothing: the first start, or an application that never came to its end
    NotRegular, ///< a folder, device, FIFO or link to one: neither read nor written by the library
    Unreadable, ///< no right to read it, or reading fails
    TooShort,   ///< fewer than 6 bytes: power was lost while it was written, or `/data` is full
    Empty,      ///< "000000" and nothing else: the receiver had nothing to say, or was not heard
    NoRecords,  ///< no record in any of its bytes: garbage
    Records,    ///< at least one record
};

/// The whole file. The counts of a file without records are 0.
struct DatabaseReport {
    DatabaseState state = DatabaseState::Unreadable;
    uint64_t size = 0;        ///< in bytes
    int64_t modifiedUtc = -1; ///< seconds since 1970; -1 when not known
    std::vector<DatabaseRecord> records;

    bool hasTrailer = false; ///< the last six bytes are decimal digits
    std::string
        total; ///< the last six bytes up to the first 00, without leading zeros, as the library takes them

    uint64_t bytesPassedOver = 0; ///< before the trailer, belonging to no record
    uint64_t emptyFrames =
        0; ///< frames without content that the library sends behind a file that ends with a record

    uint64_t count(DatabaseChecksum verdict) const;
    uint64_t whole() const { return count(DatabaseChecksum::Right); }
    uint64_t damaged() const { return records.size() - whole(); }
    /// Whether the trailer is there and holds the number of records.
    bool trailerAgrees() const;
    /// Frames that the library makes of it: the records and the empty ones behind the end.
    uint64_t frames() const { return records.size() + emptyFrames; }
    /// Those of them that are sent by themselves: the commands' numbers have 8 bits, and 5 are taken.
    uint64_t sentByThemselves() const;
};

/// Decodes what `file` holds from its begin to its end.
DatabaseReport readDatabase(std::istream& file);

/// The same of the file at `path`, opened as the library does: without waiting, and only a regular file or a
/// link to one.
DatabaseReport readDatabaseFile(const std::string& path);

/// One line for each record, then the counts, then what the library makes of the file. Ends with a line feed.
void printDatabase(const DatabaseReport& report, std::ostream& out);

/// The counts in one sentence, without a line feed: "37 records, 20 whole, 17 damaged (...), trailer 000037".
std::string databaseSummary(const DatabaseReport& report);

#endif
