// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>

#include "incidents/model/IncidentStateMachine.h"

namespace corvanta {

/// How a transition reads in a failed test.
inline void PrintTo(const ActiveIncidentState& state, std::ostream* out) {
    *out << "{from " << secondsSince1970(state.startedAt) << " " << rawValue(state.kind) << " "
         << label(state.severity) << "}";
}

namespace test {

/// A calm sample at a moment that is the same on both clocks.
inline IncidentObservation calmAt(double seconds) {
    IncidentObservation observation;
    observation.timestamp = instantFromSeconds(seconds);
    observation.systemUptime = seconds;
    observation.cpuUsage = 10;
    observation.memoryPressureState = MemoryPressureLevel::normal;
    observation.thermalState = "Nominal";
    return observation;
}

inline std::string describe(const IncidentTransition& transition) {
    using namespace incident_transition;
    const auto words = [](const char* name, const ActiveIncidentState& state) {
        return std::string(name) + " " + std::to_string(secondsSince1970(state.startedAt)) + " " +
               std::string(rawValue(state.kind)) + " " + std::string(label(state.severity));
    };
    if (const auto* t = std::get_if<Started>(&transition)) return words("started", t->state);
    if (const auto* t = std::get_if<Changed>(&transition)) return words("changed", t->state);
    if (const auto* t = std::get_if<RecoveryStarted>(&transition))
        return words("recoveryStarted", t->state) + " at " + std::to_string(secondsSince1970(t->startedAt));
    if (const auto* t = std::get_if<RecoveryCancelled>(&transition))
        return words("recoveryCancelled", t->state);
    if (const auto* t = std::get_if<Ended>(&transition))
        return words("ended", t->state) + " at " + std::to_string(secondsSince1970(t->endedAt));
    return "none";
}

}  // namespace test
}  // namespace corvanta
