// SPDX-License-Identifier: Apache-2.0
// The network readings on real interfaces, which each test makes in a network namespace of its own.
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "monitoring/collectors/NetworkMonitor.h"
#include "platform/OwnNamespaces.h"
#include "platform/linux/NetlinkCounterSource.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::inOwnNamespaces;
using test::run;
using Interfaces = std::vector<InterfaceReading>;

int refuse() {
    return -1;
}

/// By name. Empty when the reading failed or a name came twice.
std::map<std::string, InterfaceReading> readAll(NetCounterSource& source) {
    Interfaces interfaces;
    EXPECT_TRUE(source.readInterfaces(interfaces));
    std::map<std::string, InterfaceReading> byName;
    for (const InterfaceReading& interface : interfaces) byName.emplace(interface.name, interface);
    EXPECT_EQ(byName.size(), interfaces.size());
    return byName;
}

/// Sends a frame of the given size, header included, out of an interface.
bool sendFrame(const std::string& interface, std::size_t size) {
    const int descriptor = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return false;
    std::vector<unsigned char> frame(size, 0xff);  // to all; of an unknown protocol, so nothing answers
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    const ssize_t sent = sendto(descriptor, frame.data(), frame.size(), 0,
                                reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(descriptor);
    return sent == static_cast<ssize_t>(size);
}

/// The low half of what has been sent out of an interface, by another way than the one under test.
std::uint32_t sentBytes(const std::string& interface) {
    std::uint32_t bytes = 0;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) return 0;
    for (const ifaddrs* entry = all; entry != nullptr; entry = entry->ifa_next) {
        if (interface != entry->ifa_name || entry->ifa_data == nullptr) continue;
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
        bytes = static_cast<const rtnl_link_stats*>(entry->ifa_data)->tx_bytes;
    }
    freeifaddrs(all);
    return bytes;
}

/// An interface drops frames for a moment after it has been switched on. One frame has gone out when this
/// returns true.
bool awaitTraffic(const std::string& interface) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
        sendFrame(interface, 60);
        if (sentBytes(interface) > 0) return true;
    }
    return false;
}

/// A pair of linked interfaces, up and carrying, over which nothing goes by itself.
bool makePair(const std::string& one, const std::string& other) {
    return run("ip link add " + one + " type veth peer name " + other) &&
           run("ip link set " + one + " addrgenmode none up") &&
           run("ip link set " + other + " addrgenmode none up") && awaitTraffic(one) && awaitTraffic(other);
}

TEST(NetworkNamespace, tellsKindsAndFlagsOfRealInterfaces) {
    inOwnNamespaces([] {
        NetlinkCounterSource source("/nowhere", "/nowhere");
        auto found = readAll(source);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_FALSE(found.at("lo").isUp);

        ASSERT_TRUE(run("ip link set lo up"));
        ASSERT_TRUE(makePair("eth0", "veth0"));
        ASSERT_TRUE(run("ip link add br0 type bridge"));
        ASSERT_TRUE(run("ip tuntap add dev tun0 mode tun"));
        ASSERT_TRUE(run("ip link set tun0 up"));
        found = readAll(source);
        EXPECT_EQ(found.size(), 5U);
        EXPECT_TRUE(found.at("lo").isUp);
        EXPECT_TRUE(found.at("eth0").isUp);  // a container's link, as nothing physical is here
        EXPECT_TRUE(found.at("x-veth0").isUp);
        EXPECT_FALSE(found.at("br0").isUp);
        EXPECT_TRUE(found.at("tun0").isUp);  // though nothing holds it and it has no carrier
        for (const auto& [name, interface] : found) EXPECT_TRUE(interface.counters) << name;

        ASSERT_TRUE(run("ip link set br0 up"));
        ASSERT_TRUE(run("ip link set eth0 master br0"));
        ASSERT_TRUE(run("ip link del tun0"));
        found = readAll(source);
        EXPECT_EQ(found.size(), 4U);
        EXPECT_TRUE(found.at("br0").isUp);
        EXPECT_TRUE(found.at("eth0").isUp);
    });
}

