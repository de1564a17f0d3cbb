// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <ostream>
#include <vector>

#include "incidents/rules/IncidentHistoryGroup.h"

namespace corvanta {

/// How a group reads in a failed test.
inline void PrintTo(const IncidentHistoryGroup& group, std::ostream* out) {
    *out << group.id() << " of";
    for (const PerformanceIncident& incident : group.incidents) *out << ' ' << incident.id;
}

namespace test {

/// The members of each group; the first is the representative.
using Ids = std::vector<std::vector<std::int64_t>>;

inline Ids idsOf(const std::vector<IncidentHistoryGroup>& groups) {
    Ids ids;
    for (const IncidentHistoryGroup& group : groups) {
        std::vector<std::int64_t>& members = ids.emplace_back();
        for (const PerformanceIncident& incident : group.incidents) members.push_back(incident.id);
        EXPECT_EQ(group.id(), group.incidents.front().id);
    }
    return ids;
}

/// How an incident stands.
inline void setOpen(PerformanceIncident& incident) {
    incident.endedAt.reset();
    incident.recoveryStartedAt.reset();
}
inline void setRecovering(PerformanceIncident& incident) {
    incident.endedAt.reset();
    incident.recoveryStartedAt = incident.startedAt + std::chrono::duration<double>(60);
}
inline void setRecovered(PerformanceIncident& incident) {
    incident.endedAt = incident.startedAt + std::chrono::duration<double>(60);
    incident.recoveryStartedAt = incident.endedAt;
}
inline void setInterrupted(PerformanceIncident& incident) {
    incident.endedAt = incident.startedAt + std::chrono::duration<double>(60);
    incident.recoveryStartedAt.reset();
}

/// One that has recovered, told with a compiler.
inline PerformanceIncident recoveredIncident(std::int64_t id, double startedAt,
                                             IncidentKind kind = IncidentKind::cpu) {
    PerformanceIncident incident;
    incident.id = id;
    incident.startedAt = instantFromSeconds(startedAt);
    incident.detectedAt = incident.startedAt;
    incident.kind = kind;
    incident.topCPUProcess = "compiler";
    setRecovered(incident);
    return incident;
}

/// The same, dismissed as it began.
inline PerformanceIncident dismissed(PerformanceIncident incident) {
    incident.dismissedAt = incident.startedAt;
    return incident;
}

}  // namespace test
}  // namespace corvanta
