// SPDX-License-Identifier: Apache-2.0
// The operations of DatabaseManager on the table performance_incidents, and the timeline of an incident.
#include <algorithm>

#include "storage/DatabaseManager.h"
#include "storage/Statement.h"

namespace corvanta {
namespace {

/// Every right-hand side sees the row as it was: a process takes over only with a figure above the old one.
constexpr std::string_view foldIn =
    "UPDATE performance_incidents SET "
    "peak_cpu = MAX(peak_cpu, ?), "
    "peak_memory_pressure = MAX(peak_memory_pressure, ?), "
    "worst_memory_pressure_state = MAX(worst_memory_pressure_state, ?), "
    "peak_network = MAX(peak_network, ?), "
    "min_battery = CASE WHEN ? IS NULL THEN min_battery WHEN min_battery IS NULL THEN ? "
    "ELSE MIN(min_battery, ?) END, "
    "worst_thermal_state = CASE WHEN ? = 'Critical' THEN 'Critical' "
    "WHEN ? = 'Serious' AND worst_thermal_state != 'Critical' THEN 'Serious' "
    "WHEN ? = 'Fair' AND worst_thermal_state = 'Nominal' THEN 'Fair' ELSE worst_thermal_state END, "
    "top_cpu_process = CASE WHEN ? > top_cpu_usage THEN ? ELSE top_cpu_process END, "
    "top_cpu_usage = MAX(top_cpu_usage, ?), "
    "top_ram_process = CASE WHEN ? > top_ram_bytes THEN ? ELSE top_ram_process END, "
    "top_ram_bytes = MAX(top_ram_bytes, ?), "
    "sample_count = sample_count + 1 "
    "WHERE id = ? AND ended_at IS NULL;";

constexpr std::string_view computeFromHistory =
    "UPDATE performance_incidents SET "
    "peak_cpu = COALESCE((SELECT MAX(cpu_usage) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), 0), "
    "peak_memory_pressure = COALESCE((SELECT MAX(memory_pressure) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), 0), "
    "worst_memory_pressure_state = COALESCE((SELECT MAX(memory_pressure_state) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), 0), "
    "peak_network = COALESCE((SELECT MAX(MAX(0, upload_speed) + MAX(0, download_speed)) "
    "FROM metrics_history WHERE timestamp BETWEEN ? AND ?), 0), "
    "min_battery = (SELECT MIN(battery_percentage) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), "
    "worst_thermal_state = COALESCE((SELECT thermal_state FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ? AND thermal_state IS NOT NULL "
    "ORDER BY CASE LOWER(thermal_state) WHEN 'critical' THEN 3 WHEN 'serious' THEN 2 "
    "WHEN 'fair' THEN 1 ELSE 0 END DESC LIMIT 1), 'Nominal'), "
    "top_cpu_process = (SELECT top_cpu_process FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ? AND top_cpu_process IS NOT NULL AND top_cpu_process != '' "
    "ORDER BY top_cpu_usage DESC LIMIT 1), "
    "top_cpu_usage = COALESCE((SELECT MAX(top_cpu_usage) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), 0), "
    "top_ram_process = (SELECT top_ram_process FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ? AND top_ram_process IS NOT NULL AND top_ram_process != '' "
    "ORDER BY top_ram_bytes DESC LIMIT 1), "
    "top_ram_bytes = COALESCE((SELECT MAX(top_ram_bytes) FROM metrics_history "
    "WHERE timestamp BETWEEN ? AND ?), 0), "
    "sample_count = (SELECT COUNT(*) FROM metrics_history WHERE timestamp BETWEEN ? AND ?) "
    "WHERE id = ?;";

std::optional<Instant> instantIn(Statement& row, int column) {
    if (row.isNull(column)) return std::nullopt;
    return row.instant(column);
}

std::optional<std::int64_t> integerIn(Statement& row, int column) {
    if (row.isNull(column)) return std::nullopt;
    return row.integer(column);
}

MemoryPressureLevel levelIn(Statement& row, int column) {
    return memoryPressureLevelFromRaw(row.integer(column)).value_or(MemoryPressureLevel::unavailable);
}

std::uint64_t byteCountIn(Statement& row, int column) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, row.integer(column)));
}

