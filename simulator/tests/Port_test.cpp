#include "simulator/Port.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace simulator;

class PortTest : public ::testing::Test {
protected:
    ~PortTest() override {
        if (client >= 0)
            close(client);
    }
    void openClient() { client = open(port.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK); }
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