TEST(NetworkNamespace, theTiersTakeOverFromOneAnother) {
    inOwnNamespaces([] {
        ASSERT_TRUE(makePair("eth0", "veth0"));
        ASSERT_TRUE(run("ip link add br0 type bridge") && run("ip link set br0 up"));
        ASSERT_TRUE(run("ip tuntap add dev tun0 mode tun") && run("ip link set tun0 up"));
        NetlinkCounterSource source("/nowhere", "/nowhere");
        const auto preferred = [&] {
            std::set<std::string> names;
            for (const auto& [name, interface] : readAll(source)) {
                if (interface.isUp) names.insert(name);
            }
            return NetworkMonitor::preferredInterfaceNames(names);
        };
        using Names = std::set<std::string>;
        EXPECT_EQ(preferred(), Names{"eth0"});
        ASSERT_TRUE(run("ip link set eth0 down"));
        EXPECT_EQ(preferred(), Names{"br0"});
        ASSERT_TRUE(run("ip link set br0 down"));
        EXPECT_EQ(preferred(), Names{"tun0"});
        ASSERT_TRUE(run("ip link del tun0"));
        EXPECT_EQ(preferred(), Names{});
    });
}

TEST(NetworkNamespace, bridgesAndTunnelsThatLookPhysicalByTheirNamesDoNotDoubleTheirPorts) {
    inOwnNamespaces([] {
        const test::TempDirectory root;
        ASSERT_EQ(mount("sysfs", root.path().c_str(), "sysfs", MS_RDONLY, nullptr), 0)
            << std::strerror(errno);
        ASSERT_TRUE(makePair("eth0", "veth0"));
        ASSERT_TRUE(run("ip link add enbr0 type bridge") && run("ip link set enbr0 up"));
        ASSERT_TRUE(run("ip link set eth0 master enbr0"));
        ASSERT_TRUE(run("ip tuntap add dev en-tun mode tun") && run("ip link set en-tun up"));
        NetlinkCounterSource dump("/nowhere", "/nowhere");
        NetlinkCounterSource fallback("/proc", root.path().string(), refuse);
        for (NetlinkCounterSource* source : {&dump, &fallback}) {
            std::set<std::string> names;
            for (const auto& [name, interface] : readAll(*source)) names.insert(name);
            for (const char* name : {"eth0", "bridge:enbr0", "tun:en-tun"}) {
                EXPECT_EQ(names.count(name), 1U) << name;
            }
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames(names).count("eth0"), 1U);
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames(names).count("bridge:enbr0"), 0U);
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames(names).count("tun:en-tun"), 0U);
        }
        EXPECT_EQ(umount(root.path().c_str()), 0);
    });
}

TEST(NetworkNamespace, countsEveryByte) {
    inOwnNamespaces([] {
        ASSERT_TRUE(makePair("eth0", "veth0"));
        NetlinkCounterSource source("/nowhere", "/nowhere");
        const auto before = readAll(source);
        for (int i = 0; i < 100; ++i) ASSERT_TRUE(sendFrame("eth0", 1000));
        ASSERT_TRUE(sendFrame("veth0", 77));
        const auto after = readAll(source);
        EXPECT_EQ(after.at("eth0").counters->bytesOut - before.at("eth0").counters->bytesOut, 100'000U);
        EXPECT_EQ(after.at("eth0").counters->bytesIn - before.at("eth0").counters->bytesIn, 77U);
        EXPECT_EQ(after.at("x-veth0").counters->bytesIn - before.at("x-veth0").counters->bytesIn, 100'000U);
        EXPECT_EQ(after.at("x-veth0").counters->bytesOut - before.at("x-veth0").counters->bytesOut, 77U);
    });
}

TEST(NetworkNamespace, theMonitorGivesTheRatesOfRealTraffic) {
    inOwnNamespaces([] {
        ASSERT_TRUE(run("ip link set lo up"));
        ASSERT_TRUE(makePair("eth0", "veth0"));
        NetlinkCounterSource source("/nowhere", "/nowhere");
        test::FakeClock clock;
        NetworkMonitor monitor(source, clock);
        ASSERT_TRUE(sendFrame("eth0", 1000));
        EXPECT_EQ(monitor.getNetworkSpeed(), NetworkSpeed{});

        clock.advance(2);
        for (int i = 0; i < 6; ++i) ASSERT_TRUE(sendFrame("eth0", 1000));
        ASSERT_TRUE(sendFrame("veth0", 500));
        EXPECT_EQ(monitor.getNetworkSpeed(), (NetworkSpeed{.upload = 3000, .download = 250}));

        // Made anew, the interface counts from zero again: below what it had.
        clock.advance(1);
        ASSERT_TRUE(run("ip link del eth0"));
        ASSERT_TRUE(makePair("eth0", "veth0"));
        ASSERT_TRUE(sendFrame("eth0", 100));
        EXPECT_EQ(monitor.getNetworkSpeed(), NetworkSpeed{});
        clock.advance(1);
        ASSERT_TRUE(sendFrame("eth0", 300));
        EXPECT_EQ(monitor.getNetworkSpeed(), (NetworkSpeed{.upload = 300, .download = 0}));
    });
}

/// Makes many linked pairs, "many0" and "peer0" and so on, by one call of the tool.
bool makePairs(const test::TempDirectory& folder, int count) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        lines += "link add many" + number + " type veth peer name peer" + number + "\n";
    }
    return run("ip -batch " + folder.write("batch", lines));
}

