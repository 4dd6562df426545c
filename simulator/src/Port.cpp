#include "simulator/Port.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace simulator {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

constexpr uint32_t kUsualBaudRate = 9600;

struct Speed {
    speed_t code;
    uint32_t baudRate;
};
constexpr std::array<Speed, 14> kSpeeds{{
    {B300, 300},
    {B600, 600},
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
    {B1000000, 1000000},
}};

speed_t codeOf(uint32_t baudRate) {
    for (const Speed& speed : kSpeeds)
        if (speed.baudRate == baudRate)
            return speed.code;
    errno = EINVAL;
    fail("no port runs at " + std::to_string(baudRate) + " baud");
}

// Raw, no modem lines: a port as the serial driver makes it, but for the line discipline's extras.
void makeRaw(int32_t descriptor, speed_t speed) {
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

std::string slaveOf(int32_t master) {
    std::array<char, 64> name{};
    if (ptsname_r(master, name.data(), name.size()) != 0)
        fail("can't name the pseudo terminal");
    return name.data();
}

} // namespace

// --- Terminal -------------------------------------------------------------------------------------------

Port::Port(uint32_t baudRate) { openTerminal(baudRate); }

Port::~Port() {
    std::array<char, 64> target{};
    if (!link_.empty() && readlink(link_.c_str(), target.data(), target.size() - 1) > 0 &&
        path_ == target.data())
        unlink(link_.c_str());
}

void Port::openTerminal(uint32_t baudRate) {
    const speed_t speed = codeOf(baudRate);
    master_ = Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!master_.isOpen() || grantpt(master_.number()) != 0 || unlockpt(master_.number()) != 0)
        fail("can't open a pseudo terminal");
    path_ = slaveOf(master_.number());
    if (!openSlave())
        fail("can't open " + path_);
    makeRaw(slave_.number(), speed);
    static_cast<void>(chmod(path_.c_str(), 0666)); // a convenience for other users; the port works without
    watchClients();
}

bool Port::openSlave() {
    slave_ = Descriptor(open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return slave_.isOpen();
}

void Port::linkTo(const std::string& link) {
    struct stat status {};
    if (lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode))
        unlink(link.c_str());
    if (symlink(path_.c_str(), link.c_str()) != 0)
        fail("can't make the link " + link);
    link_ = link;
}

// --- Traffic --------------------------------------------------------------------------------------------

// The master's side tells the slave's settings.
uint32_t Port::baudRate() const {
    termios settings{};
    if (tcgetattr(master_.number(), &settings) != 0)
        return 0;
    const auto row = std::find_if(kSpeeds.begin(), kSpeeds.end(),
                                  [&](const Speed& speed) { return speed.code == cfgetospeed(&settings); });
    return row != kSpeeds.end() ? row->baudRate : 0;
}

std::string Port::read() {
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(master_.number(), buffer.data(), buffer.size());
    return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : "";
}

std::size_t Port::write(std::string_view bytes) {
    const ssize_t count = ::write(master_.number(), bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// --- Clients --------------------------------------------------------------------------------------------

// Another user's opens and closes are reported too. Without a watch (the system limits them) each look is as
// after a close, which is right as well.
void Port::watchClients() {
    watch_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    inotify_add_watch(watch_.number(), path_.c_str(), IN_OPEN | IN_CLOSE);
    clientCame_ = false;
}

// Equal events in a row are merged, so they can't be counted. But where the last one is an open, that client
// has not closed yet; after a close nothing is known.
void Port::takeEvents() {
    alignas(inotify_event) std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = ::read(watch_.number(), buffer.data(), buffer.size())) > 0)
        for (const char* at = buffer.data(); at < buffer.data() + count;) {
            inotify_event event{};
            std::memcpy(&event, at, sizeof event);
            clientCame_ = (event.mask & IN_OPEN) != 0;
            at += sizeof event + event.len;
        }
}

// Nobody has the slave open.
bool Port::isHungUp() const {
    pollfd master{master_.number(), 0, 0};
    return poll(&master, 1, 0) == 1 && (master.revents & POLLHUP) != 0;
}

// Whether anybody else has the port open: we let go of it for a moment, and the kernel tells the master's
// side whether it hung up. A claim would keep ourselves out when we come back; it is given back to its
// client.
bool Port::hasClient(bool claimed) {
    if (clientCame_)
        return true;
    if (claimed)
        ioctl(slave_.number(), TIOCNXCL);
    slave_.close();
    const bool nobody = isHungUp();
    if (!openSlave())
        return true;
    if (claimed && !nobody)
        ioctl(slave_.number(), TIOCEXCL);
    takeEvents(); // our own
    clientCame_ = false;
    return !nobody;
}

// Nothing but a new terminal helps against a claim that outlived its client while we were out.
bool Port::regainSlave() {
    if (!openSlave() && errno == EBUSY && isHungUp()) {
        openTerminal(baudRate() != 0 ? baudRate() : kUsualBaudRate);
        if (!link_.empty())
            linkTo(link_);
    }
    return slave_.isOpen();
}

void Port::attend() {
    takeEvents();
    if (!slave_.isOpen() && !regainSlave())
        return;
    int unread = 0;
    int claimed = 0;
    ioctl(slave_.number(), FIONREAD, &unread);
    ioctl(slave_.number(), TIOCGEXCL, &claimed);
    if ((unread != 0 || claimed != 0) && !hasClient(claimed != 0))
        tcflush(slave_.number(), TCIFLUSH);
}

} // namespace simulator
