// SPDX-License-Identifier: Apache-2.0
#include "reports/WeeklyReportEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>

#include "core/NumberText.h"
#include "core/PlausiblePercentage.h"
#include "monitoring/SystemMonitor.h"
#include "reports/Gigabyte.h"

namespace corvanta {
namespace {

using Insight = WeeklyReport::ReportInsight;
using Severity = Insight::Severity;

constexpr std::string_view lastReportKey = "lastWeeklyReportAt";
constexpr double day = 86400;  // seconds
constexpr double hour = 3600;  // seconds

/// One area's insight, and what it takes off the score.
struct Verdict {
    Severity severity;
    std::int64_t deduction;
    std::string title;
    std::string detail;
};

double orZero(double figure) {
    return std::isfinite(figure) ? figure : 0;
}

double percentageOrZero(double figure) {
    return isPlausiblePercentage(figure) ? figure : 0;
}

std::string rounded(double figure) {
    return fixedText(figure, 0);
}

Verdict cpuVerdict(const WeeklyReport& report) {
    const std::string average = rounded(report.avgCPU);
    const std::string peak = rounded(report.peakCPU);
    if (report.avgCPU > 60) {
        return {Severity::warning, 25, "Sustained high CPU",
                "CPU averaged " + average + "% this week and peaked at " + peak +
                    "%. Something has been keeping your Mac busy — check the top processes."};
    }
    if (report.avgCPU > 35) {
        return {Severity::notice, 10, "Moderate CPU load",
                "CPU averaged " + average + "%, with peaks to " + peak + "%. Normal for heavier workloads."};
    }
    return {Severity::good, 0, "CPU stayed healthy",
            "CPU load was low all week, averaging " + average + "%."};
}

Verdict memoryVerdict(const WeeklyReport& report) {
    const std::string average = rounded(report.avgPressure);
    if (report.peakPressure > 90 || report.avgPressure > 60) {
        return {Severity::warning, 25, "Memory under pressure",
                "Memory pressure averaged " + average + "% and peaked at " + rounded(report.peakPressure) +
                    "%. You may benefit from closing heavy apps sooner — or more RAM headroom."};
    }
    if (report.avgPressure > 40) {
        return {Severity::notice, 10, "Memory moderately used",
                "Memory pressure averaged " + average + "% this week."};
    }
    return {Severity::good, 0, "Memory stayed comfortable",
            "Memory pressure remained low, averaging " + average + "%."};
}

Verdict diskVerdict(const WeeklyReport& report) {
    const std::string free = rounded(report.currentDiskFreeGB);
    if (report.currentDiskFreeGB < 15) {
        return {Severity::critical, 20, "Disk almost full",
                "Only " + free + " GB free. macOS needs free space to run well — clear some room soon."};
    }
    if (report.currentDiskFreeGB < 40) {
        return {Severity::notice, 8, "Disk getting tight", free + " GB free. Keep an eye on your storage."};
    }
    return {Severity::good, 0, "Plenty of disk space", free + " GB free on your startup disk."};
}

Verdict batteryVerdict(std::int64_t health, const std::optional<std::int64_t>& cycles) {
    const std::string note = cycles ? " (" + integerText(*cycles) + " cycles)" : "";
    const std::string detail = "Battery health is at " + integerText(health) + "%" + note + ".";
    if (health >= 90) return {Severity::good, 0, "Battery is healthy", detail};
    if (health >= 80) return {Severity::notice, 5, "Battery aging normally", detail};
    return {Severity::warning, 15, "Battery is wearing down",
            detail + " Below 80% Apple recommends a service check."};
}

void take(WeeklyReport& report, Verdict verdict) {
    report.healthScore -= verdict.deduction;
    report.insights.push_back({.severity = verdict.severity,
                               .title = std::move(verdict.title),
                               .detail = std::move(verdict.detail)});
}

void judge(WeeklyReport& report) {
    report.healthScore = 100;
    take(report, cpuVerdict(report));
    take(report, memoryVerdict(report));
    take(report, diskVerdict(report));
    if (report.batteryHealth) take(report, batteryVerdict(*report.batteryHealth, report.batteryCycles));
    report.headline = WeeklyReportEngine::headlineFor(report.healthScore);
}

WeeklyReportPresent presentOf(const SystemMonitor& monitor) {
    return {monitor.diskFree(), monitor.batteryHealth(), monitor.batteryCycleCount()};
}

}  // namespace

WeeklyReport WeeklyReportEngine::generate(const DatabaseManager& database, const Clock& clock,
                                          const SystemMonitor* monitor) {
    const Instant now = clock.now();
    return makeReport(database.weeklyStats(period),
                      monitor != nullptr ? std::optional(presentOf(*monitor)) : std::nullopt, now,
                      clock.systemUptime());
}

bool WeeklyReportEngine::isReportDue(const AppSettings& settings, const DefaultsStore& defaults,
                                     const DatabaseManager& database, const Clock& clock) {
    if (!settings.weeklyReportEnabled()) return false;
    const Instant now = clock.now();
    const auto last = lastReportDate(defaults);
    if (last && now - *last < std::chrono::seconds(period)) return false;
    const auto stats = database.weeklyStats(period);
    return stats && stats->sampleCount >= WeeklyReport::leastSamples &&
           now - stats->earliest >= std::chrono::duration<double>(day);
}

std::optional<Instant> WeeklyReportEngine::lastReportDate(const DefaultsStore& defaults) {
    const auto seconds = defaults.doubleValue(lastReportKey);
    if (!seconds || !std::isfinite(*seconds) || *seconds <= 0) return std::nullopt;
    return instantFromSeconds(*seconds);
}

void WeeklyReportEngine::markReported(DefaultsStore& defaults, const Clock& clock) {
    defaults.set(lastReportKey, secondsSince1970(clock.now()));
}

WeeklyReport WeeklyReportEngine::makeReport(const std::optional<WeeklyStats>& stats,
                                            const std::optional<WeeklyReportPresent>& present,
                                            Instant generatedAt, double systemUptime) {
    WeeklyReport report;
    report.generatedAt = generatedAt;
    report.periodStart = stats ? stats->earliest : generatedAt - std::chrono::seconds(period);
    report.periodEnd = stats ? stats->latest : generatedAt;
    report.daysOfData =
        std::max(0.0, secondsSince1970(report.periodEnd) - secondsSince1970(report.periodStart)) / day;
    report.systemUptimeHours = orZero(systemUptime) / hour;
    if (stats) {
        report.sampleCount = stats->sampleCount;
        report.avgCPU = percentageOrZero(stats->avgCPU);
        report.peakCPU = percentageOrZero(stats->peakCPU);
        report.avgPressure = percentageOrZero(stats->avgPressure);
        report.peakPressure = percentageOrZero(stats->peakPressure);
        report.currentDiskFreeGB = orZero(stats->minDiskFree) / diskGigabyte;
    }
    if (present) {
        report.currentDiskFreeGB = orZero(present->diskFree) / diskGigabyte;
        report.batteryHealth = present->batteryHealth;
        report.batteryCycles = present->batteryCycleCount;
    }
    judge(report);
    return report;
}

std::string_view WeeklyReportEngine::headlineFor(std::int64_t score) {
    if (score >= 85) return "Your Mac had a great week.";
    if (score >= 65) return "Your Mac ran well, with a few things to watch.";
    if (score >= 40) return "A busy week — a few areas need attention.";
    return "Your Mac struggled this week. Let's fix a few things.";
}

}  // namespace corvanta
