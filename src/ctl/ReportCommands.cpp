// SPDX-License-Identifier: Apache-2.0
#include "ctl/ReportCommands.h"

#include <algorithm>
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
constexpr std::int64_t presentRows = 30;  // seconds

/// The pressure level is told only when it changes, and heat by how long it lasts. One sample sees neither,
/// but a program that has been running does: what it has just stored counts if it is worse.
void addStoredState(StatusFigures& figures, const DatabaseManager& store) {
    const std::vector<SystemSnapshot> rows = store.fetchHistory(presentRows);
    if (rows.empty()) return;
    const SystemSnapshot& newest = rows.back();
    figures.memoryPressureLevel = std::max(figures.memoryPressureLevel, newest.memoryPressureState,
                                           [](auto a, auto b) { return rawValue(a) < rawValue(b); });
    if (newest.thermalState && thermalRank(*newest.thermalState) > thermalRank(figures.thermalState)) {
        figures.thermalState = *newest.thermalState;
    }
}

int runSummary(const Surroundings& at) {
    LiveSample sample(at.ports);
    at.ports.waiter.wait(LiveSample::interval, {});
    sample.refreshMachine();
    StatusFigures figures = sample.statusFigures();
    addStoredState(figures, DatabaseManager(at.store.path, at.ports.clock, StoreAccess::readOnly));
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

std::string textOf(const WeeklyReport& report, const OutputOptions& options) {
    std::string text = report.headline + "\nHealth score " + integerText(report.healthScore) + " of 100\n";
    if (!report.hasSufficientData()) text += "There are too few samples yet to judge a week by.\n";

    std::vector<std::vector<std::string>> insights;
    for (const Insight& insight : report.insights) {
        insights.push_back({colored(rawValue(insight.severity), colorOf(insight.severity), options),
                            insight.title, insight.detail});
    }
    const bool isMeasured = report.sampleCount > 0;
    const auto span = [isMeasured](double average, double peak) {
        return isMeasured ? percentCell(average) + " on average, " + percentCell(peak) + " at most" : "-";
    };
    const std::string samples = integerText(report.sampleCount) + " samples";
    std::vector<std::vector<std::string>> figures = {
        {"Period",
         localTime(storedSeconds(report.periodStart)) + " to " + localTime(storedSeconds(report.periodEnd))},
        {"Data", isMeasured ? samples + " of " + fixedText(report.daysOfData, 1) + " days" : "-"},
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
