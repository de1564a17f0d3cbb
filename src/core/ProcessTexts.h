// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "core/NumberText.h"

namespace corvanta {

/// A share of a processor or of the memory, as in "12.5%".
std::string processUsageString(double percentage);

/// Processor time, cut to whole seconds, as in "59s", "1:00" or "1:01:01". Less than 0 and not-a-number read
/// "0s".
std::string cpuTimeString(double seconds);

/// Resident memory, as in "1.5 MB"; a dash for none at all.
std::string memoryString(std::uint64_t residentBytes, const NumberSymbols& symbols);

/// How long a process has been running, cut to whole seconds, as in "00:05", "03:00:00" or "2-00:00:00". Less
/// than 0 and not-a-number read "00:00".
std::string processElapsedString(double seconds);

}  // namespace corvanta
