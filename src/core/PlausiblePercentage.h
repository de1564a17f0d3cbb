// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

namespace corvanta {

/// Whether a machine can have given a percentage, or a sum or difference of such. A stored row may hold any
/// number; what is infinite, no number, or of a million and more either way is none of a machine. Wide enough
/// for the load of a process on every core there may be.
inline bool isPlausiblePercentage(double value) {
    return std::abs(value) < 1e6;
}

}  // namespace corvanta
