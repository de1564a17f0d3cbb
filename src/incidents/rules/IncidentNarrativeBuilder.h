// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "core/Instant.h"
#include "incidents/model/IncidentTimelineSample.h"
#include "incidents/model/PerformanceIncident.h"
#include "incidents/rules/IncidentNarrative.h"

/// Tells a stored incident in words. Pure functions; any thread.
namespace corvanta::IncidentNarrativeBuilder {

/// The samples are those around the incident, oldest first. Those of the five minutes before its start are
/// what it is compared with; those from its start to its end, or to `now` while it lasts, are its own; the
/// rest plays no part.
IncidentNarrative build(const PerformanceIncident& incident,
                        const std::vector<IncidentTimelineSample>& samples, Instant now);

}  // namespace corvanta::IncidentNarrativeBuilder
