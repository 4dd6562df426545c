#include "VirtualPort.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr char kDevice[] = "/dev/ttymxc1";
constexpr char kDump[] = "/data/NavigationDatabaseDump";
constexpr char kWriteBegin[] = "echo -e \"";
constexpr char kWriteEnd[] = "\" > /dev/ttymxc1";

std::string newFolder() {
    const char* base = getenv("TMPDIR");
    std::string path = std::string(base != nullptr ? base : "/tmp") + "/ruxogps-test-XXXXXX";
    if (mkdtemp(&path[0]) == nullptr)
        abort();
    return path;
}

bool begins(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool ends(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

FullDisk::FullDisk(std::size_t room) : before_{}, handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {room, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
}

FullDisk::~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
}

VirtualPort::VirtualPort(Journal& journal, VirtualShell& shell)
    : journal_(journal),
      folder_(newFolder()), files_{{kDevice, folder_ + "/port"}, {kDump, folder_ + "/dump"}} {
    shell.listeners.push_back([this](const std::string& command) { listen(command); });
}

VirtualPort::~VirtualPort() { std::filesystem::remove_all(folder_); }

// --- Files ----------------------------------------------------------------------------------------------

FILE* VirtualPort::open(const char* path, const char* mode, Open real) {
    const char* const here = openHere(path, mode);
    if (here == nullptr)
        return nullptr;
    if (std::string(path) != kDevice)
        return real(here, mode);
    std::ofstream(here, std::ios::trunc).flush();
    device_ = real(here, mode);
    return device_;
}

const char* VirtualPort::openHere(const char* path, const char* mode) {
    const bool fails = failsToOpen(path, mode);
    journal_.add(std::string("fopen ") + path + " " + mode + (fails ? " failed" : ""));
    if (fails)
        errno = EACCES;
    return fails ? nullptr : files_[path].c_str();
}

/// An error stays with the stream until it is cleared, and nothing is read meanwhile, as POSIX allows it.
std::size_t VirtualPort::read(void* buffer, std::size_t size, std::size_t count, Read real) {
    ++reads;
    if (ferror(device_) != 0)
        return 0;
    if (interruptions_ == 0)
        return real(buffer, size, count, device_);
    --interruptions_;
    const std::size_t before = readBefore_ == 0 ? 0 : real(buffer, size, readBefore_ / size, device_);
    device_->_flags |= _IO_ERR_SEEN;
    errno = EINTR;
    return before;
}

void VirtualPort::closed() {
    journal_.add(std::string("fclose ") + kDevice);
    device_ = nullptr;
}

void VirtualPort::openFails(const std::string& path, int times, const std::string& mode) {
    failures_.push_back({path, mode, times});
}

bool VirtualPort::failsToOpen(const std::string& path, const std::string& mode) {
    for (Failure& failure : failures_) {
        if (failure.times <= 0 || failure.path != path || !begins(mode, failure.mode))
            continue;
        --failure.times;
        return true;
    }
    return false;
}

std::optional<Bytes> VirtualPort::dumpFile() const {
    std::ifstream file(files_.at(kDump), std::ios::binary);
    if (!file)
        return std::nullopt;
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

const std::string& VirtualPort::dumpPath() const { return files_.at(kDump); }

void VirtualPort::setDumpFile(const Bytes& content) {
    std::ofstream(files_.at(kDump), std::ios::binary | std::ios::trunc) << content;
}

// --- Receiver -------------------------------------------------------------------------------------------

void VirtualPort::listen(const std::string& command) {
    if (!begins(command, kWriteBegin) || !ends(command, kWriteEnd))
        return;
    const std::size_t begin = sizeof kWriteBegin - 1;
    sent.push_back(unescaped(command.substr(begin, command.size() - begin - (sizeof kWriteEnd - 1))));
    if (receiver)
        arrives(receiver(sent.back()));
}

void VirtualPort::arrives(const Bytes& bytes) {
    std::ofstream(files_.at(kDevice), std::ios::binary | std::ios::app) << bytes;
}

void VirtualPort::arrivesLater(const Bytes& bytes) { later_.push_back(bytes); }

void VirtualPort::paused() {
    if (later_.empty())
        return;
    arrives(later_.front());
    later_.pop_front();
}
