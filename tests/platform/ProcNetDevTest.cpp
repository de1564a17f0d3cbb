// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcNetDev.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Links = std::vector<LinkInfo>;
using test::TempDirectory;

const std::string titles =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls "
    "carrier compressed\n";

LinkInfo named(const std::string& name, std::uint64_t bytesIn, std::uint64_t bytesOut) {
    LinkInfo link;
    link.name = name;
    link.counters = InterfaceCounter{bytesIn, bytesOut};
    return link;
}

Links parsed(const std::string& lines) {
    Links links;
    EXPECT_TRUE(parseNetDev(titles + lines, links));
    return links;
}

TEST(NetDev, readsReceivedAndSentBytes) {
    EXPECT_EQ(parsed("    lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
                     "  eth0: 18446744073709551615 0 0 0 0 0 0 0 4294967296 0 0 0 0 0 0 0\n"),
              (Links{named("lo", 1, 9),
                     named("eth0", std::numeric_limits<std::uint64_t>::max(), std::uint64_t{1} << 32)}));
}

TEST(NetDev, readsACapturedFile) {
    Links links;
    ASSERT_TRUE(parseNetDev(test::readFile(CORVANTA_FIXTURES "/net/dev-virtio-and-ifb"), links));
    ASSERT_EQ(links.size(), 4U);
    EXPECT_EQ(links[0].name, "lo");
    EXPECT_EQ(links[3].name, "eth0");
    EXPECT_GT(links[3].counters->bytesIn, 0U);
}

TEST(NetDev, aNumberMayFollowTheColonAtOnce) {
    EXPECT_EQ(parsed("enp3s0:123456789 2 3 4 5 6 7 8 9\n"), (Links{named("enp3s0", 123456789, 9)}));
}

TEST(NetDev, leavesOutWhatIsNoInterface) {
    for (const std::string line :
         {"eth1: 1 2 3 4 5 6 7 8\n", "eth1:\n", "eth1 1 2 3 4 5 6 7 8 9\n", "eth1: 1 2 x 4 5 6 7 8 9\n",
          "eth1: -1 2 3 4 5 6 7 8 9\n", "eth1: 99999999999999999999 2 3 4 5 6 7 8 9\n",
          ": 1 2 3 4 5 6 7 8 9\n", "../x: 1 2 3 4 5 6 7 8 9\n", "..: 1 2 3 4 5 6 7 8 9\n",
          ".: 1 2 3 4 5 6 7 8 9\n", "sixteen-letters-: 1 2 3 4 5 6 7 8 9\n", "\n",
          "eth1: 1 2 3 4 5 6 7 8 9"}) {
        EXPECT_EQ(parsed("eth0: 1 2 3 4 5 6 7 8 9\n" + line), (Links{named("eth0", 1, 9)})) << line;
    }
    EXPECT_TRUE(parsed(std::string("et\0h: 1 2 3 4 5 6 7 8 9\n", 25)).empty());
    EXPECT_EQ(parsed("fifteen-letters: 1 2 3 4 5 6 7 8 9\n").size(), 1U);
}

TEST(NetDev, anotherTextIsNoTable) {
    for (const std::string& text :
         {std::string(), std::string("\n\n\n"), std::string("Inter-|"), std::string("Inter-| x\n"),
          std::string("eth0: 1 2 3 4 5 6 7 8 9\n face\n"), std::string("\0\0\n\n", 4)}) {
        Links links = {named("old", 1, 1)};
        EXPECT_FALSE(parseNetDev(text, links)) << text;
        EXPECT_TRUE(links.empty());
    }
    EXPECT_TRUE(parsed("").empty());
}

TEST(InterfaceFlags, areHexadecimal) {
    EXPECT_EQ(parseInterfaceFlags("0x1003\n"), 0x1003U);
    EXPECT_EQ(parseInterfaceFlags("0x1\n"), 1U);
    for (const char* text :
         {"", "0x1003", "1003\n", "0x\n", "0x10g\n", "0x1 \n", "0x-1\n", "0x1ffffffff\n", "\n"}) {
        EXPECT_EQ(parseInterfaceFlags(text), 0U) << text;
    }
}

TEST(DeviceType, isTheKindOfVirtualInterfaces) {
    EXPECT_EQ(parseDeviceType("DEVTYPE=bridge\nINTERFACE=br0\nIFINDEX=4\n"), "bridge");
    EXPECT_EQ(parseDeviceType("INTERFACE=br0\nDEVTYPE=vlan\n"), "vlan");
    EXPECT_EQ(parseDeviceType("DEVTYPE=wlan\nINTERFACE=wlan0\n"), "");
    EXPECT_EQ(parseDeviceType("DEVTYPE=wwan\nINTERFACE=wwan0\n"), "");
    EXPECT_EQ(parseDeviceType("INTERFACE=eth0\nIFINDEX=2\n"), "");
    EXPECT_EQ(parseDeviceType("XDEVTYPE=vlan\nDEVTYPE=bri"), "");
    EXPECT_EQ(parseDeviceType(""), "");
}

class ProcNetDevFiles : public testing::Test {
  protected:
    TempDirectory root;
    ProcNetDev files{root.file("proc"), root.file("sys")};
    Links links = {named("old", 1, 1)};
};

TEST_F(ProcNetDevFiles, joinsTheTableWithTheFolders) {
    root.write("proc/net/dev", titles +
                                   "eth0: 1 2 3 4 5 6 7 8 9\n"
                                   "br0: 10 2 3 4 5 6 7 8 90\n"
                                   "gone: 5 2 3 4 5 6 7 8 6\n");
    root.write("sys/class/net/eth0/flags", "0x1003\n");
    root.write("sys/class/net/eth0/ifindex", "2\n");
    root.write("sys/class/net/eth0/uevent", "INTERFACE=eth0\n");
    root.write("sys/class/net/eth0/device/vendor", "0x8086\n");
    root.write("sys/class/net/eth0/master/ifindex", "7\n");
    root.write("sys/class/net/br0/flags", "0x1002\n");
    root.write("sys/class/net/br0/ifindex", "7\n");
    root.write("sys/class/net/br0/uevent", "DEVTYPE=bridge\nINTERFACE=br0\n");
    ASSERT_TRUE(files.read(links));
    EXPECT_EQ(links, (Links{{.index = 2,
                             .master = 7,
                             .name = "eth0",
                             .kind = "",
                             .hasDevice = true,
                             .isUp = true,
                             .counters = InterfaceCounter{1, 9}},
                            {.index = 7,
                             .master = 0,
                             .name = "br0",
                             .kind = "bridge",
                             .hasDevice = false,
                             .isUp = false,
                             .counters = InterfaceCounter{10, 90}},
                            named("gone", 5, 6)}));
}

TEST_F(ProcNetDevFiles, aMissingOrForeignTableIsAFailedReading) {
    EXPECT_FALSE(files.read(links));
    EXPECT_TRUE(links.empty());
    root.write("proc/net/dev", "garbage\ngarbage\n");
    EXPECT_FALSE(files.read(links));
    root.write("proc/net/dev", titles);
    EXPECT_TRUE(files.read(links));
    EXPECT_TRUE(links.empty());
}

}  // namespace
}  // namespace corvanta
