// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "incidents/rules/IncidentHistoryGroup.h"

/// Which incidents are one problem that came back. Pure functions.
namespace corvanta::IncidentHistoryGrouper {

/// The groups, newest first by their representatives. Incidents share one if kind, contributor, dismissal and
/// state are the same (the contributor in any case of A to Z) (what has ended is in one state, however it
/// ended) and each began at most `recurrenceWindow` seconds before the representative. Equal starts keep the
/// given order. A start that is not a number stands last, alone.
std::vector<IncidentHistoryGroup> group(std::vector<PerformanceIncident> incidents,
                                        double recurrenceWindow = 21600.0);

}  // namespace corvanta::IncidentHistoryGrouper
