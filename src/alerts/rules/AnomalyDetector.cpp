// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/AnomalyDetector.h"

#include <algorithm>
#include <utility>

#include "alerts/rules/Median.h"
#include "core/ApplicationPaths.h"
#include "core/NumberText.h"
#include "core/PlausiblePercentage.h"

namespace corvanta {
namespace {

// Makes the deviation comparable with a standard deviation: the 0.75 quantile of the normal distribution.
constexpr double modifiedZScore = 0.6745;
// Percentage points; keeps a machine whose level hardly varies from scoring without limit.
constexpr double smallestScale = 1.0;

double score(double recentMedian, const MetricBaseline& baseline) {
    const double floor = std::max(baseline.median * AnomalyDetector::madFloorFraction, smallestScale);
    return (recentMedian - baseline.median) * modifiedZScore / std::max(baseline.mad, floor);
}

std::vector<double> values(const DatabaseManager& store, AnomalyMetric metric, std::int64_t lastSeconds) {
    std::vector<double> values = store.fetchMetricValues(column(metric), lastSeconds);
    std::erase_if(values, [](double value) { return !isPlausiblePercentage(value); });
    return values;
}

}  // namespace

std::string Anomaly::detail() const {
    return std::string(displayName(metric)) + " is at " + fixedText(recentMedian, 0) +
           "% — well above its usual " + fixedText(baselineMedian, 0) + "% for your Mac.";
}

AnomalyDetector::AnomalyDetector(OpenStore openStore, const Clock& clock)
    : openStore_(std::move(openStore)), clock_(clock) {}

AnomalyDetector::AnomalyDetector(const DatabaseManager& database, const Clock& clock)
    : AnomalyDetector(
          [&database] { return std::shared_ptr<const DatabaseManager>(&database, [](const auto*) {}); },
          clock) {}

AnomalyDetector& AnomalyDetector::shared() {
    static const SystemClock& clock = *new SystemClock;
    const auto openStore = [] {
        return std::make_shared<const DatabaseManager>(applicationPaths().databaseFile, clock,
                                                       StoreAccess::companion);
    };
    static AnomalyDetector& instance = *new AnomalyDetector(openStore, clock);
    return instance;
}

std::vector<Anomaly> AnomalyDetector::check() {
    std::vector<Anomaly> anomalies;
    const auto store = openStore_();
    for (const AnomalyMetric metric : allAnomalyMetrics) {
        const AnomalyAssessment assessed = assess(*store, metric);
        if (assessed.verdict != AnomalyVerdict::unusual) continue;
        anomalies.push_back({metric, *assessed.recentMedian, assessed.baseline->median, *assessed.score});
    }
    return anomalies;
}

AnomalyAssessment AnomalyDetector::assess(AnomalyMetric metric) {
    return assess(*openStore_(), metric);
}

AnomalyAssessment AnomalyDetector::assess(const DatabaseManager& store, AnomalyMetric metric) {
    AnomalyAssessment result{.metric = metric, .baseline = baseline(store, metric)};
    const auto judgedAs = [&result](AnomalyVerdict verdict) {
        result.verdict = verdict;
        return result;
    };
    if (!result.baseline) return judgedAs(AnomalyVerdict::tooFewValuesForBaseline);
    if (result.baseline->sampleCount < minBaselineSamples) return judgedAs(AnomalyVerdict::baselineTooShort);

    std::vector<double> recent = values(store, metric, recentWindowSeconds);
    if (recent.size() < minRecentSamples) return judgedAs(AnomalyVerdict::tooFewRecentValues);
    result.recentMedian = median(recent);
    if (*result.recentMedian < absoluteFloor(metric)) return judgedAs(AnomalyVerdict::belowFloor);

    result.score = score(*result.recentMedian, *result.baseline);
    return judgedAs(*result.score >= scoreThreshold ? AnomalyVerdict::unusual : AnomalyVerdict::usual);
}

std::optional<MetricBaseline> AnomalyDetector::baseline(const DatabaseManager& store, AnomalyMetric metric) {
    const auto cached = cachedBaseline(metric);
    if (cached && secondsSince1970(clock_.now()) - secondsSince1970(cached->computedAt) < baselineTTL)
        return cached;

    std::vector<double> week = values(store, metric, baselineWindowSeconds);
    if (week.size() < minRecentSamples) return std::nullopt;
    MetricBaseline computed;
    computed.median = median(week);
    computed.mad = medianDeviation(week, computed.median);
    computed.sampleCount = week.size();
    computed.computedAt = clock_.now();

    const LockGuard guard(baselineLock_);
    baselines_.insert_or_assign(metric, computed);
    return computed;
}

std::optional<MetricBaseline> AnomalyDetector::cachedBaseline(AnomalyMetric metric) {
    const LockGuard guard(baselineLock_);
    const auto found = baselines_.find(metric);
    return found == baselines_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace corvanta
