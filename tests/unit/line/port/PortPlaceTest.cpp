#include <gtest/gtest.h>

#include "port/PortPlace.h"

namespace zelline {
namespace {

TEST(PortPlace, TheSocketIsThatOfTheDeviceAndNotOfItsHubs) {
    const std::string usb = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1.4/1-1.4:1.0";
    EXPECT_EQ(UsbSocketOf(usb + "/ttyUSB0"), "1-1.4:1.0");
    EXPECT_EQ(UsbSocketOf(usb), "1-1.4:1.0");
    EXPECT_EQ(UsbSocketOf("/sys/devices/pnp0/00:05/tty/ttyS0"), "");
    EXPECT_EQ(UsbSocketOf(""), "");
}

TEST(PortPlace, ASocketMayBeMeantWithoutItsInterface) {
    EXPECT_TRUE(IsSocket("1-1.4:1.0", "1-1.4"));
    EXPECT_TRUE(IsSocket("1-1.4:1.0", "1-1.4:1.0"));
    EXPECT_FALSE(IsSocket("1-1.4:1.0", "1-1.4:1.1"));
    EXPECT_FALSE(IsSocket("1-1.4:1.0", "1-1"));
    EXPECT_FALSE(IsSocket("", ""));
}

TEST(PortPlace, WhatIsNoDeviceIsNoPort) {
    EXPECT_EQ(FindPort({"/dev/null", "", ""}), "/dev/null");
    EXPECT_EQ(FindPort({"/etc/passwd", "", ""}), "");
    EXPECT_EQ(FindPort({"/nowhere", "", ""}), "");
    EXPECT_EQ(FindPort({"", "no such adapter", ""}), "");
}

}  // namespace
}  // namespace zelline
