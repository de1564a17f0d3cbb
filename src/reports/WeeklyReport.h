// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QUuid>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Instant.h"
#include "core/RawEnum.h"

namespace corvanta {

/// The last seven days and the present disk and battery, judged. Made in one piece, never stored.
struct WeeklyReport {
    /// One area's verdict.
    struct ReportInsight {
        enum class Severity { good, notice, warning, critical };

        QUuid id = QUuid::createUuid();  ///< another one for each insight
        Severity severity = Severity::good;
        std::string title;
        std::string detail;

        bool operator==(const ReportInsight&) const = default;
    };

    static constexpr std::int64_t leastSamples = 30;  ///< inclusive; fewer tell little of a week

    Instant generatedAt;
    Instant periodStart;
    Instant periodEnd;
    std::int64_t sampleCount = 0;  ///< rows of history in the period
    double daysOfData = 0;
    double avgCPU = 0;             ///< percent
    double peakCPU = 0;            ///< percent
    double avgPressure = 0;        ///< percent
    double peakPressure = 0;       ///< percent
    double currentDiskFreeGB = 0;  ///< in gigabytes of 10^9 bytes
    double systemUptimeHours = 0;
    std::optional<std::int64_t> batteryHealth;  ///< percent
    std::optional<std::int64_t> batteryCycles;
    std::int64_t healthScore = 0;  ///< 15 to 100
    std::string headline;
    std::vector<ReportInsight> insights;  ///< CPU, memory, disk, battery

    /// There is a score in any case; whether it means much is for the view to tell.
    bool hasSufficientData() const { return sampleCount >= leastSamples; }

    bool operator==(const WeeklyReport&) const = default;
};

inline constexpr std::array allReportSeverities = {
    WeeklyReport::ReportInsight::Severity::good, WeeklyReport::ReportInsight::Severity::notice,
    WeeklyReport::ReportInsight::Severity::warning, WeeklyReport::ReportInsight::Severity::critical};
constexpr const auto& allCases(WeeklyReport::ReportInsight::Severity) {
    return allReportSeverities;
}

constexpr std::string_view rawValue(WeeklyReport::ReportInsight::Severity severity) {
    switch (severity) {
        case WeeklyReport::ReportInsight::Severity::good:
            return "good";
        case WeeklyReport::ReportInsight::Severity::notice:
            return "notice";
        case WeeklyReport::ReportInsight::Severity::warning:
            return "warning";
        case WeeklyReport::ReportInsight::Severity::critical:
            return "critical";
    }
    std::abort();
}

constexpr std::optional<WeeklyReport::ReportInsight::Severity> reportSeverityFromRaw(std::string_view raw) {
    return caseFromRaw<WeeklyReport::ReportInsight::Severity>(raw);
}

}  // namespace corvanta