PerformanceIncident incidentIn(Statement& row) {
    PerformanceIncident incident;
    incident.id = row.integer(0);
    incident.startedAt = row.instant(1);
    incident.detectedAt = row.instant(2);
    incident.endedAt = instantIn(row, 3);
    incident.kind = incidentKindFromRaw(row.text(4).value_or("")).value_or(IncidentKind::combined);
    incident.severity = incidentSeverityFromRaw(row.integer(5)).value_or(IncidentSeverity::warning);
    incident.peakCPU = row.real(6);
    incident.peakMemoryPressure = row.real(7);
    incident.worstMemoryPressureState = levelIn(row, 8);
    incident.peakNetworkBytesPerSecond = row.real(9);
    incident.minimumBatteryPercentage = integerIn(row, 10);
    incident.worstThermalState = row.text(11).value_or("Nominal");
    incident.topCPUProcess = row.text(12);
    incident.topCPUUsage = row.real(13);
    incident.topRAMProcess = row.text(14);
    incident.topRAMBytes = byteCountIn(row, 15);
    incident.sampleCount = row.integer(16);
    incident.dismissedAt = instantIn(row, 17);
    incident.recoveryStartedAt = instantIn(row, 18);
    return incident;
}

IncidentTimelineSample timelineSampleIn(Statement& row) {
    IncidentTimelineSample sample;
    sample.id = row.integer(0);
    sample.timestamp = row.instant(1);
    sample.cpuUsage = row.real(2);
    sample.memoryPressure = row.real(3);
    sample.memoryPressureState = levelIn(row, 4);
    sample.uploadSpeed = row.real(5);
    sample.downloadSpeed = row.real(6);
    sample.batteryPercentage = integerIn(row, 7);
    if (const auto charging = integerIn(row, 8)) sample.isCharging = *charging != 0;
    sample.thermalState = row.text(9).value_or("Unknown");
    sample.topCPUProcess = row.text(10);
    sample.topCPUUsage = row.real(11);
    sample.topRAMProcess = row.text(12);
    sample.topRAMBytes = byteCountIn(row, 13);
    return sample;
}

/// False when a step didn't complete.
bool dismissEach(const std::vector<std::int64_t>& ids, std::optional<std::int64_t> at, Statement& update) {
    return std::all_of(ids.begin(), ids.end(), [&](std::int64_t id) {
        update.reset();
        update.bindAll(at, id);
        return update.run();
    });
}

}  // namespace

std::optional<std::int64_t> DatabaseManager::createIncident(const ActiveIncidentState& state,
                                                            Instant detectedAt) {
    const LockGuard guard(lock_);
    if (!finishStart()) return std::nullopt;
    Statement insert(
        db_,
        "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, created_at) "
        "VALUES (?, ?, ?, ?, ?);");
    if (!insert) return std::nullopt;
    insert.bindAll(storedSeconds(state.startedAt), storedSeconds(detectedAt), rawValue(state.kind),
                   rawValue(state.severity), storedSeconds(clock_.now()));
    if (!insert.run()) return std::nullopt;
    const std::int64_t id = sqlite3_last_insert_rowid(db_);
    refreshIncidentEvidence(id, storedSeconds(state.startedAt), storedSeconds(detectedAt));
    return id;
}

void DatabaseManager::updateIncidentClassification(std::int64_t id, IncidentKind kind,
                                                   IncidentSeverity severity) {
    writeIncident(
        "UPDATE performance_incidents SET kind = ?, severity = MAX(severity, ?) "
        "WHERE id = ? AND ended_at IS NULL;",
        rawValue(kind), rawValue(severity), id);
}

void DatabaseManager::setIncidentRecoveryStarted(std::int64_t id, std::optional<Instant> at) {
    writeIncident(
        "UPDATE performance_incidents SET recovery_started_at = ? WHERE id = ? AND ended_at IS NULL;",
        at ? std::optional(storedSeconds(*at)) : std::nullopt, id);
}

void DatabaseManager::updateIncidentEvidence(std::int64_t id, const IncidentObservation& observation) {
    const auto& battery = observation.batteryPercentage;
    const auto thermal = nonEmpty(observation.thermalState);
    writeIncident(foldIn, observation.cpuUsage, observation.estimatedMemoryPressure,
                  std::int64_t{rawValue(observation.memoryPressureState)},
                  observation.networkBytesPerSecond(), battery, battery, battery, thermal, thermal, thermal,
                  observation.topCPUUsage, nonEmpty(observation.topCPUProcess), observation.topCPUUsage,
                  observation.topRAMBytes, nonEmpty(observation.topRAMProcess), observation.topRAMBytes, id);
}

