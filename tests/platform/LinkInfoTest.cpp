// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinkInfo.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "monitoring/collectors/NetworkMonitor.h"

namespace corvanta {
namespace {

LinkInfo physical(const std::string& name) {
    LinkInfo link;
    link.name = name;
    link.hasDevice = true;
    link.isUp = true;
    return link;
}

LinkInfo virtualLink(const std::string& name, const std::string& kind) {
    LinkInfo link;
    link.name = name;
    link.kind = kind;
    link.isUp = true;
    return link;
}

using Names = std::set<std::string>;

bool counts(const std::string& name) {
    return !NetworkMonitor::preferredInterfaceNames({name}).empty();
}

TEST(LinkInfo, physicalIsWhatHasADeviceAndNoKind) {
    EXPECT_TRUE(isPhysical(physical("eth0")));
    EXPECT_FALSE(isPhysical(virtualLink("lo", "")));
    EXPECT_FALSE(isPhysical(virtualLink("eth0", "veth")));
    LinkInfo dsa = physical("lan1");
    dsa.kind = "dsa";
    EXPECT_FALSE(isPhysical(dsa));
}

TEST(CanonicalName, aPhysicalInterfaceOfAKnownFamilyKeepsItsName) {
    for (const char* name : {"en0", "enp3s0", "eno1", "eth0", "wlan0", "wlp2s0", "wwan0", "ib0", "usb0"}) {
        EXPECT_EQ(canonicalName(physical(name), nullptr, true), name);
        EXPECT_EQ(canonicalName(physical(name), nullptr, false), name);
    }
}

TEST(CanonicalName, aPhysicalInterfaceOutsideTheFamiliesIsMarked) {
    for (const char* name : {"lan0", "br0", "tun0", "docker0", "uplink", "net0", "lo"}) {
        EXPECT_EQ(canonicalName(physical(name), nullptr, true), std::string("en:") + name);
        EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({std::string("en:") + name, "eth0"}).size(), 2U);
    }
}

TEST(CanonicalName, whatDoublesAPhysicalInterfaceMatchesNoFamily) {
    for (const char* kind :
         {"vlan", "macvlan", "macvtap", "ipvlan", "veth", "bond", "team", "dummy", "ifb", "vrf", "vxlan"}) {
        for (const char* name : {"eth5", "en0", "br0", "tun0", "lan0"}) {
            const std::string canonical = canonicalName(virtualLink(name, kind), nullptr, true);
            EXPECT_EQ(canonical, std::string("x-") + name) << kind;
            EXPECT_FALSE(counts(canonical));
        }
    }
}

TEST(CanonicalName, aNameWithADotIsStackedOnAnotherInterface) {
    EXPECT_EQ(canonicalName(virtualLink("eth0.100", "vlan"), nullptr, true), "x-eth0.100");
    EXPECT_EQ(canonicalName(virtualLink("eth0.100", ""), nullptr, true), "x-eth0.100");
    EXPECT_EQ(canonicalName(virtualLink("ib0.8001", "ipoib"), nullptr, false), "x-ib0.8001");
    EXPECT_EQ(canonicalName(physical("wlan0.sta1"), nullptr, true), "x-wlan0.sta1");
}

TEST(CanonicalName, peerToPeerWirelessMatchesNoFamily) {
    EXPECT_EQ(canonicalName(physical("p2p-wlan0-0"), nullptr, true), "x-p2p-wlan0-0");
    EXPECT_EQ(canonicalName(physical("p2px"), nullptr, true), "en:p2px");
}

TEST(CanonicalName, aPortOfAPhysicalInterfaceMatchesNoFamily) {
    const LinkInfo synthetic = physical("eth0");
    EXPECT_EQ(canonicalName(physical("enP1s1"), &synthetic, true), "x-enP1s1");
    const LinkInfo bridge = virtualLink("br0", "bridge");
    EXPECT_EQ(canonicalName(physical("enP1s1"), &bridge, true), "enP1s1");
    const LinkInfo bond = virtualLink("bond0", "bond");
    EXPECT_EQ(canonicalName(physical("enP1s1"), &bond, true), "enP1s1");
}

TEST(CanonicalName, bridgesTunnelsAndTheLoopbackKeepTheirNames) {
    for (const auto& [name, kind] : std::vector<std::pair<const char*, const char*>>{{"br0", "bridge"},
                                                                                     {"docker0", "bridge"},
                                                                                     {"virbr0", "bridge"},
                                                                                     {"tun0", "tun"},
                                                                                     {"wg0", "wireguard"},
                                                                                     {"ppp0", "ppp"},
                                                                                     {"lo", ""}}) {
        EXPECT_EQ(canonicalName(virtualLink(name, kind), nullptr, true), name);
        EXPECT_EQ(canonicalName(virtualLink(name, kind), nullptr, false), name);
    }
}

TEST(CanonicalName, aBridgeThatLooksPhysicalByItsNameIsMarked) {
    for (const char* name : {"enbr0", "eth-bridge", "wlbr", "ibbr0"}) {
        for (const bool isAnyPhysicalUp : {true, false}) {
            const std::string canonical =
                canonicalName(virtualLink(name, "bridge"), nullptr, isAnyPhysicalUp);
            EXPECT_EQ(canonical, std::string("bridge:") + name);
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({canonical, "eth0"}), Names{"eth0"});
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({canonical, "tun0"}), Names{canonical});
        }
    }
}

