// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The form of a sparkline. The raw value is persisted and shown.
enum class GraphType { bars, line };

inline constexpr std::array allGraphTypes = {GraphType::bars, GraphType::line};
constexpr const auto& allCases(GraphType) {
    return allGraphTypes;
}

constexpr std::string_view rawValue(GraphType value) {
    switch (value) {
        case GraphType::bars:
            return "Bars";
        case GraphType::line:
            return "Line";
    }
    std::abort();
}

constexpr std::optional<GraphType> graphTypeFromRaw(std::string_view raw) {
    return caseFromRaw<GraphType>(raw);
}

}  // namespace corvanta
