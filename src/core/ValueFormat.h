// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// How a metric is shown in the menu bar.
enum class ValueFormat { percentage, size };

inline constexpr std::array allValueFormats = {ValueFormat::percentage, ValueFormat::size};
constexpr const auto& allCases(ValueFormat) {
    return allValueFormats;
}

constexpr std::string_view rawValue(ValueFormat value) {
    switch (value) {
        case ValueFormat::percentage:
            return "Percentage (%)";
        case ValueFormat::size:
            return "Size (GB)";
    }
    std::abort();
}

constexpr std::optional<ValueFormat> valueFormatFromRaw(std::string_view raw) {
    return caseFromRaw<ValueFormat>(raw);
}

}  // namespace corvanta