void DatabaseManager::endIncident(std::int64_t id, Instant endedAt) {
    const std::int64_t end = storedSeconds(endedAt);
    const LockGuard guard(lock_);
    if (!finishStart()) return;
    std::optional<std::int64_t> startedAt;
    {
        Statement update(db_,
                         "UPDATE performance_incidents SET ended_at = MAX(started_at, ?), "
                         "recovery_started_at = COALESCE(recovery_started_at, MAX(started_at, ?)) "
                         "WHERE id = ? AND ended_at IS NULL RETURNING started_at;");
        if (!update) return;
        update.bindAll(end, end, id);
        if (update.nextRow()) startedAt = update.integer(0);
    }
    if (startedAt) refreshIncidentEvidence(id, *startedAt, end);
}

std::vector<PerformanceIncident> DatabaseManager::fetchIncidents(std::int64_t limit) const {
    std::vector<PerformanceIncident> incidents;
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT id, started_at, detected_at, ended_at, kind, severity, peak_cpu, "
                     "peak_memory_pressure, worst_memory_pressure_state, peak_network, min_battery, "
                     "worst_thermal_state, top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes, "
                     "sample_count, dismissed_at, recovery_started_at "
                     "FROM performance_incidents ORDER BY started_at DESC LIMIT ?;");
    if (!select) return incidents;
    select.bindAll(std::clamp<std::int64_t>(limit, 1, mostIncidents));
    while (select.nextRow()) incidents.push_back(incidentIn(select));
    return incidents;
}

void DatabaseManager::setIncidentsDismissed(std::vector<std::int64_t> ids, bool dismissed, Instant at) {
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    if (ids.empty()) return;
    const LockGuard guard(lock_);
    if (!finishStart()) return;
    const auto runs = [db = db_](const char* sql) {
        return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    };
    if (!runs("BEGIN IMMEDIATE TRANSACTION;")) return;
    Statement update(db_, "UPDATE performance_incidents SET dismissed_at = ? WHERE id = ?;");
    const bool isComplete =
        update && dismissEach(ids, dismissed ? std::optional(storedSeconds(at)) : std::nullopt, update);
    // A commit can be refused for readers; what it leaves open would swallow every later write.
    if (!isComplete || !runs("COMMIT;")) runs("ROLLBACK;");
}

std::vector<IncidentTimelineSample> DatabaseManager::fetchIncidentTimeline(
    const PerformanceIncident& incident, double preRoll, double postRoll) const {
    using Seconds = Instant::duration;
    const Instant from = incident.startedAt - Seconds(preRoll);
    const Instant through = incident.endedAt ? *incident.endedAt + Seconds(postRoll) : clock_.now();
    std::vector<IncidentTimelineSample> samples;
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT id, timestamp, cpu_usage, memory_pressure, memory_pressure_state, upload_speed, "
                     "download_speed, battery_percentage, is_charging, thermal_state, top_cpu_process, "
                     "top_cpu_usage, top_ram_process, top_ram_bytes "
                     "FROM metrics_history WHERE timestamp BETWEEN ? AND ? ORDER BY timestamp ASC;");
    if (!select) return samples;
    select.bindAll(storedSeconds(from), storedSeconds(through));
    while (select.nextRow()) samples.push_back(timelineSampleIn(select));
    return samples;
}

/// Overwrites all evidence with what history holds of the span, both ends counted.
void DatabaseManager::refreshIncidentEvidence(std::int64_t id, std::int64_t from, std::int64_t through) {
    const std::int64_t a = from;
    const std::int64_t b = std::max(from, through);
    Statement update(db_, computeFromHistory);
    if (!update) return;
    update.bindAll(a, b, a, b, a, b, a, b, a, b, a, b, a, b, a, b, a, b, a, b, a, b, id);
    update.run();
}

template <class... Values>
void DatabaseManager::writeIncident(std::string_view sql, const Values&... values) {
    const LockGuard guard(lock_);
    if (!finishStart()) return;
    Statement update(db_, sql);
    if (!update) return;
    update.bindAll(values...);
    update.run();
}

}  // namespace corvanta
