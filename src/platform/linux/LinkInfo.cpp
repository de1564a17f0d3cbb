// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinkInfo.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace corvanta {
namespace {

constexpr std::string_view veth = "veth";
constexpr std::string_view bond = "bond";
constexpr std::string_view bridge = "bridge";

// What passes through these passes through another interface as well.
constexpr std::array<std::string_view, 11> doublingKinds = {
    "vlan", "macvlan", "macvtap", "ipvlan", veth, bond, "team", "dummy", "ifb", "vrf", "vxlan"};

constexpr std::array<std::string_view, 18> tunnelKinds = {
    "tun",       "wireguard", "ovpn",      "ppp",    "ipip", "sit",  "gre",  "gretap", "ip6gre",
    "ip6gretap", "erspan",    "ip6erspan", "ip6tnl", "vti",  "vti6", "xfrm", "geneve", "gtp"};

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& kinds, std::string_view kind) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool isPeerToPeerWireless(std::string_view name) {
    return name.starts_with("p2p-");
}

bool doubles(const LinkInfo& link) {
    // Stacked interfaces of drivers that give no kind have a dot, too: "wlan0.sta1".
    return link.name.find('.') != std::string::npos || isPeerToPeerWireless(link.name) ||
           isOneOf(doublingKinds, link.kind);
}

bool standsInForPhysical(const LinkInfo& link) {
    return link.kind == bond ||
           (link.kind == veth && (link.name.starts_with("en") || link.name.starts_with("eth")));
}

std::string asPhysical(const std::string& name) {
    return hasPhysicalInterfacePrefix(name) ? name : "en:" + name;
}

std::string asItsKind(const LinkInfo& link) {
    const bool looksPhysical = hasPhysicalInterfacePrefix(link.name);
    if (link.kind == bridge && looksPhysical) return "bridge:" + link.name;
    if (isOneOf(tunnelKinds, link.kind) && (looksPhysical || hasBridgeInterfacePrefix(link.name))) {
        return "tun:" + link.name;
    }
    return link.name;
}

}  // namespace

bool isPhysical(const LinkInfo& link) {
    return link.hasDevice && link.kind.empty();
}

std::string canonicalName(const LinkInfo& link, const LinkInfo* master, bool isAnyPhysicalUp) {
    if (isPhysical(link)) {
        const bool isPortOfPhysical = master != nullptr && isPhysical(*master);
        return isPortOfPhysical || doubles(link) ? "x-" + link.name : asPhysical(link.name);
    }
    if (!isAnyPhysicalUp && standsInForPhysical(link)) {
        const bool isPortOfBond = master != nullptr && master->kind == bond;
        return isPortOfBond ? "x-" + link.name : asPhysical(link.name);
    }
    return doubles(link) ? "x-" + link.name : asItsKind(link);
}

void canonicalise(const std::vector<LinkInfo>& links, std::vector<InterfaceReading>& interfaces) {
    interfaces.clear();
    const bool isAnyPhysicalUp = std::any_of(
        links.begin(), links.end(), [](const LinkInfo& link) { return link.isUp && isPhysical(link); });
    for (const LinkInfo& link : links) {
        const LinkInfo* master = nullptr;
        if (link.master != 0) {
            const auto found = std::find_if(links.begin(), links.end(), [&](const LinkInfo& other) {
                return other.index == link.master;
            });
            if (found != links.end()) master = &*found;
        }
        interfaces.push_back({canonicalName(link, master, isAnyPhysicalUp), link.isUp, link.counters});
    }
}

}  // namespace corvanta
