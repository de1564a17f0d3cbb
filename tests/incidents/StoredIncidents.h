// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "incidents/model/PerformanceIncident.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {

inline std::string sqlText(const std::optional<std::string>& text) {
    if (!text) return "NULL";
    std::string quoted = "'";
    for (const char c : *text) {
        if (c == '\'') quoted += c;
        quoted += c;
    }
    return quoted + "'";
}

inline std::string sqlInstant(const std::optional<Instant>& instant) {
    return instant ? std::to_string(storedSeconds(*instant)) : "NULL";
}

/// Puts the incident into the store as it is, its id included.
inline void storeIncident(Sql& sql, const PerformanceIncident& incident) {
    const auto& battery = incident.minimumBatteryPercentage;
    sql.run(
        "INSERT INTO performance_incidents (id, started_at, detected_at, ended_at, kind, severity, peak_cpu, "
        "peak_memory_pressure, worst_memory_pressure_state, peak_network, min_battery, worst_thermal_state, "
        "top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes, sample_count, dismissed_at, "
        "recovery_started_at, created_at) VALUES (" +
        std::to_string(incident.id) + ", " + sqlInstant(incident.startedAt) + ", " +
        sqlInstant(incident.detectedAt) + ", " + sqlInstant(incident.endedAt) + ", " +
        sqlText(std::string(rawValue(incident.kind))) + ", " + std::to_string(rawValue(incident.severity)) +
        ", " + std::to_string(incident.peakCPU) + ", " + std::to_string(incident.peakMemoryPressure) + ", " +
        std::to_string(rawValue(incident.worstMemoryPressureState)) + ", " +
        std::to_string(incident.peakNetworkBytesPerSecond) + ", " +
        (battery ? std::to_string(*battery) : "NULL") + ", " + sqlText(incident.worstThermalState) + ", " +
        sqlText(incident.topCPUProcess) + ", " + std::to_string(incident.topCPUUsage) + ", " +
        sqlText(incident.topRAMProcess) + ", " + std::to_string(incident.topRAMBytes) + ", " +
        std::to_string(incident.sampleCount) + ", " + sqlInstant(incident.dismissedAt) + ", " +
        sqlInstant(incident.recoveryStartedAt) + ", " + sqlInstant(incident.detectedAt) + ");");
}

}  // namespace corvanta::test
