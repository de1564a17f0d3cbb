// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Clock.h"
#include "core/TimeRange.h"
#include "ctl/Output.h"

namespace corvanta::ctl {

// Commands that read the store and never write it. Each returns the program's exit code: 1, with one line on
// standard error, when the store can't be read.

/// The stored rows of the period, oldest first.
int runHistory(const std::string& database, const Clock& clock, TimeRange range,
               const OutputOptions& options);

/// How the last quarter of an hour compares with the last hour.
int runTrends(const std::string& database, const Clock& clock, const OutputOptions& options);

}  // namespace corvanta::ctl
