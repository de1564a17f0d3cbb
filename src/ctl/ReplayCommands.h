// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"
#include "incidents/model/PerformanceIncident.h"
#include "storage/DatabaseManager.h"

namespace corvanta::ctl {

void addReplay(CommandList& commands);  ///< what the incident engine decides on a recorded stream

/// Writes the stream of the rows that are stored of an incident, and of the 5 minutes on either side of it,
/// as `replay` reads it. Returns the exit code.
int printObservations(const DatabaseManager& store, const PerformanceIncident& incident);

}  // namespace corvanta::ctl
