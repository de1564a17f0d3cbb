// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/NetworkMonitor.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

namespace corvanta {
namespace {

bool isTunnel(std::string_view name) {
    constexpr std::array<std::string_view, 15> prefixes = {"utun",   "ipsec",     "tun",      "tap",    "wg",
                                                           "ppp",    "xfrm",      "vti",      "gre",    "sit",
                                                           "ip6tnl", "tailscale", "nordlynx", "proton", "zt"};
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view prefix) { return name.starts_with(prefix); });
}

double rate(std::uint64_t now, std::uint64_t before, double elapsed) {
    return now >= before ? static_cast<double>(now - before) / elapsed : 0.0;
}

}  // namespace

NetworkMonitor::NetworkMonitor(NetCounterSource& source, const Clock& clock)
    : source_(source), clock_(clock) {}

std::set<std::string> NetworkMonitor::preferredInterfaceNames(const std::set<std::string>& names) {
    for (const auto isOfTier : {hasPhysicalInterfacePrefix, hasBridgeInterfacePrefix, isTunnel}) {
        std::set<std::string> tier;
        std::copy_if(names.begin(), names.end(), std::inserter(tier, tier.end()), isOfTier);
        if (!tier.empty()) return tier;
    }
    return {};
}

NetworkSpeed NetworkMonitor::getNetworkSpeed() {
    LockGuard guard(sampleLock_);
    if (!source_.readInterfaces(interfaces_) || interfaces_.empty()) return {};

    std::map<std::string, InterfaceCounter> counters;
    std::set<std::string> names;
    for (const InterfaceReading& interface : interfaces_) {
        if (!interface.isUp || !interface.counters) continue;
        counters.insert_or_assign(interface.name, *interface.counters);
        names.insert(interface.name);
    }

    NetworkSpeed speed;
    const Instant now = clock_.now();
    const double elapsed = lastTime_ ? (now - *lastTime_).count() : 0.0;
    if (elapsed > 0) {
        for (const std::string& name : preferredInterfaceNames(names)) {
            const auto before = lastCounters_.find(name);
            if (before == lastCounters_.end()) continue;
            const InterfaceCounter& counter = counters.at(name);
            speed.upload += rate(counter.bytesOut, before->second.bytesOut, elapsed);
            speed.download += rate(counter.bytesIn, before->second.bytesIn, elapsed);
        }
    }
    // All of them, so that one which comes into preference later already has a baseline.
    lastCounters_ = std::move(counters);
    lastTime_ = now;
    return speed;
}

}  // namespace corvanta
