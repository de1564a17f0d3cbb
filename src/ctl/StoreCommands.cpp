// SPDX-License-Identifier: Apache-2.0
#include "ctl/StoreCommands.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "core/ByteCount.h"
#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/TextForms.h"
#include "core/TimeRange.h"
#include "ctl/Json.h"

namespace corvanta::ctl {
namespace {

constexpr std::int64_t trendWindow = 900;  // seconds

std::optional<std::string> problemOf(const DatabaseManager& store, const StoreChoice& choice,
                                     const std::string& unavailable) {
    if (choice.path.empty()) return "There is no home folder to look for the store in.";
    std::error_code ignored;
    switch (store.state()) {
        case StoreState::ready:
            return std::nullopt;
        case StoreState::unavailable:
            if (std::filesystem::exists(choice.path, ignored))
                return "The store at " + choice.path + unavailable;
            return "There is no store at " + choice.path +
                   (choice.isOwn ? "; corvanta makes it when it first runs." : ".");
        case StoreState::notADatabase:
            return "The file at " + choice.path + " is not a database.";
        case StoreState::olderSchema:
            return "The store at " + choice.path + " lacks what this version reads" +
                   (choice.isOwn ? "; start corvanta once to bring it up to date." : ".");
    }
    std::abort();
}

Json jsonOf(const SystemSnapshot& row) {
    return {{"timestamp", row.timestamp},
            {"cpu_usage", row.cpuUsage},
            {"ram_usage", row.ramUsage},
            {"disk_free", row.diskFree},
            {"upload_speed", row.uploadSpeed},
            {"download_speed", row.downloadSpeed},
            {"memory_pressure", row.memoryPressure},
            {"memory_pressure_state", label(row.memoryPressureState)},
            {"thermal_state", orNull(row.thermalState)},
            {"top_cpu_process", orNull(row.topCPUProcess)},
            {"top_cpu_usage", row.topCPUUsage}};
}

// Written row by row: a month has a quarter of a million of them.
bool printHistoryJson(const std::vector<SystemSnapshot>& rows) {
    bool isWritten = print("[");
    for (std::size_t i = 0; isWritten && i < rows.size(); ++i) {
        isWritten = print((i == 0 ? "\n" : ",\n") + dumped(jsonOf(rows[i])));
    }
    return isWritten && print("\n]\n");
}

std::vector<std::string> textOf(const SystemSnapshot& row) {
    std::string process =
        row.topCPUProcess ? plainText(*row.topCPUProcess) + " " + percentCell(row.topCPUUsage) : "-";
    return {localTime(row.timestamp),
            percentCell(row.cpuUsage),
            percentCell(row.memoryPressure),
            std::string(label(row.memoryPressureState)),
            row.diskFree > 0 && std::isfinite(row.diskFree) ? formatDiskBytes(row.diskFree) : "-",
            speedString(row.uploadSpeed),
            speedString(row.downloadSpeed),
            plainText(row.thermalState.value_or("-")),
            std::move(process)};
}

TimeRange timeRangeOf(const std::string& word) {
    for (const TimeRange range : allTimeRanges) {
        if (label(range) == word) return range;
    }
    return TimeRange::hours24;
}

int runHistory(const Surroundings& at, TimeRange range) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const std::vector<SystemSnapshot> rows = store.fetchHistory(rawValue(range));
    if (at.output.json) return printHistoryJson(rows) ? 0 : 1;
    if (rows.empty()) return print("No samples in this period.\n") ? 0 : 1;

    std::vector<std::vector<std::string>> lines = {
        {"Time", "CPU", "Pressure", "Level", "Disk free", "Up", "Down", "Thermal", "Busiest process"}};
    for (const SystemSnapshot& row : rows) lines.push_back(textOf(row));
    return print(table(lines)) ? 0 : 1;
}

int runTrends(const Surroundings& at) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const auto trends = store.detectTrends(trendWindow);
    if (at.output.json) {
        Json list = Json::array();
        for (const auto& trend : trends) {
            list.push_back({{"metric", trend.metric},
                            {"short_term_average", trend.shortTermAvg},
                            {"long_term_average", trend.longTermAvg},
                            {"trend", rawValue(trend.trend)},
                            {"severity", rawValue(trend.severity)},
                            {"summary", summary(trend)}});
        }
        return print(dumped(list) + "\n") ? 0 : 1;
    }
    if (trends.empty()) {
        const bool isMeasured = !store.fetchHistory(trendWindow).empty();
        return print(isMeasured ? "No trends: the last 15 minutes are like the last hour.\n"
                                : "No samples in the last 15 minutes.\n")
                   ? 0
                   : 1;
    }
    std::string text;
    for (const auto& trend : trends) {
        text += summary(trend) + " (" + percentText(trend.shortTermAvg) + " in the last 15 minutes, " +
                percentText(trend.longTermAvg) + " in the last hour)\n";
    }
    return print(text) ? 0 : 1;
}

}  // namespace

bool isReadable(const DatabaseManager& store, const StoreChoice& choice) {
    const auto problem = problemOf(store, choice, " can't be opened.");
    if (problem) complain(*problem);
    return !problem;
}

bool isWritable(const DatabaseManager& store, const StoreChoice& choice) {
    const auto problem = problemOf(store, choice, " can't be opened for writing.");
    if (problem) complain(*problem);
    return !problem;
}

void complainOfMissing(std::int64_t incident, std::size_t readIncidents) {
    const bool mayBeOlder = readIncidents >= static_cast<std::size_t>(DatabaseManager::mostIncidents);
    complain("There is no incident " + integerText(incident) +
             (mayBeOlder ? " among the newest " + integerText(readIncidents) : "") + ".");
}

void addHistory(CommandList& commands) {
    auto range = std::make_shared<std::string>(label(TimeRange::hours24));
    std::vector<std::string> labels;
    labels.reserve(allTimeRanges.size());
    for (const TimeRange each : allTimeRanges) labels.emplace_back(label(each));
    CLI::App& command =
        commands.add("history", "List the stored samples, oldest first",
                     [range](const Surroundings& at) { return runHistory(at, timeRangeOf(*range)); });
    command.add_option("--last", *range, "How far to look back")
        ->check(CLI::IsMember(labels))
        ->capture_default_str();
}

void addTrends(CommandList& commands) {
    commands.add("trends", "Compare the last 15 minutes with the last hour", runTrends);
}

}  // namespace corvanta::ctl
