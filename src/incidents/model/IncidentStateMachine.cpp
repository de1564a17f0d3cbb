// SPDX-License-Identifier: Apache-2.0
#include "incidents/model/IncidentStateMachine.h"

#include <algorithm>
#include <utility>

#include "incidents/model/ThermalRank.h"

namespace corvanta {
namespace {

using namespace incident_transition;

constexpr double recoveryCPUCeiling = 70.0;  // percent; below it the processor is calm
constexpr double criticalCPU = 95.0;         // percent
constexpr int criticalThermalRank = 3;

bool isMemoryElevated(const IncidentObservation& observation) {
    return isElevated(observation.memoryPressureState);
}

IncidentSeverity severityOf(const IncidentObservation& observation) {
    const bool isCritical = observation.cpuUsage >= criticalCPU ||
                            observation.memoryPressureState == MemoryPressureLevel::critical ||
                            thermalRank(observation.thermalState) == criticalThermalRank;
    return isCritical ? IncidentSeverity::critical : IncidentSeverity::warning;
}

/// Whether a sample keeps an open incident from recovering. A rule that is switched off can't.
bool holdsIncident(const IncidentObservation& observation, const IncidentRuleConfiguration& rules) {
    const bool isCalmCPU = observation.cpuUsage < recoveryCPUCeiling;
    return (rules.cpuEnabled && !isCalmCPU) || (rules.memoryEnabled && isMemoryElevated(observation)) ||
           (rules.thermalEnabled && isThermalPressure(observation.thermalState));
}

}  // namespace

IncidentTransition IncidentStateMachine::ingest(const IncidentObservation& observation,
                                                const IncidentRuleConfiguration& rules) {
    if (isAfterGap(observation)) {
        const Instant lastDate = lastObservation_->date;
        const auto interrupted = std::exchange(activeIncident_, std::nullopt);
        clearCandidates();
        lastObservation_ = Candidate::of(observation);
        updateCandidates(observation, rules);
        if (interrupted) return Ended{*interrupted, lastDate};
        return None{};
    }
    lastObservation_ = Candidate::of(observation);
    updateCandidates(observation, rules);
    if (!activeIncident_) return openIfSustained(observation);

    const bool isChanged = reclassify(observation);
    if (holdsIncident(observation, rules)) {
        if (std::exchange(recoveryCandidate_, std::nullopt)) return RecoveryCancelled{*activeIncident_};
    } else if (!recoveryCandidate_) {
        recoveryCandidate_ = Candidate::of(observation);
        return RecoveryStarted{*activeIncident_, observation.timestamp};
    } else if (recoveryCandidate_->hasHeld(recoveryDuration, observation.systemUptime)) {
        const Ended ended{*activeIncident_, recoveryCandidate_->date};
        activeIncident_.reset();
        clearCandidates();
        return ended;
    }
    if (isChanged) return Changed{*activeIncident_};
    return None{};
}

bool IncidentStateMachine::isAfterGap(const IncidentObservation& observation) const {
    if (!lastObservation_) return false;
    const double uptimeDelta = observation.systemUptime - lastObservation_->uptime;
    const double wallDelta = (observation.timestamp - lastObservation_->date).count();
    return uptimeDelta <= 0 || wallDelta <= 0 || uptimeDelta > maximumObservationGap ||
           wallDelta > maximumObservationGap;
}

void IncidentStateMachine::clearCandidates() {
    cpuCandidate_.reset();
    memoryCandidate_.reset();
    combinedCandidate_.reset();
    thermalCandidate_.reset();
    recoveryCandidate_.reset();
}

void IncidentStateMachine::updateCandidates(const IncidentObservation& observation,
                                            const IncidentRuleConfiguration& rules) {
    const auto update = [&](std::optional<Candidate>& candidate, bool holds) {
        if (!holds) {
            candidate.reset();
        } else if (!candidate) {
            candidate = Candidate::of(observation);
        }
    };
    const bool isElevated = isMemoryElevated(observation);
    update(cpuCandidate_, rules.cpuEnabled && observation.cpuUsage >= cpuThreshold);
    update(memoryCandidate_, rules.memoryEnabled && isElevated);
    update(combinedCandidate_, rules.cpuEnabled && rules.memoryEnabled &&
                                   observation.cpuUsage >= combinedCPUThreshold && isElevated);
    update(thermalCandidate_, rules.thermalEnabled && isThermalPressure(observation.thermalState));
}

std::optional<IncidentKind> IncidentStateMachine::currentKind(double systemUptime) const {
    const auto hasHeld = [&](const std::optional<Candidate>& candidate, double duration) {
        return candidate && candidate->hasHeld(duration, systemUptime);
    };
    const bool isCPU = hasHeld(cpuCandidate_, sustainedDuration);
    const bool isMemory = hasHeld(memoryCandidate_, sustainedDuration);
    if (hasHeld(combinedCandidate_, sustainedDuration)) return IncidentKind::combined;
    if (isCPU && isMemory) return IncidentKind::combined;
    if (hasHeld(thermalCandidate_, thermalSustainedDuration)) return IncidentKind::thermal;
    if (isMemory) return IncidentKind::memory;
    if (isCPU) return IncidentKind::cpu;
    return std::nullopt;
}

std::optional<Instant> IncidentStateMachine::earliestEligibleStart(double systemUptime) const {
    std::optional<Instant> earliest;
    const auto consider = [&](const std::optional<Candidate>& candidate, double duration) {
        if (!candidate || !candidate->hasHeld(duration, systemUptime)) return;
        earliest = earliest ? std::min(*earliest, candidate->date) : candidate->date;
    };
    consider(cpuCandidate_, sustainedDuration);
    consider(memoryCandidate_, sustainedDuration);
    consider(combinedCandidate_, sustainedDuration);
    consider(thermalCandidate_, thermalSustainedDuration);
    return earliest;
}

IncidentTransition IncidentStateMachine::openIfSustained(const IncidentObservation& observation) {
    const auto kind = currentKind(observation.systemUptime);
    const auto startedAt = earliestEligibleStart(observation.systemUptime);
    if (!kind || !startedAt) return None{};
    activeIncident_ = ActiveIncidentState{*startedAt, *kind, severityOf(observation)};
    recoveryCandidate_.reset();
    return Started{*activeIncident_};
}

/// Whether the kind or the severity has changed. A kind that another one joins becomes combined for good, and
/// the severity never falls.
bool IncidentStateMachine::reclassify(const IncidentObservation& observation) {
    const ActiveIncidentState before = *activeIncident_;
    const IncidentKind newKind = currentKind(observation.systemUptime).value_or(before.kind);
    activeIncident_->severity = std::max(before.severity, severityOf(observation));
    if (newKind != before.kind) activeIncident_->kind = IncidentKind::combined;
    return *activeIncident_ != before;
}

}  // namespace corvanta
