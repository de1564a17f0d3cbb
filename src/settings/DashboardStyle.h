// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The popover's layout, which fixes its size. The raw value is persisted and shown.
enum class DashboardStyle { minimal, compact, detailed };

inline constexpr std::array allDashboardStyles = {DashboardStyle::minimal, DashboardStyle::compact,
                                                  DashboardStyle::detailed};
constexpr const auto& allCases(DashboardStyle) {
    return allDashboardStyles;
}

constexpr std::string_view rawValue(DashboardStyle value) {
    switch (value) {
        case DashboardStyle::minimal:
            return "Minimal";
        case DashboardStyle::compact:
            return "Compact";
        case DashboardStyle::detailed:
            return "Detailed";
    }
    std::abort();
}

constexpr std::optional<DashboardStyle> dashboardStyleFromRaw(std::string_view raw) {
    return caseFromRaw<DashboardStyle>(raw);
}

/// The size of the popover in points.
constexpr int popoverWidth(DashboardStyle value) {
    switch (value) {
        case DashboardStyle::minimal:
            return 370;
        case DashboardStyle::compact:
            return 390;
        case DashboardStyle::detailed:
            return 404;
    }
    std::abort();
}

constexpr int popoverHeight(DashboardStyle value) {
    switch (value) {
        case DashboardStyle::minimal:
            return 246;
        case DashboardStyle::compact:
            return 476;
        case DashboardStyle::detailed:
            return 806;
    }
    std::abort();
}

}  // namespace corvanta
