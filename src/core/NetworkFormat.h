// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The unit of a speed. Bytes and bits are cases that differ only by the letter case of their names.
enum class NetworkFormat { auto_, GBps, MBps, KBps, gbps, mbps, kbps };

inline constexpr std::array allNetworkFormats = {
    NetworkFormat::auto_, NetworkFormat::GBps, NetworkFormat::MBps, NetworkFormat::KBps,
    NetworkFormat::gbps,  NetworkFormat::mbps, NetworkFormat::kbps};
constexpr const auto& allCases(NetworkFormat) {
    return allNetworkFormats;
}

constexpr std::string_view rawValue(NetworkFormat value) {
    switch (value) {
        case NetworkFormat::auto_:
            return "Auto (Dynamic)";
        case NetworkFormat::GBps:
            return "GB/s";
        case NetworkFormat::MBps:
            return "MB/s";
        case NetworkFormat::KBps:
            return "KB/s";
        case NetworkFormat::gbps:
            return "Gbps (Gigabits)";
        case NetworkFormat::mbps:
            return "Mbps (Megabits)";
        case NetworkFormat::kbps:
            return "kbps (Kilobits)";
    }
    std::abort();
}

constexpr std::optional<NetworkFormat> networkFormatFromRaw(std::string_view raw) {
    return caseFromRaw<NetworkFormat>(raw);
}

}  // namespace corvanta
