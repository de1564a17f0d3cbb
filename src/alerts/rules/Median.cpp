// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/Median.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace corvanta {

double median(std::span<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 != 0) return *middle;
    return std::midpoint(*std::max_element(values.begin(), middle), *middle);
}

double medianDeviation(std::span<double> values, double centre) {
    for (double& value : values) value = std::abs(value - centre);
    return median(values);
}

}  // namespace corvanta
