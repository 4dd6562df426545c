#include "DatabaseFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kDumpFile[] = "/data/NavigationDatabaseDump";
constexpr int64_t kTrailerDigits = 6;
constexpr mode_t kReadableAndWritable = 0666; // before the process's umask

constexpr int kEmptied = O_WRONLY | O_CREAT | O_TRUNC;
constexpr int kAppended = O_WRONLY | O_CREAT | O_APPEND;

bool isRegular(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// What was opened is looked at, not what stood there before: the file may be replaced at any time. A regular
/// file takes no notice of O_NONBLOCK, and nothing else of O_TRUNC.
Stream openFile(int flags, const char* mode) {
    const int descriptor = open(kDumpFile, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kReadableAndWritable);
    if (descriptor < 0)
        return nullptr;
    Stream stream(isRegular(descriptor) ? fdopen(descriptor, mode) : nullptr);
    if (stream == nullptr)
        close(descriptor);
    return stream;
}

bool append(FILE* stream, const std::string& frames, uint32_t count) {
    return fwrite(frames.data(), 1, frames.size(), stream) == frames.size() &&
           fprintf(stream, "%06u", count) > 0;
}

/// The trailer first, at its place: in front of it zeros stand for what is not written yet, and the next
/// start passes over them. The stream hands frames on in pieces, and a process that is killed between two of
/// them would leave a file without its trailer.
bool fill(FILE* stream, const std::string& frames, uint32_t count) {
    return fseeko(stream, static_cast<off_t>(frames.size()), SEEK_SET) == 0 &&
           fprintf(stream, "%06u", count) > 0 && fflush(stream) == 0 && fseeko(stream, 0, SEEK_SET) == 0 &&
           fwrite(frames.data(), 1, frames.size(), stream) == frames.size();
}

/// The size in bytes, -1 for a file whose first byte can't be read.
int64_t readableSize(FILE* stream) {
    struct stat status = {};
    const bool fails = fgetc(stream) == EOF && ferror(stream) != 0;
    rewind(stream);
    return fails || fstat(fileno(stream), &status) != 0 ? -1 : static_cast<int64_t>(status.st_size);
}

} // namespace

// --- Writing --------------------------------------------------------------------------------------------

DatabaseWriter::DatabaseWriter() : stream_(openFile(kEmptied, "wb")), emptied_(stream_ != nullptr) {
    if (!emptied_)
        stream_ = openFile(kAppended, "ab");
}

void DatabaseWriter::finish(const std::string& frames, uint32_t count) {
    if (stream_ == nullptr)
        return;
    // KEEP: written when the wait has ended, not as the frames come. Pinned by
    // DumpingWait.LeavesAnEmptyFileUntilItsEndSoThatALossOfPowerLeavesNoHalfDatabase
    const bool written = emptied_ ? fill(stream_.get(), frames, count) : append(stream_.get(), frames, count);
    const bool closed = fclose(stream_.release()) == 0;
    if (emptied_ && !(written && closed))
        openFile(kEmptied, "wb");
}

// --- Reading --------------------------------------------------------------------------------------------

DatabaseReader::DatabaseReader()
    : stream_(openFile(O_RDONLY, "rb")), size_(stream_ == nullptr ? -1 : readableSize(stream_.get())) {}

bool DatabaseReader::holdsATrailer() const { return size_ >= kTrailerDigits; }

std::string DatabaseReader::total() const {
    char digits[kTrailerDigits + 1] = {};
    fseeko(stream_.get(), static_cast<off_t>(size_ - kTrailerDigits), SEEK_SET);
    const std::size_t count = fread(digits, 1, kTrailerDigits, stream_.get());
    static_cast<void>(count); // a file that was cut short meanwhile has zeros there
    rewind(stream_.get());
    const std::string text(digits);
    const std::size_t first = text.find_first_not_of('0');
    return first == std::string::npos ? std::string() : text.substr(first);
}

void DatabaseReader::next(unsigned char& byte) {
    const int read = fgetc(stream_.get());
    if (read != EOF)
        byte = static_cast<unsigned char>(read);
}

unsigned char DatabaseReader::next() {
    unsigned char byte = 0;
    next(byte);
    return byte;
}
