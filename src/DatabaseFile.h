#ifndef DATABASEFILE_H
#define DATABASEFILE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

/// The receiver's navigation database as a file, "/data/NavigationDatabaseDump": the frames as they came, one
/// behind the other, and behind them their count in six digits, the trailer. Written by the configuration
/// handler when it is destroyed and read when the next one is constructed, on an application's thread.
///
/// Only a regular file, or a link to one, is read or written. A FIFO or a device in its place would keep the
/// application's thread for ever: the file is opened without waiting and looked at before it is used. Nothing
/// here logs or throws, and nothing allocates with operator new.

/// Closes the stream that it owns.
struct StreamCloser {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// The file being written. Whoever loses power or memory until `finish` writes is left with an empty file,
/// not with half a database, whose missing trailer would keep the next start busy for hours; whoever is
/// killed while `finish` writes, with a trailer, and zeros in front of it for the frames that are missing.
class DatabaseWriter {
public:
    /// Empties the file, or creates it, also behind a link that leads nowhere yet. Where neither can be, it
    /// goes behind the old contents' end.
    DatabaseWriter();

    /// Whether the file could be opened in one way or the other. If not, what is written is lost.
    bool isOpen() const { return stream_ != nullptr; }

    /// Writes all frames and `count`, their number, in one go, and closes the file. When they find no room, a
    /// file that was opened empty is empty again; old contents are kept. Called once.
    void finish(const std::string& frames, uint32_t count);

private:
    Stream stream_; ///< null when there is nothing to write to, and after `finish`
    bool emptied_;  ///< the stream began with an empty file
};

/// The file being read, from its first byte on.
class DatabaseReader {
public:
    /// Opens the file.
    DatabaseReader();

    /// Its size in bytes, or -1 when it can't be read: it is missing, no regular file, or reading fails.
    int64_t size() const { return size_; }

    /// Whether it has room for a trailer. The other operations are for such a file alone.
    bool holdsATrailer() const;

    /// The trailer's text without its leading zeros, up to its first zero byte: empty for "000000".
    std::string total() const;

    /// Sets `byte` to the next one; at the file's end it stays as it is.
    void next(unsigned char& byte);

    /// The next byte, or 0 at the file's end.
    unsigned char next();

private:
    Stream stream_; ///< null when there is no regular file
    int64_t size_;
};

#endif
