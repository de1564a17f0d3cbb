// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/Median.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

double medianOf(std::vector<double> values) {
    return median(values);
}

double bySorting(std::vector<double> values) {
    if (values.empty()) return 0;
    std::stable_sort(values.begin(), values.end());
    const double upper = values.at(values.size() / 2);
    const double lower = values.at((values.size() - 1) / 2);
    return (lower + upper) / 2;
}

/// Few distinct numbers, so that ties are the rule.
rc::Gen<std::vector<double>> lists() {
    return rc::gen::container<std::vector<double>>(
        rc::gen::map(rc::gen::inRange(-40, 400), [](int quarters) { return quarters / 4.0; }));
}

TEST(Median, isTheMiddleValueOrTheMeanOfTheTwoInTheMiddle) {
    const std::vector<std::pair<std::vector<double>, double>> rows = {
        {{}, 0.0},
        {{7}, 7},
        {{9, 1}, 5},
        {{9, 1, 2}, 2},
        {{40, 10, 30, 20}, 25},
        {{5, 5, 5, 5}, 5},
        {{1, 1, 2, 100}, 1.5},
        {{-3, -1, -2}, -2},
        {{-0.0, 0.0}, 0},
        {{1, 2, 3, 4, 5, 1000}, 3.5},
    };
    for (const auto& [values, expected] : rows) EXPECT_EQ(medianOf(values), expected);
}

TEST(Median, ofTwoLargestNumbersIsNoInfinity) {
    constexpr double largest = std::numeric_limits<double>::max();
    EXPECT_EQ(medianOf({largest, largest}), largest);
}

TEST(Median, agreesWithSorting) {
    EXPECT_TRUE(rc::check("any list", [] {
        const auto values = *lists();
        RC_ASSERT(medianOf(values) == bySorting(values));
    }));
}

TEST(Median, keepsTheValuesThatItReorders) {
    EXPECT_TRUE(rc::check("any list", [] {
        auto values = *lists();
        auto before = values;
        median(values);
        RC_ASSERT(std::is_permutation(values.begin(), values.end(), before.begin(), before.end()));
    }));
}

TEST(MedianDeviation, isTheMedianOfTheDistancesFromTheCentre) {
    std::vector<double> values = {1, 1, 2, 2, 4, 6, 9};
    EXPECT_EQ(medianDeviation(values, 2), 1);
    EXPECT_EQ(medianDeviation({}, 2), 0);
}

TEST(MedianDeviation, agreesWithSorting) {
    EXPECT_TRUE(rc::check("any list and centre", [] {
        auto values = *lists();
        const double centre = *rc::gen::inRange(-10, 110);
        std::vector<double> distances;
        distances.reserve(values.size());
        for (const double value : values) distances.push_back(std::fabs(value - centre));
        RC_ASSERT(medianDeviation(values, centre) == bySorting(distances));
    }));
}

}  // namespace
}  // namespace corvanta
