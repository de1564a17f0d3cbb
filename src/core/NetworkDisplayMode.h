// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// One line, or upload stacked over download.
enum class NetworkDisplayMode { inline_, compact };

inline constexpr std::array allNetworkDisplayModes = {NetworkDisplayMode::inline_,
                                                      NetworkDisplayMode::compact};
constexpr const auto& allCases(NetworkDisplayMode) {
    return allNetworkDisplayModes;
}

constexpr std::string_view rawValue(NetworkDisplayMode value) {
    switch (value) {
        case NetworkDisplayMode::inline_:
            return "Inline";
        case NetworkDisplayMode::compact:
            return "Compact";
    }
    std::abort();
}

constexpr std::optional<NetworkDisplayMode> networkDisplayModeFromRaw(std::string_view raw) {
    return caseFromRaw<NetworkDisplayMode>(raw);
}

}  // namespace corvanta
