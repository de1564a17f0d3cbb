// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "incidents/model/PerformanceIncident.h"

/// Which process an incident is told with, and in what words. Evidence, never a cause. Pure
/// functions, but that sizes are written with the user's number symbols.
namespace corvanta::IncidentCorrelation {

/// The name of the most prominent process, trimmed; absent when no name was recorded.
std::optional<std::string> likelyContributor(const PerformanceIncident& incident);

/// What was observed, in one sentence, and the contributor in a second one if there is one.
std::string summary(const PerformanceIncident& incident);

/// What the contributor reached; absent unless a figure belongs to that very process.
std::optional<std::string> evidenceDescription(const PerformanceIncident& incident);

}  // namespace corvanta::IncidentCorrelation
