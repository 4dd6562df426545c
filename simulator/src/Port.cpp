#include "simulator/Port.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace simulator {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct Speed {
    speed_t code;
    unsigned baudRate;
};
constexpr std::array<Speed, 14> kSpeeds{{
    {B1200, 1200},
    {B2400, 2400},
    {B4800, 4800},
    {B9600, 9600},
    {B19200, 19200},
    {B38400, 38400},
    {B57600, 57600},
    {B115200, 115200},
    {B230400, 230400},
    {B460800, 460800},
    {B921600, 921600},
    {B300, 300},
    {B600, 600},
    {B1000000, 1000000},
}};

speed_t codeOf(unsigned baudRate) {
    for (const Speed& speed : kSpeeds)
        if (speed.baudRate == baudRate)
            return speed.code;
    errno = EINVAL;
    fail("no port runs at " + std::to_string(baudRate) + " baud");
}

// Raw, no modem lines: a port as the serial driver makes it, but for the line discipline's extras.
void makeRaw(int descriptor, speed_t speed) {
    termios settings{};
    if (tcgetattr(descriptor, &settings) != 0)
        fail("can't read the port's settings");
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    cfsetispeed(&settings, speed);
    cfsetospeed(&settings, speed);
    if (tcsetattr(descriptor, TCSANOW, &settings) != 0)
        fail("can't set up the port");
}

// The numbered entries of a folder: processes, descriptors. `hidden` is set where it may not be read.
std::vector<std::string> numberedEntries(const std::string& folder, bool& hidden) {
    std::vector<std::string> entries;
    DIR* directory = opendir(folder.c_str());
    if (directory == nullptr) {
        hidden = hidden || errno == EACCES;
        return entries;
    }
    while (const dirent* entry = readdir(directory))
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9')
            entries.push_back(folder + "/" + entry->d_name);
    closedir(directory);
    return entries;
}

bool isSameDevice(const std::string& descriptor, const struct stat& port) {
    struct stat status {};
    return ::stat(descriptor.c_str(), &status) == 0 && S_ISCHR(status.st_mode) &&
           status.st_dev == port.st_dev && status.st_rdev == port.st_rdev;
}

} // namespace

Port::Port(unsigned baudRate) : master_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
        fail("can't open a pseudo terminal");
    std::array<char, 64> name{};
    if (ptsname_r(master_, name.data(), name.size()) != 0)
        fail("can't name the pseudo terminal");
    path_ = name.data();
    slave_ = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave_ < 0)
        fail("can't open " + path_);
    makeRaw(slave_, codeOf(baudRate));
    static_cast<void>(chmod(path_.c_str(), 0666)); // a convenience for other users; the port works without
}

Port::~Port() {
    std::array<char, 64> target{};
    if (!link_.empty() && readlink(link_.c_str(), target.data(), target.size() - 1) > 0 &&
        path_ == target.data())
        unlink(link_.c_str());
    if (slave_ >= 0)
        close(slave_);
    if (master_ >= 0)
        close(master_);
}

void Port::linkTo(const std::string& link) {
    struct stat status {};
    if (lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode))
        unlink(link.c_str());
    if (symlink(path_.c_str(), link.c_str()) != 0)
        fail("can't make the link " + link);
    link_ = link;
}

unsigned Port::baudRate() const {
    termios settings{};
    if (tcgetattr(slave_, &settings) != 0)
        return 0;
    for (const Speed& speed : kSpeeds)
        if (speed.code == cfgetospeed(&settings))
            return speed.baudRate;
    return 0;
}

std::string Port::read() {
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(master_, buffer.data(), buffer.size());
    return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : "";
}

std::size_t Port::write(std::string_view bytes) {
    const ssize_t count = ::write(master_, bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

Port::Client Port::findClient() const {
    struct stat port {};
    bool hidden = fstat(slave_, &port) != 0;
    const std::string self = "/proc/" + std::to_string(getpid());
    for (const std::string& process : numberedEntries("/proc", hidden)) {
        if (process == self)
            continue;
        for (const std::string& descriptor : numberedEntries(process + "/fd", hidden))
            if (isSameDevice(descriptor, port))
                return Client::Present;
    }
    return hidden ? Client::Unknown : Client::None;
}

// Our own descriptor would keep unread bytes and a claim alive for ever. A process that may not be looked
// into can be a reader: its bytes are left to it, but not the claim, which would lock out everybody if it had
// ended.
void Port::attend() {
    int unread = 0;
    int exclusive = 0;
    ioctl(slave_, FIONREAD, &unread);
    ioctl(slave_, TIOCGEXCL, &exclusive);
    if (unread == 0 && exclusive == 0)
        return;
    const Client client = findClient();
    if (unread != 0 && client == Client::None)
        tcflush(slave_, TCIFLUSH);
    if (exclusive != 0 && client != Client::Present)
        ioctl(slave_, TIOCNXCL);
}

} // namespace simulator
