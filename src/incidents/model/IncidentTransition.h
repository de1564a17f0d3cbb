// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <variant>

#include "core/Instant.h"
#include "incidents/model/IncidentKind.h"
#include "incidents/model/IncidentSeverity.h"

namespace corvanta {

/// What the state machine holds of the incident that is open.
struct ActiveIncidentState {
    Instant startedAt;  ///< where the pressure began; never changes
    IncidentKind kind = IncidentKind::cpu;
    IncidentSeverity severity = IncidentSeverity::warning;  ///< the highest so far

    bool operator==(const ActiveIncidentState&) const = default;
};

/// The single result of feeding one observation to the state machine.
namespace incident_transition {

/// An incident opened.
struct Started {
    ActiveIncidentState state;

    bool operator==(const Started&) const = default;
};
/// Its kind or severity changed.
struct Changed {
    ActiveIncidentState state;

    bool operator==(const Changed&) const = default;
};
/// The first calm observation: the recovery clock began.
struct RecoveryStarted {
    ActiveIncidentState state;
    Instant startedAt;

    bool operator==(const RecoveryStarted&) const = default;
};
/// Pressure returned while the recovery clock ran.
struct RecoveryCancelled {
    ActiveIncidentState state;

    bool operator==(const RecoveryCancelled&) const = default;
};
/// The incident closed.
struct Ended {
    ActiveIncidentState state;
    Instant endedAt;

    bool operator==(const Ended&) const = default;
};
/// Nothing to record.
struct None {
    bool operator==(const None&) const = default;
};

}  // namespace incident_transition

using IncidentTransition =
    std::variant<incident_transition::Started, incident_transition::Changed,
                 incident_transition::RecoveryStarted, incident_transition::RecoveryCancelled,
                 incident_transition::Ended, incident_transition::None>;

}  // namespace corvanta
