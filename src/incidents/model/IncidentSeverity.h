// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// How hard an incident is. The raw value is stored, and the store relies on its order, which is also that of
/// `<`.
enum class IncidentSeverity { warning = 1, critical = 2 };

inline constexpr std::array allIncidentSeverities = {IncidentSeverity::warning, IncidentSeverity::critical};
constexpr const auto& allCases(IncidentSeverity) {
    return allIncidentSeverities;
}

constexpr std::int64_t rawValue(IncidentSeverity severity) {
    return static_cast<std::int64_t>(severity);
}

constexpr std::optional<IncidentSeverity> incidentSeverityFromRaw(std::int64_t raw) {
    return caseFromRaw<IncidentSeverity>(raw);
}

constexpr std::string_view label(IncidentSeverity severity) {
    switch (severity) {
        case IncidentSeverity::warning:
            return "Elevated";
        case IncidentSeverity::critical:
            return "Critical";
    }
    std::abort();
}

}  // namespace corvanta
