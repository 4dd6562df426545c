#ifndef VIRTUALPORT_H
#define VIRTUALPORT_H

#include <signal.h>
#include <sys/resource.h>

#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Bytes.h"
#include "Journal.h"
#include "VirtualClock.h"
#include "VirtualShell.h"

/// While one lives, no file grows beyond `room` bytes: what goes beyond fails as on a full disk, after as
/// much of it was written as there is room for.
class FullDisk {
public:
    explicit FullDisk(std::size_t room);
    ~FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_;
    sighandler_t handler_;
};

/// The receiver's serial port and the navigation database file: "/dev/ttymxc1" and
/// "/data/NavigationDatabaseDump" lead to two regular files in a folder of the test's own. Every other path
/// is the host's.
///
/// What a command writes to the device is decoded and kept; the receiver's answer comes by appending to the
/// port's file. Like a terminal's, bytes of the time before an open are gone.
class VirtualPort {
public:
    VirtualPort(Journal& journal, VirtualShell& shell);
    ~VirtualPort();
    VirtualPort(const VirtualPort&) = delete;
    VirtualPort& operator=(const VirtualPort&) = delete;

    /// The receiver: what it answers at once to the frame just written. Acknowledges everything at first.
    std::function<Bytes(const Bytes& frame)> receiver = contentReceiver;

    /// Appends bytes to be read, at once.
    void arrives(const Bytes& bytes);
    /// Bytes that come with the next pause (`usleep`), one piece a pause.
    void arrivesLater(const Bytes& bytes);

    /// The next `times` reads of the port are interrupted: they give no more than the first `bytes` of what
    /// has come, with EINTR.
    void interruptsReading(int times, std::size_t bytes = 0) { interruptions_ = times, readBefore_ = bytes; }

    /// Frames written so far, decoded, without the line feed of `echo`.
    std::vector<Bytes> sent;
    /// Calls of `fread` on the port.
    int reads = 0;
    bool isOpen() const { return device_ != nullptr; }

    /// The next `times` opens of this path give null; with `mode`, only those that begin with it ("wb").
    void openFails(const std::string& path, int times = 1, const std::string& mode = "");

    /// The navigation database file; nothing when there is none.
    std::optional<Bytes> dumpFile() const;
    void setDumpFile(const Bytes& content);
    /// Where it is here, for a test that puts a folder or a link in its place.
    const std::string& dumpPath() const;

    // --- For the ground itself ------------------------------------------------------------------------

    using Open = FILE* (*)(const char*, const char*);
    bool owns(const char* path) const { return files_.count(path) != 0; }
    FILE* open(const char* path, const char* mode, Open real);
    /// For an open that is no `fopen`, in its words: where the path leads here, null when it fails.
    const char* openHere(const char* path, const char* mode);
    bool owns(FILE* stream) const { return stream != nullptr && stream == device_; }
    using Read = std::size_t (*)(void*, std::size_t, std::size_t, FILE*);
    std::size_t read(void* buffer, std::size_t size, std::size_t count, Read real);
    void closed();
    void paused();

private:
    bool failsToOpen(const std::string& path, const std::string& mode);
    void listen(const std::string& command);

    struct Failure {
        std::string path;
        std::string mode;
        int times;
    };

    Journal& journal_;
    std::string folder_;
    std::map<std::string, std::string> files_; // path on the unit -> path here
    std::deque<Bytes> later_;
    std::vector<Failure> failures_;
    FILE* device_ = nullptr;
    int interruptions_ = 0;
    std::size_t readBefore_ = 0;
};

#endif
