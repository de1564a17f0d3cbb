// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"
#include "core/MemoryPressureLevel.h"
#include "incidents/model/IncidentKind.h"
#include "incidents/model/IncidentResolutionState.h"
#include "incidents/model/IncidentSeverity.h"

namespace corvanta {

/// One stored incident.
struct PerformanceIncident {
    std::int64_t id = 0;             ///< of its row
    Instant startedAt;               ///< where the pressure began
    Instant detectedAt;              ///< when it had lasted long enough to be an incident
    std::optional<Instant> endedAt;  ///< absent while it is open
    IncidentKind kind = IncidentKind::combined;
    IncidentSeverity severity = IncidentSeverity::warning;  ///< the highest seen
    double peakCPU = 0;                                     ///< percent
    double peakMemoryPressure = 0;                          ///< percent, of the estimate
    MemoryPressureLevel worstMemoryPressureState = MemoryPressureLevel::unavailable;
    double peakNetworkBytesPerSecond = 0;
    std::optional<std::int64_t> minimumBatteryPercentage;  ///< absent without a battery
    std::string worstThermalState = "Nominal";             ///< a thermal word
    std::optional<std::string> topCPUProcess;              ///< the one at the highest `topCPUUsage`
    double topCPUUsage = 0;                                ///< percent of one process
    std::optional<std::string> topRAMProcess;              ///< the one at the highest `topRAMBytes`
    std::uint64_t topRAMBytes = 0;                         ///< resident bytes of one process
    std::int64_t sampleCount = 0;                          ///< stored samples behind this record
    std::optional<Instant> dismissedAt;
    std::optional<Instant> recoveryStartedAt;  ///< when the calm began; stays after the end

    bool isActive() const { return !endedAt; }
    bool isRecovering() const { return !endedAt && recoveryStartedAt; }
    bool hasConfirmedRecovery() const { return endedAt && recoveryStartedAt; }
    /// The program went away while the incident was open.
    bool wasInterrupted() const { return endedAt && !recoveryStartedAt; }
    bool isDismissed() const { return dismissedAt.has_value(); }
    IncidentResolutionState resolutionState() const {
        if (wasInterrupted()) return IncidentResolutionState::interrupted;
        if (!isActive()) return IncidentResolutionState::recovered;
        return isRecovering() ? IncidentResolutionState::recovering : IncidentResolutionState::active;
    }

    /// Where it ends, as far as is known at `now`: an incident that confirms its recovery stands still.
    Instant knownEnd(Instant now) const { return endedAt.value_or(recoveryStartedAt.value_or(now)); }

    /// Seconds, never negative.
    double duration(Instant now) const { return std::max(0.0, (knownEnd(now) - startedAt).count()); }

    bool operator==(const PerformanceIncident&) const = default;
};

}  // namespace corvanta
