// SPDX-License-Identifier: Apache-2.0
// The operations of DatabaseManager on the table metrics_history.
#include <algorithm>
#include <array>

#include "core/Log.h"
#include "storage/DatabaseManager.h"
#include "storage/SnapshotRows.h"
#include "storage/Statement.h"

namespace corvanta {
namespace {

using TrendDirection = TrendResult::TrendDirection;
using TrendSeverity = TrendResult::TrendSeverity;

double mean(const std::vector<SystemSnapshot>& rows, double SystemSnapshot::*metric) {
    double sum = 0;
    for (const SystemSnapshot& row : rows) sum += row.*metric;
    return sum / static_cast<double>(rows.size());
}

TrendDirection direction(double shortTermAvg, double longTermAvg) {
    if (!(longTermAvg > 0)) return TrendDirection::steady;
    const double ratio = shortTermAvg / longTermAvg;
    if (ratio > 1.2) return TrendDirection::rising;
    if (ratio < 0.8) return TrendDirection::falling;
    return TrendDirection::steady;
}

struct TrendRule {
    std::string_view metric;
    double SystemSnapshot::*field;
    double elevatedFrom;  // inclusive
    double highFrom;      // inclusive
};

constexpr std::array<TrendRule, 2> trendRules = {{
    {"CPU", &SystemSnapshot::cpuUsage, 50.0, 75.0},
    {"Memory Pressure", &SystemSnapshot::memoryPressure, 60.0, 85.0},
}};

TrendSeverity severity(double shortTermAvg, const TrendRule& rule) {
    if (shortTermAvg >= rule.highFrom) return TrendSeverity::high;
    if (shortTermAvg >= rule.elevatedFrom) return TrendSeverity::elevated;
    return TrendSeverity::normal;
}

/// False only when the step fails.
bool insertRow(const SnapshotValues& values, sqlite3* db) {
    Statement insert(db,
                     "INSERT INTO metrics_history (timestamp, cpu_usage, ram_usage, disk_free, "
                     "upload_speed, download_speed, memory_pressure, memory_pressure_state, "
                     "thermal_state, battery_percentage, is_charging, top_cpu_process, top_cpu_usage, "
                     "top_ram_process, top_ram_bytes) "
                     "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);");
    if (!insert) return true;
    insert.bindAll(storedSeconds(values.timestamp), ifFinite(values.cpu), ifFinite(values.ram),
                   ifFinite(values.diskFree), ifFinite(values.upload), ifFinite(values.download),
                   ifFinite(values.pressure), std::int64_t{rawValue(values.pressureState)},
                   nonEmpty(values.thermalState), values.batteryPercentage, values.isCharging,
                   nonEmpty(values.topCPUProcess), ifFinite(values.topCPUUsage),
                   nonEmpty(values.topRAMProcess), values.topRAMBytes);
    return insert.run();
}

}  // namespace

void DatabaseManager::insertSnapshot(const SnapshotValues& values) {
    bool inserted = false;
    {
        const LockGuard guard(lock_);
        inserted = finishStart() && insertRow(values, db_);
    }
    if (!inserted) logLine("Could not insert row.");
}

std::vector<SystemSnapshot> DatabaseManager::fetchHistory(std::int64_t lastSeconds) const {
    const std::int64_t from = secondsAgo(lastSeconds);
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, "
                     "memory_pressure, memory_pressure_state, thermal_state, top_cpu_process, top_cpu_usage "
                     "FROM metrics_history WHERE timestamp >= ? ORDER BY timestamp ASC;");
    select.bindAll(from);
    return readSnapshots(select);
}

std::vector<double> DatabaseManager::fetchMetricValues(std::string_view column,
                                                       std::int64_t lastSeconds) const {
    // The one name that goes into SQL from outside.
    constexpr std::array<std::string_view, 6> permitted = {
        "cpu_usage", "ram_usage", "disk_free", "upload_speed", "download_speed", "memory_pressure"};
    std::vector<double> values;
    if (std::find(permitted.begin(), permitted.end(), column) == permitted.end()) return values;
    const std::int64_t from = secondsAgo(lastSeconds);
    const LockGuard guard(lock_);
    Statement select(db_, "SELECT " + std::string(column) +
                              " FROM metrics_history WHERE timestamp >= ? ORDER BY timestamp ASC;");
    if (!select) return values;
    select.bindAll(from);
    while (select.nextRow()) {
        if (select.isNumber(0)) values.push_back(select.real(0));
    }
    return values;
}

std::optional<double> DatabaseManager::averageCPU(std::int64_t lastSeconds) const {
    const std::int64_t from = secondsAgo(lastSeconds);
    const LockGuard guard(lock_);
    Statement select(db_, "SELECT AVG(cpu_usage) FROM metrics_history WHERE timestamp >= ?;");
    if (!select) return std::nullopt;
    select.bindAll(from);
    if (!select.nextRow() || select.isNull(0)) return std::nullopt;
    return select.real(0);
}

std::optional<WeeklyStats> DatabaseManager::weeklyStats(std::int64_t lastSeconds) const {
    const std::int64_t from = secondsAgo(lastSeconds);
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT COUNT(*), MIN(timestamp), MAX(timestamp), AVG(cpu_usage), MAX(cpu_usage), "
                     "AVG(memory_pressure), MAX(memory_pressure), MIN(disk_free), AVG(upload_speed), "
                     "AVG(download_speed) FROM metrics_history WHERE timestamp >= ?;");
    if (!select) return std::nullopt;
    select.bindAll(from);
    if (!select.nextRow() || select.integer(0) < 1) return std::nullopt;
    return WeeklyStats{.sampleCount = select.integer(0),
                       .earliest = select.instant(1),
                       .latest = select.instant(2),
                       .avgCPU = select.real(3),
                       .peakCPU = select.real(4),
                       .avgPressure = select.real(5),
                       .peakPressure = select.real(6),
                       .minDiskFree = select.real(7),
                       .avgUpload = select.real(8),
                       .avgDownload = select.real(9)};
}

std::vector<TrendResult> DatabaseManager::detectTrends(std::int64_t shortWindow,
                                                       std::int64_t longWindow) const {
    std::vector<SystemSnapshot> shortTerm;
    std::vector<SystemSnapshot> longTerm;
    {
        const LockGuard guard(lock_);
        shortTerm = fetchHistory(shortWindow);
        longTerm = fetchHistory(longWindow);
    }
    std::vector<TrendResult> trends;
    if (shortTerm.empty() || longTerm.empty()) return trends;
    for (const TrendRule& rule : trendRules) {
        TrendResult result{.metric = std::string(rule.metric),
                           .shortTermAvg = mean(shortTerm, rule.field),
                           .longTermAvg = mean(longTerm, rule.field)};
        result.trend = direction(result.shortTermAvg, result.longTermAvg);
        result.severity = severity(result.shortTermAvg, rule);
        if (result.trend != TrendDirection::steady || result.severity == TrendSeverity::high) {
            trends.push_back(std::move(result));
        }
    }
    return trends;
}

}  // namespace corvanta