TEST(NetworkNamespace, manyInterfacesTakeManyDatagramsAndNoneIsLost) {
    inOwnNamespaces([] {
        const test::TempDirectory folder;
        ASSERT_TRUE(makePairs(folder, 150));
        NetlinkCounterSource source("/nowhere", "/nowhere");
        const auto found = readAll(source);
        EXPECT_EQ(found.size(), 301U);
        for (int i = 0; i < 150; ++i) {
            EXPECT_EQ(found.count("x-many" + std::to_string(i)), 1U) << i;
            EXPECT_EQ(found.count("x-peer" + std::to_string(i)), 1U) << i;
        }
    });
}

TEST(NetworkNamespace, interfacesThatComeAndGoMeanwhileNeitherHideNorDoubleTheOthers) {
    inOwnNamespaces([] {
        const test::TempDirectory folder;
        ASSERT_TRUE(makePairs(folder, 40));
        std::string lines;
        for (int i = 0; i < 60; ++i) lines += "link add come type veth peer name go\nlink del come\n";
        const std::string changes = folder.write("changes", lines);
        const pid_t changing = fork();
        ASSERT_GE(changing, 0);
        if (changing == 0) _exit(run("ip -batch " + changes) ? 0 : 1);

        NetlinkCounterSource source("/proc", "/sys");
        int status = 0;
        do {
            const auto found = readAll(source);
            for (int i = 0; i < 40; ++i) {
                // The fallback, which steps in after three interrupted dumps, knows no kind.
                const std::string name = "many" + std::to_string(i);
                EXPECT_EQ(found.count("x-" + name) + found.count(name), 1U);
            }
        } while (waitpid(changing, &status, WNOHANG) == 0);
        EXPECT_EQ(status, 0);
    });
}

TEST(NetworkNamespace, aSocketThatHasLostMessagesIsReplaced) {
    inOwnNamespaces([] {
        const test::TempDirectory folder;
        int opened = 0;
        // The first socket also gets the announcements of changes, with little room for them.
        NetlinkCounterSource source("/nowhere", "/nowhere", [&opened] {
            ++opened;
            const int descriptor = NetlinkCounterSource::openRouteSocket();
            if (opened > 1) return descriptor;
            const int room = 4096;
            sockaddr_nl address{};
            address.nl_family = AF_NETLINK;
            address.nl_groups = RTMGRP_LINK;
            EXPECT_EQ(setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &room, sizeof room), 0);
            EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
            return descriptor;
        });
        EXPECT_EQ(readAll(source).size(), 1U);
        EXPECT_EQ(opened, 1);
        ASSERT_TRUE(run("ip link add few type veth peer name fewer"));
        EXPECT_EQ(readAll(source).size(), 3U);  // announcements before the dump do not mix with it
        ASSERT_TRUE(makePairs(folder, 40));
        EXPECT_EQ(readAll(source).size(), 83U);
        EXPECT_EQ(opened, 2);
    });
}

TEST(NetworkNamespace, theFallbackAgreesWithTheDump) {
    inOwnNamespaces([] {
        const test::TempDirectory root;
        // The system's view of devices belongs to the namespace that mounts it.
        ASSERT_EQ(mount("sysfs", root.path().c_str(), "sysfs", MS_RDONLY, nullptr), 0)
            << std::strerror(errno);
        ASSERT_TRUE(run("ip link set lo up"));
        ASSERT_TRUE(run("ip link add br0 type bridge") && run("ip link set br0 addrgenmode none up"));
        ASSERT_TRUE(run("ip tuntap add dev tun0 mode tun"));
        ASSERT_TRUE(makePair("eth0", "eth1"));
        ASSERT_TRUE(sendFrame("eth0", 1234));
        NetlinkCounterSource dump("/nowhere", "/nowhere");
        NetlinkCounterSource fallback("/proc", root.path().string(), refuse);
        const auto expected = readAll(dump);
        EXPECT_EQ(expected.size(), 5U);
        EXPECT_GE(expected.at("eth0").counters->bytesOut, 1234U);
        EXPECT_EQ(readAll(fallback), expected);
        EXPECT_EQ(umount(root.path().c_str()), 0);
    });
}

}  // namespace
}  // namespace corvanta
