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
        if (name.substr(0, prefix.size()) == prefix) return true;
    }
    return false;
}

/// One network interface and what has passed through it since it was made.
struct InterfaceReading {
    /// The system's name, but made to tell the kind: a physical interface begins with one of
    /// `physicalInterfacePrefixes`, and one whose traffic also passes a physical interface does not.
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