TEST(CanonicalName, aTunnelThatLooksLikeAnythingElseByItsNameIsMarked) {
    for (const char* kind :
         {"tun", "wireguard", "ovpn", "ppp", "ipip", "sit", "gre", "gretap", "ip6gre", "ip6gretap", "erspan",
          "ip6erspan", "ip6tnl", "vti", "vti6", "xfrm", "geneve", "gtp"}) {
        for (const char* name : {"eth-vpn", "en-tun", "wlvpn", "br0", "docker-vpn"}) {
            for (const bool isAnyPhysicalUp : {true, false}) {
                const std::string canonical =
                    canonicalName(virtualLink(name, kind), nullptr, isAnyPhysicalUp);
                EXPECT_EQ(canonical, std::string("tun:") + name) << kind;
                EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({canonical, "eth0"}), Names{"eth0"});
                EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({canonical, "br0"}), Names{"br0"});
                EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({canonical}), Names{canonical});
            }
        }
    }
}

TEST(CanonicalName, linksOfHardwareWithAKindKeepTheirNames) {
    EXPECT_EQ(canonicalName(virtualLink("ib0", "ipoib"), nullptr, true), "ib0");
    EXPECT_EQ(canonicalName(virtualLink("wwan0", "wwan"), nullptr, true), "wwan0");
}

TEST(CanonicalName, withNothingPhysicalUpVethsAndBondsStandIn) {
    EXPECT_EQ(canonicalName(virtualLink("eth0", "veth"), nullptr, false), "eth0");
    EXPECT_EQ(canonicalName(virtualLink("ens5", "veth"), nullptr, false), "ens5");
    EXPECT_EQ(canonicalName(virtualLink("veth12ab", "veth"), nullptr, false), "x-veth12ab");
    EXPECT_EQ(canonicalName(virtualLink("wlan0", "veth"), nullptr, false), "x-wlan0");
    EXPECT_EQ(canonicalName(virtualLink("bond0", "bond"), nullptr, false), "en:bond0");
    EXPECT_EQ(canonicalName(virtualLink("en-bond", "bond"), nullptr, false), "en-bond");
    for (const char* kind :
         {"vlan", "macvlan", "ipvlan", "team", "dummy", "ifb", "vrf", "vxlan", "macvtap"}) {
        EXPECT_EQ(canonicalName(virtualLink("eth0", kind), nullptr, false), "x-eth0") << kind;
    }
}

TEST(CanonicalName, aBondStandsInForItsPorts) {
    const LinkInfo bond = virtualLink("bond0", "bond");
    EXPECT_EQ(canonicalName(virtualLink("eth0", "veth"), &bond, false), "x-eth0");
    const LinkInfo bridge = virtualLink("br0", "bridge");
    EXPECT_EQ(canonicalName(virtualLink("eth0", "veth"), &bridge, false), "eth0");
}

std::vector<std::string> names(const std::vector<LinkInfo>& links) {
    std::vector<InterfaceReading> interfaces = {{.name = "left over"}};
    canonicalise(links, interfaces);
    std::vector<std::string> result;
    for (const InterfaceReading& interface : interfaces) result.push_back(interface.name);
    return result;
}

using Strings = std::vector<std::string>;

TEST(Canonicalise, keepsOrderFlagsAndCounters) {
    LinkInfo lan = physical("lan0");
    lan.counters = InterfaceCounter{1, 2};
    LinkInfo off = virtualLink("br0", "bridge");
    off.isUp = false;
    std::vector<InterfaceReading> interfaces;
    canonicalise({lan, off}, interfaces);
    EXPECT_EQ(interfaces, (std::vector<InterfaceReading>{{"en:lan0", true, InterfaceCounter{1, 2}},
                                                         {"br0", false, std::nullopt}}));
}

TEST(Canonicalise, aContainersVethCountsOnlyWhileNothingPhysicalIsUp) {
    LinkInfo port = physical("enp3s0");
    const LinkInfo veth = virtualLink("eth0", "veth");
    EXPECT_EQ(names({veth, port}), (Strings{"x-eth0", "enp3s0"}));
    port.isUp = false;
    EXPECT_EQ(names({veth, port}), (Strings{"eth0", "enp3s0"}));
}

TEST(Canonicalise, findsTheMasterByItsNumber) {
    LinkInfo synthetic = physical("eth0");
    synthetic.index = 2;
    LinkInfo function = physical("enP1s1");
    function.index = 3;
    function.master = 2;
    EXPECT_EQ(names({function, synthetic}), (Strings{"x-enP1s1", "eth0"}));
    function.master = 9;  // in another namespace
    EXPECT_EQ(names({function, synthetic}), (Strings{"enP1s1", "eth0"}));
    synthetic.index = 0;
    function.master = 0;
    EXPECT_EQ(names({function, synthetic}), (Strings{"enP1s1", "eth0"}));
}

}  // namespace
}  // namespace corvanta
