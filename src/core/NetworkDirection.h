// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// Which speeds the menu bar shows.
enum class NetworkDirection { both, upload, download };

inline constexpr std::array allNetworkDirections = {NetworkDirection::both, NetworkDirection::upload,
                                                    NetworkDirection::download};
constexpr const auto& allCases(NetworkDirection) {
    return allNetworkDirections;
}

constexpr std::string_view rawValue(NetworkDirection value) {
    switch (value) {
        case NetworkDirection::both:
            return "Upload & Download";
        case NetworkDirection::upload:
            return "Upload Only";
        case NetworkDirection::download:
            return "Download Only";
    }
    std::abort();
}

constexpr std::optional<NetworkDirection> networkDirectionFromRaw(std::string_view raw) {
    return caseFromRaw<NetworkDirection>(raw);
}

}  // namespace corvanta
