// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinkInfo.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace corvanta {
namespace {

constexpr std::string_view veth = "veth";
constexpr std::string_view bond = "bond";

// What passes through these passes through another interface as well.
constexpr std::array<std::string_view, 11> doublingKinds = {
    "vlan", "macvlan", "macvtap", "ipvlan", veth, bond, "team", "dummy", "ifb", "vrf", "vxlan"};

bool beginsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isPeerToPeerWireless(std::string_view name) {
    return beginsWith(name, "p2p-");
}

bool doubles(const LinkInfo& link) {
    // Stacked interfaces of drivers that give no kind have a dot, too: "wlan0.sta1".
    return link.name.find('.') != std::string::npos || isPeerToPeerWireless(link.name) ||
           std::find(doublingKinds.begin(), doublingKinds.end(), link.kind) != doublingKinds.end();
}

bool standsInForPhysical(const LinkInfo& link) {
    return link.kind == bond ||
           (link.kind == veth && (beginsWith(link.name, "en") || beginsWith(link.name, "eth")));
}

std::string asPhysical(const std::string& name) {
    return hasPhysicalInterfacePrefix(name) ? name : "en:" + name;
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
    return doubles(link) ? "x-" + link.name : link.name;
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
