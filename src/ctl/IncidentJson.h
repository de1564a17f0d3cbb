// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Json.h"
#include "incidents/model/PerformanceIncident.h"

namespace corvanta::ctl {

/// The fields under the names of the store's columns, the level as its word, and how the incident stands.
Json incidentJson(const PerformanceIncident& incident);

}  // namespace corvanta::ctl
