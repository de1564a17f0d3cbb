// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/Instant.h"
#include "core/RawEnum.h"

namespace corvanta {

/// How far back the incident history is shown.
enum class IncidentTimeRangeFilter { day, week, month, all };

inline constexpr std::array allIncidentTimeRangeFilters = {
    IncidentTimeRangeFilter::day, IncidentTimeRangeFilter::week, IncidentTimeRangeFilter::month,
    IncidentTimeRangeFilter::all};
constexpr const auto& allCases(IncidentTimeRangeFilter) {
    return allIncidentTimeRangeFilters;
}

constexpr std::string_view rawValue(IncidentTimeRangeFilter filter) {
    switch (filter) {
        case IncidentTimeRangeFilter::day:
            return "day";
        case IncidentTimeRangeFilter::week:
            return "week";
        case IncidentTimeRangeFilter::month:
            return "month";
        case IncidentTimeRangeFilter::all:
            return "all";
    }
    std::abort();
}

constexpr std::optional<IncidentTimeRangeFilter> incidentTimeRangeFilterFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentTimeRangeFilter>(raw);
}

constexpr std::string_view label(IncidentTimeRangeFilter filter) {
    switch (filter) {
        case IncidentTimeRangeFilter::day:
            return "24 hours";
        case IncidentTimeRangeFilter::week:
            return "7 days";
        case IncidentTimeRangeFilter::month:
            return "30 days";
        case IncidentTimeRangeFilter::all:
            return "All time";
    }
    std::abort();
}

/// Seconds; absent without a bound.
constexpr std::optional<double> lookBack(IncidentTimeRangeFilter filter) {
    switch (filter) {
        case IncidentTimeRangeFilter::day:
            return 86400;
        case IncidentTimeRangeFilter::week:
            return 604800;
        case IncidentTimeRangeFilter::month:
            return 2592000;
        case IncidentTimeRangeFilter::all:
            return std::nullopt;
    }
    std::abort();
}

/// An instant that is exactly the look-back ago is still included, and so is every one after `now`.
constexpr bool includes(IncidentTimeRangeFilter filter, Instant instant, Instant now) {
    const auto seconds = lookBack(filter);
    return !seconds || instant >= now - std::chrono::duration<double>(*seconds);
}

}  // namespace corvanta
