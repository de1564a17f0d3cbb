// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace corvanta {

/// A moment in the machine's present time zone, as "2026-11-21 10:15:32"; "?" for one in a year that no
/// calendar holds.
std::string localTime(std::int64_t secondsSince1970);

/// The minute, 0 to 59, that a clock in the machine's present time zone shows; 0 for a moment in a year that
/// no calendar holds.
int localMinute(std::int64_t secondsSince1970);

}  // namespace corvanta
