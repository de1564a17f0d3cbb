// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <vector>

/// CPU time of one call in this process, the kernel's included, in microseconds.
template <class Work>
double cpuMicroseconds(Work work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
    };
    const double begin = now();
    work();
    return now() - begin;
}

/// The value in the middle, of an even count the upper one. It leaves the values in another order.
inline double median(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}
