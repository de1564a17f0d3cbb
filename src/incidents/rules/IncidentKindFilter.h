// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"
#include "incidents/model/PerformanceIncident.h"

namespace corvanta {

/// Which kinds of incident the history shows.
enum class IncidentKindFilter { all, cpu, memory, thermal, combined };

inline constexpr std::array allIncidentKindFilters = {IncidentKindFilter::all, IncidentKindFilter::cpu,
                                                      IncidentKindFilter::memory, IncidentKindFilter::thermal,
                                                      IncidentKindFilter::combined};
constexpr const auto& allCases(IncidentKindFilter) {
    return allIncidentKindFilters;
}

/// The one kind that passes; absent when all do.
constexpr std::optional<IncidentKind> onlyKind(IncidentKindFilter filter) {
    switch (filter) {
        case IncidentKindFilter::all:
            return std::nullopt;
        case IncidentKindFilter::cpu:
            return IncidentKind::cpu;
        case IncidentKindFilter::memory:
            return IncidentKind::memory;
        case IncidentKindFilter::thermal:
            return IncidentKind::thermal;
        case IncidentKindFilter::combined:
            return IncidentKind::combined;
    }
    std::abort();
}

constexpr std::string_view rawValue(IncidentKindFilter filter) {
    const auto kind = onlyKind(filter);
    return kind ? rawValue(*kind) : "all";
}

constexpr std::optional<IncidentKindFilter> incidentKindFilterFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentKindFilter>(raw);
}

constexpr std::string_view label(IncidentKindFilter filter) {
    const auto kind = onlyKind(filter);
    return kind ? label(*kind) : "All categories";
}

constexpr bool includes(IncidentKindFilter filter, const PerformanceIncident& incident) {
    const auto kind = onlyKind(filter);
    return !kind || incident.kind == *kind;
}

}  // namespace corvanta
