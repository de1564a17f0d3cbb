// SPDX-License-Identifier: Apache-2.0
#include "ctl/IncidentJson.h"

namespace corvanta::ctl {

Json incidentJson(const PerformanceIncident& incident) {
    return {{"id", incident.id},
            {"started_at", storedSeconds(incident.startedAt)},
            {"detected_at", storedSeconds(incident.detectedAt)},
            {"ended_at", secondsOrNull(incident.endedAt)},
            {"kind", rawValue(incident.kind)},
            {"severity", rawValue(incident.severity)},
            {"resolution", rawValue(incident.resolutionState())},
            {"peak_cpu", incident.peakCPU},
            {"peak_memory_pressure", incident.peakMemoryPressure},
            {"worst_memory_pressure_state", label(incident.worstMemoryPressureState)},
            {"peak_network", incident.peakNetworkBytesPerSecond},
            {"min_battery", orNull(incident.minimumBatteryPercentage)},
            {"worst_thermal_state", incident.worstThermalState},
            {"top_cpu_process", orNull(incident.topCPUProcess)},
            {"top_cpu_usage", incident.topCPUUsage},
            {"top_ram_process", orNull(incident.topRAMProcess)},
            {"top_ram_bytes", incident.topRAMBytes},
            {"sample_count", incident.sampleCount},
            {"dismissed_at", secondsOrNull(incident.dismissedAt)},
            {"recovery_started_at", secondsOrNull(incident.recoveryStartedAt)}};
}

}  // namespace corvanta::ctl
