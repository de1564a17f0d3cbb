// SPDX-License-Identifier: Apache-2.0
#include "incidents/IncidentDetector.h"

#include <variant>

namespace corvanta {
namespace {

using namespace incident_transition;

template <class... Actions>
struct OneOf : Actions... {
    using Actions::operator()...;
};
template <class... Actions>
OneOf(Actions...) -> OneOf<Actions...>;

}  // namespace

IncidentDetector::IncidentDetector(DatabaseManager& database, const AppSettings& settings)
    : database_(database), settings_(settings) {}

IncidentDetector& IncidentDetector::shared() {
    static IncidentDetector& instance =
        *new IncidentDetector(DatabaseManager::shared(), AppSettings::shared());
    return instance;
}

void IncidentDetector::observe(const IncidentObservation& observation) {
    thread_.check();
    const auto transition = stateMachine_.ingest(observation, settings_.incidentRuleConfiguration());
    if (const auto* started = std::get_if<Started>(&transition)) {
        activeIncidentID_ = database_.createIncident(started->state, observation.timestamp);
        return;
    }
    if (!activeIncidentID_) return;
    const std::int64_t id = *activeIncidentID_;
    // Only a change by itself is written: one that comes with a turn of the recovery waits for the next.
    std::visit(
        OneOf{[&](const Changed& changed) {
                  database_.updateIncidentClassification(id, changed.state.kind, changed.state.severity);
              },
              [&](const RecoveryStarted& recovery) {
                  database_.setIncidentRecoveryStarted(id, recovery.startedAt);
              },
              [&](const RecoveryCancelled&) { database_.setIncidentRecoveryStarted(id, std::nullopt); },
              [&](const Ended& ended) {
                  database_.endIncident(id, ended.endedAt);
                  activeIncidentID_.reset();
              },
              [](const Started&) {}, [](const None&) {}},
        transition);
}

void IncidentDetector::recordPersistedObservation(const IncidentObservation& observation) {
    thread_.check();
    if (activeIncidentID_) database_.updateIncidentEvidence(*activeIncidentID_, observation);
}

}  // namespace corvanta
