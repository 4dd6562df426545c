#include "simulator/Port.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

using namespace simulator;

namespace {

// What happens at the next look at a descriptor's state: the port looks while it has let go of its slave.
std::function<void()> atNextPoll;

} // namespace

// In place of the C library's.
extern "C" int poll(pollfd* descriptors, nfds_t count, int timeoutMs) {
    if (const auto action = std::exchange(atNextPoll, nullptr))
        action();
    timespec timeout{timeoutMs / 1000, timeoutMs % 1000 * 1'000'000L};
    return static_cast<int>(
        syscall(SYS_ppoll, descriptors, count, timeoutMs < 0 ? nullptr : &timeout, nullptr, 0));
}

constexpr uid_t kNobody = 65534;

// A client in a process of its own, which the port's process can't look into: another user's where we are
// root, else one that says so itself.
class ClientProcess {
public:
    explicit ClientProcess(const std::function<bool()>& open) {
        int ready[2] = {};
        EXPECT_EQ(0, pipe(ready));
        child_ = fork();
        if (child_ == 0) {
            closeAsExecWould();
            const bool opened = becomeSomebodyElse() && open();
            _exit(write(ready[1], opened ? "+" : "-", 1) == 1 && pause() == 0);
        }
        char answer = '-';
        EXPECT_EQ(1, read(ready[0], &answer, 1));
        EXPECT_EQ('+', answer);
        close(ready[0]);
        close(ready[1]);
    }
    ~ClientProcess() { kill(); }
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    void kill() {
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        child_ = -1;
    }

private:
    static void closeAsExecWould() {
        constexpr int kMostDescriptors = 64;
        for (int descriptor = 3; descriptor < kMostDescriptors; ++descriptor)
            if ((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0)
                close(descriptor);
    }
    static bool becomeSomebodyElse() {
        return geteuid() == 0 ? setuid(kNobody) == 0 : prctl(PR_SET_DUMPABLE, 0) == 0;
    }

    pid_t child_ = -1;
};

// While one lives, a claim keeps us out as it does any user but root.
class OrdinaryUser {
public:
    OrdinaryUser() { EXPECT_EQ(0, geteuid() == 0 ? seteuid(kNobody) : 0); }
    ~OrdinaryUser() { EXPECT_EQ(0, seteuid(getuid())); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

class PortTest : public ::testing::Test {
protected:
    ~PortTest() override {
        atNextPoll = nullptr;
        if (client >= 0)
            close(client);
    }
    int openPort() const { return open(port.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK); }
    void openClient() { client = openPort(); }
    void closeClient() {
        close(client);
        client = -1;
    }
    bool openAndClaim() const {
        const int claimant = openPort();
        return claimant >= 0 && ioctl(claimant, TIOCEXCL) == 0;
    }
    // Something for the client to read. Bytes travel through the kernel in their own time.
    void sendSomething() {
        port.write("bytes");
        pollfd descriptor{openPort(), POLLIN, 0};
        EXPECT_EQ(1, poll(&descriptor, 1, 5000));
        close(descriptor.fd);
    }
    void attendForAWhile() {
        for (int i = 0; i < 3; ++i)
            port.attend();
    }
    // What is there for whoever opens the port now.
    bool somethingIsUnread() const {
        int unread = 0;
        const int newcomer = openPort();
        ioctl(newcomer, FIONREAD, &unread);
        close(newcomer);
        return unread != 0;
    }
    bool isClaimed() const {
        int claimed = 0;
        ioctl(client, TIOCGEXCL, &claimed);
        return claimed != 0;
    }
    void setClientSpeed(speed_t speed) const {
        termios settings{};
        tcgetattr(client, &settings);
        cfsetospeed(&settings, speed);
        cfsetispeed(&settings, speed);
        tcsetattr(client, TCSANOW, &settings);
    }
    // Bytes travel through the kernel in their own time: waits for the first.
    bool somethingArrives(int timeoutMs) const {
        pollfd descriptor{client, POLLIN, 0};
        return poll(&descriptor, 1, timeoutMs) == 1;
    }

    Port port;
    int client = -1;
};

TEST_F(PortTest, StartsAtTheGivenSpeedRawAndWithoutModemLines) {
    EXPECT_EQ(9600U, port.baudRate());
    EXPECT_EQ(115'200U, Port(115'200).baudRate());
    EXPECT_THROW(Port(12'345), std::system_error);
    openClient();
    termios settings{};
    ASSERT_EQ(0, tcgetattr(client, &settings));
    EXPECT_NE(0U, settings.c_cflag & CLOCAL);
    EXPECT_EQ(0U, settings.c_lflag & (ECHO | ICANON));
}

TEST_F(PortTest, SpeedIsWhatTheClientSetAndStaysWhenItCloses) {
    openClient();
    setClientSpeed(B115200);
    EXPECT_EQ(115'200U, port.baudRate());
    close(client);
    client = -1;
    EXPECT_EQ(115'200U, port.baudRate());
}

TEST_F(PortTest, ClientsBytesAreReadAsTheyAre) {
    openClient();
    ASSERT_EQ(4, write(client, "\r\n\x00\xB5", 4));
    EXPECT_EQ(std::string("\r\n\x00\xB5", 4), port.read());
    EXPECT_EQ("", port.read());
}

TEST_F(PortTest, WritingNeverBlocksWhenNobodyReads) {
    openClient();
    const std::string bytes(1000, 'x');
    std::size_t written = 0;
    for (int i = 0; i < 200; ++i)
        written += port.write(bytes);
    EXPECT_GT(200'000U, written);
    EXPECT_TRUE(somethingArrives(5000));
}

TEST_F(PortTest, WhatComesWhileNobodyHasItOpenIsLost) {
    openClient();
    port.write("old");
    ASSERT_TRUE(somethingArrives(5000));
    close(client);
    port.attend();
    openClient();
    EXPECT_FALSE(somethingArrives(0));
}

// --- Who has it open ------------------------------------------------------------------------------------

TEST_F(PortTest, ClientKeepsWhatItHasNotReadYet) {
    openClient();
    sendSomething();
    attendForAWhile();
    EXPECT_TRUE(somethingArrives(0));
}

TEST_F(PortTest, OtherUsersClientKeepsWhatItHasNotReadYet) {
    const ClientProcess other([this] { return openPort() >= 0; });
    sendSomething();
    attendForAWhile();
    EXPECT_TRUE(somethingIsUnread());
}

TEST_F(PortTest, WhatComesOnceAnotherUsersClientWasKilledIsLost) {
    ClientProcess other([this] { return openPort() >= 0; });
    sendSomething();
    other.kill();
    attendForAWhile();
    EXPECT_FALSE(somethingIsUnread());
}

TEST_F(PortTest, LastOfSeveralClientsCounts) {
    openClient();
    const int second = openPort();
    const int third = openPort();
    sendSomething();
    close(third);
    closeClient();
    attendForAWhile();
    EXPECT_TRUE(somethingIsUnread());
    close(second);
    attendForAWhile();
    EXPECT_FALSE(somethingIsUnread());
}

TEST_F(PortTest, InheritedDescriptorIsAClientToo) {
    openClient();
    ClientProcess heir([this] { return client >= 0; });
    closeClient();
    sendSomething();
    attendForAWhile();
    EXPECT_TRUE(somethingIsUnread());
    heir.kill();
    attendForAWhile();
    EXPECT_FALSE(somethingIsUnread());
}

TEST_F(PortTest, ClaimEndsWithAKilledClient) {
    const std::string path = port.path();
    ClientProcess other([this] { return openAndClaim(); });
    other.kill();
    attendForAWhile();
    client = open(path.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_LE(0, client);
    EXPECT_FALSE(isClaimed());
}

TEST_F(PortTest, ClaimOfAClientOutlastsOthersThatGo) {
    openClient();
    const int second = openPort();
    ASSERT_EQ(0, ioctl(client, TIOCEXCL));
    close(second);
    attendForAWhile();
    EXPECT_TRUE(isClaimed());
}

TEST_F(PortTest, SpeedAndClientsBytesOutlastTheLook) {
    openClient();
    setClientSpeed(B115200);
    ASSERT_EQ(4, write(client, "kept", 4));
    port.write("lost");
    closeClient();
    attendForAWhile();
    EXPECT_EQ(115'200U, port.baudRate());
    EXPECT_EQ("kept", port.read());
}

TEST_F(PortTest, ItDoesNotLookWhileTheLastToComeIsStillThere) {
    sendSomething();
    openClient();
    bool looked = false;
    atNextPoll = [&] { looked = true; };
    attendForAWhile();
    EXPECT_FALSE(looked);
}

TEST_F(PortTest, ItLooksAgainAtWhatComesNext) {
    sendSomething();
    port.attend();
    bool looked = false;
    atNextPoll = [&] { looked = true; };
    port.write("more");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!looked && std::chrono::steady_clock::now() < deadline)
        port.attend();
    EXPECT_TRUE(looked);
}

// A claim in the moment in which the port has let go of its own descriptor.
TEST_F(PortTest, ClientThatClaimsThePortWhileItLooksIsServed) {
    const OrdinaryUser user;
    sendSomething();
    atNextPoll = [this] {
        openClient();
        setClientSpeed(B115200);
        ASSERT_EQ(0, ioctl(client, TIOCEXCL));
    };
    attendForAWhile();
    EXPECT_EQ(115'200U, port.baudRate());
    EXPECT_TRUE(isClaimed());
    EXPECT_TRUE(somethingArrives(0));
    ASSERT_EQ(5, write(client, "hello", 5));
    EXPECT_EQ("hello", port.read());
}

TEST_F(PortTest, PortIsFreeAgainAfterAClaimInTheMomentOfALook) {
    const OrdinaryUser user;
    const std::string link = ::testing::TempDir() + "/port_test_claimed_" + std::to_string(getpid());
    port.linkTo(link);
    sendSomething();
    atNextPoll = [this] {
        openClient();
        setClientSpeed(B115200);
        ASSERT_EQ(0, ioctl(client, TIOCEXCL));
    };
    port.attend();
    closeClient();
    attendForAWhile();
    client = open(link.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_LE(0, client);
    EXPECT_FALSE(isClaimed());
    EXPECT_EQ(115'200U, port.baudRate());
    port.write("bytes");
    EXPECT_TRUE(somethingArrives(5000));
}

// --- Link -----------------------------------------------------------------------------------------------

TEST_F(PortTest, LinkFollowsThePortAndGoesWithIt) {
    const std::string link = ::testing::TempDir() + "/port_test_link_" + std::to_string(getpid());
    {
        Port linked;
        linked.linkTo(link);
        linked.linkTo(link); // in place of an older link
        char target[64] = {};
        ASSERT_LT(0, readlink(link.c_str(), target, sizeof target - 1));
        EXPECT_EQ(linked.path(), target);
    }
    struct stat status {};
    EXPECT_NE(0, lstat(link.c_str(), &status));
}

TEST_F(PortTest, LinkDoesNotReplaceAFile) { EXPECT_THROW(port.linkTo("/dev/null"), std::system_error); }
