#ifndef DATABASEFILE_H
#define DATABASEFILE_H

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <istream>
#include <string>

/// The receiver's navigation database as a file: the frames as they came, one behind the other, and behind
/// them their count in six digits.

constexpr char kDumpFile[] = "/data/NavigationDatabaseDump";
constexpr std::size_t kTrailerDigits = 6;

// --- Writing --------------------------------------------------------------------------------------------

/// Empties the file, or goes behind its end where it can't be emptied; false when neither can be.
inline bool openDumpFile(std::ofstream& file) {
    file.open(kDumpFile, std::ios::binary | std::ios::trunc);
    if (!file.is_open())
        file.open(kDumpFile, std::ios::binary | std::ios::app);
    return file.is_open();
}

/// Writes all at once: whoever loses power during the wait is left with an empty file, not with half a
/// database, whose missing trailer would keep the next start busy for hours.
inline void closeDumpFile(std::ofstream& file, const std::string& frames, uint32_t collected) {
    char trailer[16];
    snprintf(trailer, sizeof trailer, "%06u", collected);
    file << frames + trailer;
    file.close();
}

// --- Reading --------------------------------------------------------------------------------------------

/// The next byte of the file, 0 behind its end.
inline unsigned char nextByte(std::istream& file) {
    char byte = 0;
    file.get(byte);
    return static_cast<unsigned char>(byte);
}

/// The file's size, or -1 when it can't be read, as a folder can't.
inline std::streamoff readableSize(std::ifstream& file) {
    file.peek();
    if (!file.is_open() || file.bad())
        return -1;
    file.clear();
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(0);
    return size;
}

/// The trailer's number without its leading zeros: empty for "000000".
inline std::string readTotal(std::istream& file, std::streamoff size) {
    char digits[kTrailerDigits + 1] = {};
    file.seekg(size - static_cast<std::streamoff>(kTrailerDigits));
    file.read(digits, kTrailerDigits);
    file.clear();
    file.seekg(0);
    const std::string text(digits);
    const std::size_t first = text.find_first_not_of('0');
    return first == std::string::npos ? std::string() : text.substr(first);
}

#endif
