// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/Clock.h"
#include "core/Instant.h"
#include "platform/DefaultsStore.h"
#include "reports/WeeklyReport.h"
#include "settings/AppSettings.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

class SystemMonitor;

/// What a report tells of the machine as it is now.
struct WeeklyReportPresent {
    double diskFree = 0;                                       ///< bytes
    std::optional<std::int64_t> batteryHealth = std::nullopt;  ///< percent
    std::optional<std::int64_t> batteryCycleCount = std::nullopt;

    bool operator==(const WeeklyReportPresent&) const = default;
};

/// Condenses a week of history into a report, and tells when the next one is due.
///
/// No state but one stored moment: when a report was last announced. Main thread only, but for the pure
/// functions. Nothing fails: without history a report has zero figures, and none is due.
namespace WeeklyReportEngine {

inline constexpr std::int64_t period = 604800;  ///< seconds

/// `monitor` may be null: then the disk is judged by the least free space of the period, the battery not at
/// all.
WeeklyReport generate(const DatabaseManager& database, const Clock& clock, const SystemMonitor* monitor);

/// At most once in `period`, and not before there is a day of history with 30 samples.
bool isReportDue(const AppSettings& settings, const DefaultsStore& defaults, const DatabaseManager& database,
                 const Clock& clock);

/// When a report was last announced. A stored value that is no moment after 1970 counts as never.
std::optional<Instant> lastReportDate(const DefaultsStore& defaults);

void markReported(DefaultsStore& defaults, const Clock& clock);

// Pure functions.

/// The report on these figures. One that is infinite or no number counts as 0, and so does a percentage that
/// no machine gives.
WeeklyReport makeReport(const std::optional<WeeklyStats>& stats,
                        const std::optional<WeeklyReportPresent>& present, Instant generatedAt,
                        double systemUptime);

std::string_view headlineFor(std::int64_t score);

}  // namespace WeeklyReportEngine

}  // namespace corvanta
