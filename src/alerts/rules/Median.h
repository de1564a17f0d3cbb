// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

namespace corvanta {

/// The median of finite values, in linear time: of an even count the mean of the two in the middle, of none
/// 0. It leaves the values in another order.
double median(std::span<double> values);

/// The median of their absolute distances from a centre, which it leaves in the place of the values.
double medianDeviation(std::span<double> values, double centre);

}  // namespace corvanta
