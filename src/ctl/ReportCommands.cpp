// SPDX-License-Identifier: Apache-2.0
#include "ctl/ReportCommands.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/TextForms.h"
#include "ctl/Json.h"
#include "ctl/LiveCommands.h"
#include "ctl/StoreCommands.h"
#include "incidents/model/ThermalRank.h"
#include "reports/StatusSummaryEngine.h"
#include "reports/WeeklyReportEngine.h"
#include "storage/DatabaseManager.h"

namespace corvanta::ctl {
namespace {

using Insight = WeeklyReport::ReportInsight;

// A running program stores a row every 10 seconds.
constexpr std::int64_t presentSeconds = 30;

// CPU and memory come first. Without samples there is nothing to say of them.
constexpr std::size_t insightsOfTheWeek = 2;

/// The pressure level is told only when it changes, and heat by how long it lasts. One sample sees neither,
/// but a program that has been running does: what it has just stored counts if it is worse.
void addStoredState(StatusFigures& figures, const DatabaseManager& store, const Clock& clock) {
    const std::vector<SystemSnapshot> rows = store.fetchHistory(presentSeconds);
    // A clock that has been set back leaves rows ahead of it. They are not the present.
    const std::int64_t now = storedSeconds(clock.now());
    const auto newest = std::find_if(rows.rbegin(), rows.rend(),
                                     [now](const SystemSnapshot& row) { return row.timestamp <= now; });
    if (newest == rows.rend()) return;
    figures.memoryPressureLevel = std::max(figures.memoryPressureLevel, newest->memoryPressureState,
                                           [](auto a, auto b) { return rawValue(a) < rawValue(b); });
    if (newest->thermalState && thermalRank(*newest->thermalState) > thermalRank(figures.thermalState)) {
        figures.thermalState = *newest->thermalState;
    }
}

int runSummary(const Surroundings& at) {
    LiveSample sample(at.ports);
    at.ports.waiter.wait(LiveSample::interval, {});
    sample.refreshMachine();
    StatusFigures figures = sample.statusFigures();
    addStoredState(figures, DatabaseManager(at.store.path, at.ports.clock, StoreAccess::readOnly),
                   at.ports.clock);
    const std::string sentence =
        StatusSummaryEngine::summarize(figures, localMinute(storedSeconds(at.ports.clock.now())));
    return print((at.output.json ? dumped({{"summary", sentence}}) : plainText(sentence)) + "\n") ? 0 : 1;
}

std::string jsonOf(const WeeklyReport& report) {
    Json insights = Json::array();
    for (const Insight& insight : report.insights) {
        insights.push_back(
            {{"severity", rawValue(insight.severity)}, {"title", insight.title}, {"detail", insight.detail}});
    }
    return dumped({{"generated_at", secondsSince1970(report.generatedAt)},
                   {"period_start", secondsSince1970(report.periodStart)},
                   {"period_end", secondsSince1970(report.periodEnd)},
                   {"sample_count", report.sampleCount},
                   {"has_sufficient_data", report.hasSufficientData()},
                   {"days_of_data", report.daysOfData},
                   {"average_cpu", report.avgCPU},
                   {"peak_cpu", report.peakCPU},
                   {"average_pressure", report.avgPressure},
                   {"peak_pressure", report.peakPressure},
                   {"disk_free_gb", report.currentDiskFreeGB},
                   {"system_uptime_hours", report.systemUptimeHours},
                   {"battery_health", orNull(report.batteryHealth)},
                   {"battery_cycles", orNull(report.batteryCycles)},
                   {"health_score", report.healthScore},
                   {"headline", report.headline},
                   {"insights", std::move(insights)}}) +
           "\n";
}

ColorRole colorOf(Insight::Severity severity) {
    switch (severity) {
        case Insight::Severity::good:
            return ColorRole::green;
        case Insight::Severity::notice:
            return ColorRole::primary;
        case Insight::Severity::warning:
            return ColorRole::orange;
        case Insight::Severity::critical:
            return ColorRole::red;
    }
    std::abort();
}

/// How much the report is made of; a dash without samples, and for days that a week can't have: a clock that
/// has been set leaves rows far from the others.
std::string dataCell(const WeeklyReport& report) {
    if (report.sampleCount < 1 || !(report.daysOfData >= 0 && report.daysOfData <= 8)) return "-";
    return integerText(report.sampleCount) + (report.sampleCount == 1 ? " sample of " : " samples of ") +
           fixedText(report.daysOfData, 1) + " days";
}

std::string textOf(const WeeklyReport& report, const OutputOptions& options) {
    std::string text;
    if (!report.hasSufficientData()) text += "There are too few samples yet to judge a week by.\n";
    text += report.headline + "\nHealth score " + integerText(report.healthScore) + " of 100\n";

    const bool isMeasured = report.sampleCount > 0;
    std::vector<std::vector<std::string>> insights;
    for (std::size_t i = isMeasured ? 0 : insightsOfTheWeek; i < report.insights.size(); ++i) {
        const Insight& insight = report.insights[i];
        insights.push_back({colored(rawValue(insight.severity), colorOf(insight.severity), options),
                            insight.title, insight.detail});
    }
    const auto span = [isMeasured](double average, double peak) {
        return isMeasured ? percentCell(average) + " on average, " + percentCell(peak) + " at most" : "-";
    };
    std::vector<std::vector<std::string>> figures = {
        {"Period",
         localTime(storedSeconds(report.periodStart)) + " to " + localTime(storedSeconds(report.periodEnd))},
        {"Data", dataCell(report)},
        {"CPU", span(report.avgCPU, report.peakCPU)},
        {"Memory pressure", span(report.avgPressure, report.peakPressure)},
        {"Disk free", fixedText(report.currentDiskFreeGB, 1) + " GB"},
        {"Uptime", fixedText(report.systemUptimeHours, 1) + " hours"}};
    if (report.batteryHealth) figures.push_back({"Battery health", integerText(*report.batteryHealth) + "%"});
    if (report.batteryCycles) figures.push_back({"Battery cycles", integerText(*report.batteryCycles)});
    return text + "\n" + table(insights) + "\n" + table(figures);
}

int runReport(const Surroundings& at) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const WeeklyReport report = WeeklyReportEngine::makeReport(
        store.weeklyStats(WeeklyReportEngine::period), LiveSample(at.ports).reportPresent(),
        at.ports.clock.now(), at.ports.clock.systemUptime());
    return print(at.output.json ? jsonOf(report) : textOf(report, at.output)) ? 0 : 1;
}

}  // namespace

void addSummary(CommandList& commands) {
    commands.add("summary", "Tell this machine's state in one sentence", runSummary);
}

void addReport(CommandList& commands) {
    commands.add("report", "Judge the last seven days, and the disk and battery now", runReport);
}

}  // namespace corvanta::ctl
