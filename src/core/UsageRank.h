// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

namespace corvanta {

/// What a figure is sorted by: not-a-number, which would break every order, counts as 0.
inline double usageRank(double value) {
    return std::isnan(value) ? 0.0 : value;
}

}  // namespace corvanta
