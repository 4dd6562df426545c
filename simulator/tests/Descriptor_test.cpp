#include "simulator/Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <utility>

using namespace simulator;

namespace {

Descriptor openNull() { return Descriptor(open("/dev/null", O_RDONLY)); }

bool isOpenForTheSystem(int32_t number) { return fcntl(number, F_GETFD) != -1; }

} // namespace

TEST(Descriptor, IsClosedWithItsObject) {
    int32_t number = -1;
    {
        const Descriptor descriptor = openNull();
        number = descriptor.number();
        EXPECT_TRUE(isOpenForTheSystem(number));
    }
    EXPECT_FALSE(isOpenForTheSystem(number));
}

TEST(Descriptor, MovingHandsItOn) {
    Descriptor first = openNull();
    const int32_t number = first.number();
    Descriptor second = std::move(first);
    EXPECT_EQ(number, second.number());
    EXPECT_TRUE(isOpenForTheSystem(number));
}

TEST(Descriptor, WhatItHeldBeforeIsClosed) {
    Descriptor descriptor = openNull();
    const int32_t before = descriptor.number();
    descriptor = openNull();
    EXPECT_FALSE(isOpenForTheSystem(before));
    EXPECT_TRUE(isOpenForTheSystem(descriptor.number()));
    descriptor.close();
    EXPECT_FALSE(descriptor.isOpen());
}

TEST(Descriptor, NoneIsNotOpen) {
    EXPECT_FALSE(Descriptor().isOpen());
    EXPECT_FALSE(Descriptor(-1).isOpen());
}
