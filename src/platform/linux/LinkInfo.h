// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/NetCounterSource.h"

namespace corvanta {

/// One network interface in the kernel's terms.
struct LinkInfo {
    std::int32_t index = 0;
    std::int32_t master = 0;  ///< index of the interface that this one is a port of; 0 for none
    std::string name;
    std::string kind;        ///< as in "veth" or "bridge"; empty for what drivers of hardware make
    bool hasDevice = false;  ///< there is a piece of hardware behind it
    bool isUp = false;
    std::optional<InterfaceCounter> counters = std::nullopt;

    bool operator==(const LinkInfo&) const = default;
};

/// Hardware with a driver, as against bridges, tunnels and the like.
bool isPhysical(const LinkInfo& link);

/// The name that tells the kind. A physical interface whose own name tells nothing gets "en:" in front. A
/// virtual one that only passes on what physical ones carry, and a port of a physical interface, gets "x-",
/// which no family of names begins with. A bridge that looks physical by its name gets "bridge:", and a
/// tunnel that looks physical or like a bridge gets "tun:". Where nothing physical is up, as in a container,
/// "en" and "eth" veths and bonds are what carries the traffic, and count as physical; a bond then counts for
/// its ports. `master` is the interface that `link` is a port of, null for none.
std::string canonicalName(const LinkInfo& link, const LinkInfo* master, bool isAnyPhysicalUp);

/// Replaces `interfaces` by the links under their canonical names, in the same order.
void canonicalise(const std::vector<LinkInfo>& links, std::vector<InterfaceReading>& interfaces);

}  // namespace corvanta
