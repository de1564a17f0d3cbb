// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/ColorRole.h"
#include "core/RawEnum.h"

namespace corvanta {

/// How short of memory the machine is. The raw values are persisted, and rise with severity; 3 is none.
///
/// `unavailable` means that nothing is known yet, not that all is well. Two levels are ranked by their raw
/// values; the enumeration has no order of its own.
enum class MemoryPressureLevel : std::int32_t { unavailable = 0, normal = 1, warning = 2, critical = 4 };

inline constexpr std::array allMemoryPressureLevels = {
    MemoryPressureLevel::unavailable, MemoryPressureLevel::normal, MemoryPressureLevel::warning,
    MemoryPressureLevel::critical};
constexpr const auto& allCases(MemoryPressureLevel) {
    return allMemoryPressureLevels;
}

constexpr std::int32_t rawValue(MemoryPressureLevel level) {
    return static_cast<std::int32_t>(level);
}
constexpr std::optional<MemoryPressureLevel> memoryPressureLevelFromRaw(std::int64_t raw) {
    return caseFromRaw<MemoryPressureLevel>(raw);
}

constexpr std::string_view label(MemoryPressureLevel level) {
    switch (level) {
        case MemoryPressureLevel::unavailable:
            return "Unavailable";
        case MemoryPressureLevel::normal:
            return "Normal";
        case MemoryPressureLevel::warning:
            return "Warning";
        case MemoryPressureLevel::critical:
            return "Critical";
    }
    std::abort();
}

/// The name of the level's symbol in the icon table.
constexpr std::string_view sfSymbol(MemoryPressureLevel level) {
    switch (level) {
        case MemoryPressureLevel::unavailable:
            return "questionmark.circle";
        case MemoryPressureLevel::normal:
            return "memorychip";
        case MemoryPressureLevel::warning:
            return "memorychip.fill";
        case MemoryPressureLevel::critical:
            return "exclamationmark.triangle.fill";
    }
    std::abort();
}

constexpr ColorRole color(MemoryPressureLevel level) {
    switch (level) {
        case MemoryPressureLevel::unavailable:
            return ColorRole::secondary;
        case MemoryPressureLevel::normal:
            return ColorRole::green;
        case MemoryPressureLevel::warning:
            return ColorRole::orange;
        case MemoryPressureLevel::critical:
            return ColorRole::red;
    }
    std::abort();
}

constexpr bool isElevated(MemoryPressureLevel level) {
    return level == MemoryPressureLevel::warning || level == MemoryPressureLevel::critical;
}

/// The level of an estimate in percent: 80 or more is critical, 50 or more warning, otherwise normal. It
/// never yields `unavailable`.
constexpr MemoryPressureLevel memoryPressureLevelFromEstimate(double percentage) {
    if (percentage >= 80.0) return MemoryPressureLevel::critical;
    if (percentage >= 50.0) return MemoryPressureLevel::warning;
    return MemoryPressureLevel::normal;
}

}  // namespace corvanta
