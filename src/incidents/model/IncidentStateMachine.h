// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "incidents/model/IncidentObservation.h"
#include "incidents/model/IncidentRuleConfiguration.h"
#include "incidents/model/IncidentTransition.h"

namespace corvanta {

/// Turns the stream of samples into incidents: pressure must hold without a break before an incident opens,
/// which then starts where the pressure began; a lower level keeps it open; it closes after unbroken calm,
/// and ends where the calm began; and a hole in the stream ends everything at once.
///
/// A value, owned by the detector; the owner's thread. It has no clock and no store, and it never fails.
class IncidentStateMachine {
  public:
    static constexpr double cpuThreshold = 85.0;              ///< percent, inclusive
    static constexpr double combinedCPUThreshold = 70.0;      ///< percent, inclusive
    static constexpr double sustainedDuration = 60.0;         ///< seconds, inclusive
    static constexpr double thermalSustainedDuration = 10.0;  ///< seconds, inclusive
    static constexpr double recoveryDuration = 90.0;          ///< seconds, inclusive
    static constexpr double maximumObservationGap = 30.0;     ///< seconds that still count as continuous

    /// Once per monitoring cycle, in the order of time. Durations are measured on the uptime clock, instants
    /// are the observations' own.
    IncidentTransition ingest(
        const IncidentObservation& observation,
        const IncidentRuleConfiguration& rules = IncidentRuleConfiguration::allEnabled());

    const std::optional<ActiveIncidentState>& activeIncident() const { return activeIncident_; }
    void setActiveIncident(std::optional<ActiveIncidentState> state) { activeIncident_ = state; }

  private:
    /// The moment that a condition began, on both clocks.
    struct Candidate {
        Instant date;
        double uptime = 0;

        static Candidate of(const IncidentObservation& observation) {
            return {observation.timestamp, observation.systemUptime};
        }
        bool hasHeld(double duration, double systemUptime) const { return duration <= systemUptime - uptime; }
    };
    /// The last sample's place in time.
    using LastObservation = Candidate;

    bool isAfterGap(const IncidentObservation& observation) const;
    void clearCandidates();
    void updateCandidates(const IncidentObservation& observation, const IncidentRuleConfiguration& rules);
    std::optional<IncidentKind> currentKind(double systemUptime) const;
    std::optional<Instant> earliestEligibleStart(double systemUptime) const;
    IncidentTransition openIfSustained(const IncidentObservation& observation);
    bool reclassify(const IncidentObservation& observation);

    std::optional<ActiveIncidentState> activeIncident_;
    std::optional<Candidate> cpuCandidate_;
    std::optional<Candidate> memoryCandidate_;
    std::optional<Candidate> combinedCandidate_;
    std::optional<Candidate> thermalCandidate_;
    std::optional<Candidate> recoveryCandidate_;
    std::optional<LastObservation> lastObservation_;
};

}  // namespace corvanta
