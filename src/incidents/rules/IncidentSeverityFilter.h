// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"
#include "incidents/model/PerformanceIncident.h"

namespace corvanta {

/// Which severities the incident history shows.
enum class IncidentSeverityFilter { all, elevated, critical };

inline constexpr std::array allIncidentSeverityFilters = {
    IncidentSeverityFilter::all, IncidentSeverityFilter::elevated, IncidentSeverityFilter::critical};
constexpr const auto& allCases(IncidentSeverityFilter) {
    return allIncidentSeverityFilters;
}

constexpr std::string_view rawValue(IncidentSeverityFilter filter) {
    switch (filter) {
        case IncidentSeverityFilter::all:
            return "all";
        case IncidentSeverityFilter::elevated:
            return "elevated";
        case IncidentSeverityFilter::critical:
            return "critical";
    }
    std::abort();
}

constexpr std::optional<IncidentSeverityFilter> incidentSeverityFilterFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentSeverityFilter>(raw);
}

constexpr std::string_view label(IncidentSeverityFilter filter) {
    switch (filter) {
        case IncidentSeverityFilter::all:
            return "All severities";
        case IncidentSeverityFilter::elevated:
            return "Elevated";
        case IncidentSeverityFilter::critical:
            return "Critical";
    }
    std::abort();
}

constexpr bool includes(IncidentSeverityFilter filter, const PerformanceIncident& incident) {
    switch (filter) {
        case IncidentSeverityFilter::all:
            return true;
        case IncidentSeverityFilter::elevated:
            return incident.severity == IncidentSeverity::warning;
        case IncidentSeverityFilter::critical:
            return incident.severity == IncidentSeverity::critical;
    }
    std::abort();
}

}  // namespace corvanta
