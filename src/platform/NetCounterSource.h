// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/MetricTypes.h"

namespace corvanta {

/// What the names of physical interfaces begin with: those of systemd and of the kernel for wired, wireless,
/// mobile, InfiniBand and USB links, and the names that other systems use.
inline constexpr std::array<std::string_view, 7> physicalInterfacePrefixes = {"en", "eth", "wl",    "ww",
                                                                              "ib", "usb", "pdp_ip"};

constexpr bool hasPhysicalInterfacePrefix(std::string_view name) {
    for (const std::string_view prefix : physicalInterfacePrefixes) {
        if (name.starts_with(prefix)) return true;
    }
    return false;
}

/// What the names of bridges begin with; "br" counts before a digit or a hyphen only.
inline constexpr std::array<std::string_view, 8> bridgeInterfacePrefixes = {
    "bridge", "virbr", "docker", "lxcbr", "lxdbr", "incusbr", "podman", "cni"};

constexpr bool hasBridgeInterfacePrefix(std::string_view name) {
    for (const std::string_view prefix : bridgeInterfacePrefixes) {
        if (name.starts_with(prefix)) return true;
    }
    // "br0" and "br-1a2b3c", but not every name that happens to begin so.
    return name.size() > 2 && name.starts_with("br") &&
           (name[2] == '-' || (name[2] >= '0' && name[2] <= '9'));
}

/// One network interface and what has passed through it since it was made.
struct InterfaceReading {
    /// The system's name, but made to tell the kind: a physical interface begins with one of
    /// `physicalInterfacePrefixes`, and one whose traffic also passes a physical interface does not. A tunnel
    /// does not look like a bridge either.
    std::string name;
    bool isUp = false;                                        ///< switched on, with or without a carrier
    std::optional<InterfaceCounter> counters = std::nullopt;  ///< absent when the system gives none

    bool operator==(const InterfaceReading&) const = default;
};

/// The system's network interfaces.
///
/// Owned by the platform for the program's life. One caller at a time.
class NetCounterSource {
  public:
    virtual ~NetCounterSource() = default;

    /// Replaces `interfaces` by one entry per interface, in the system's order. False when they could not be
    /// read; `interfaces` is then empty.
    virtual bool readInterfaces(std::vector<InterfaceReading>& interfaces) = 0;
};

}  // namespace corvanta
