// SPDX-License-Identifier: Apache-2.0
// The detector over a real store against one that sorts everything it is given, on random histories.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <vector>

#include "AnomalyHistory.h"
#include "alerts/rules/AnomalyDetector.h"

namespace corvanta {
namespace {

using test::HistoryRow;

struct Level {
    double centre;
    double spread;
};

/// How a random history is made; the bulk of its values comes from the seed.
struct Recipe {
    int older;
    int recent;
    Level olderLevel;
    Level recentLevel;
    int holesInThousand;  ///< rows in which the value is missing or infinite
    unsigned seed;
};

rc::Gen<Level> levels(std::initializer_list<double> centres) {
    return rc::gen::build<Level>(
        rc::gen::set(&Level::centre, rc::gen::elementOf(std::vector<double>(centres))),
        rc::gen::set(&Level::spread, rc::gen::element(0.0, 0.5, 3.0, 12.0, 45.0)));
}

rc::Gen<Recipe> recipes() {
    // Most are long enough for a verdict, or nearly so.
    const auto olderCounts = rc::gen::weightedOneOf<int>(
        {{2, rc::gen::inRange(1965, 1976)}, {4, rc::gen::inRange(2000, 2200)}, {1, rc::gen::inRange(0, 40)}});
    const auto recipe = rc::gen::build<Recipe>(
        rc::gen::set(&Recipe::older, olderCounts), rc::gen::set(&Recipe::recent, rc::gen::inRange(27, 40)),
        rc::gen::set(&Recipe::olderLevel, levels({0, 3, 20, 52.5})),
        rc::gen::set(&Recipe::recentLevel, levels({39.75, 40, 55, 70, 95})),
        rc::gen::set(&Recipe::holesInThousand, rc::gen::element(0, 0, 2, 40)),
        rc::gen::set(&Recipe::seed, rc::gen::arbitrary<unsigned>()));
    return rc::gen::resize(rc::kNominalSize, recipe);
}

class RandomHistory {
  public:
    explicit RandomHistory(const Recipe& recipe) : recipe_(recipe), random_(recipe.seed) {
        for (int i = 0; i < recipe.older; ++i) rows.push_back(row(901, 604900, recipe.olderLevel));
        for (int i = 0; i < recipe.recent; ++i) rows.push_back(row(-5, 900, recipe.recentLevel));
        std::shuffle(rows.begin(), rows.end(), random_);
    }

    std::vector<HistoryRow> rows;

  private:
    HistoryRow row(std::int64_t youngest, std::int64_t oldest, const Level& level) {
        return {std::uniform_int_distribution<std::int64_t>(youngest, oldest)(random_), value(level),
                value(level)};
    }
    /// A whole quarter, so that ties are many and nothing is rounded.
    std::optional<double> value(const Level& level) {
        if (std::uniform_int_distribution(0, 999)(random_) < recipe_.holesInThousand) {
            constexpr double infinite = std::numeric_limits<double>::infinity();
            switch (std::uniform_int_distribution(0, 2)(random_)) {
                case 0:
                    return infinite;
                case 1:
                    return -infinite;
                default:
                    return std::nullopt;
            }
        }
        const double quarters = std::uniform_real_distribution(-4 * level.spread, 4 * level.spread)(random_);
        return level.centre + std::round(quarters) / 4;
    }

    const Recipe& recipe_;
    std::mt19937 random_;
};

struct SlowDetector {
    const std::vector<HistoryRow>& rows;

    std::vector<double> sortedValues(AnomalyMetric metric, std::int64_t window) const {
        std::vector<double> values;
        for (const HistoryRow& row : rows) {
            const auto value = metric == AnomalyMetric::cpu ? row.cpu : row.pressure;
            if (row.age <= window && value && std::isfinite(*value)) values.push_back(*value);
        }
        std::sort(values.begin(), values.end());
        return values;
    }
    static double middle(const std::vector<double>& sorted) {
        return (sorted[(sorted.size() - 1) / 2] + sorted[sorted.size() / 2]) / 2;
    }

    std::optional<Anomaly> find(AnomalyMetric metric) const {
        const auto week = sortedValues(metric, 604800);
        const auto recent = sortedValues(metric, 900);
        if (week.size() < 2000 || recent.size() < 30) return std::nullopt;
        const double normal = middle(week);
        std::vector<double> distances;
        distances.reserve(week.size());
        for (const double value : week) distances.push_back(value > normal ? value - normal : normal - value);
        std::sort(distances.begin(), distances.end());
        const double scale = std::max({middle(distances), normal * 0.05, 1.0});
        const double now = middle(recent);
        const double score = (now - normal) * 0.6745 / scale;
        if (now < (metric == AnomalyMetric::cpu ? 40.0 : 55.0) || score < 3.5) return std::nullopt;
        return Anomaly{metric, now, normal, score};
    }

    std::vector<Anomaly> check() const {
        std::vector<Anomaly> found;
        for (const AnomalyMetric metric : {AnomalyMetric::cpu, AnomalyMetric::memoryPressure}) {
            if (const auto anomaly = find(metric)) found.push_back(*anomaly);
        }
        return found;
    }
};

TEST(AnomalyDetector, agreesWithOneThatSortsEverything) {
    test::AnomalyHistory history;
    EXPECT_TRUE(rc::check("random histories", [&history] {
        const Recipe recipe = *recipes();
        const RandomHistory random(recipe);
        history.replace(random.rows);
        const auto expected = SlowDetector{random.rows}.check();
        RC_TAG(expected.size());
        AnomalyDetector detector(history.store, history.clock);
        RC_ASSERT(detector.check() == expected);
        RC_ASSERT(detector.check() == expected);  // by the baselines that it has kept
    }));
}

}  // namespace
}  // namespace corvanta
