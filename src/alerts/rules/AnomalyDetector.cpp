// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/AnomalyDetector.h"

#include <algorithm>

#include "alerts/rules/Median.h"
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

}  // namespace

std::string Anomaly::detail() const {
    return std::string(displayName(metric)) + " is at " + fixedText(recentMedian, 0) +
           "% — well above its usual " + fixedText(baselineMedian, 0) + "% for your Mac.";
}

AnomalyDetector::AnomalyDetector(const DatabaseManager& database, const Clock& clock)
    : database_(database), clock_(clock) {}

AnomalyDetector& AnomalyDetector::shared() {
    static const SystemClock& clock = *new SystemClock;
    static AnomalyDetector& instance = *new AnomalyDetector(DatabaseManager::shared(), clock);
    return instance;
}

std::vector<Anomaly> AnomalyDetector::check() {
    std::vector<Anomaly> anomalies;
    for (const AnomalyMetric metric : allAnomalyMetrics) {
        const AnomalyAssessment assessed = assess(metric);
        if (assessed.verdict != AnomalyVerdict::unusual) continue;
        anomalies.push_back({metric, *assessed.recentMedian, assessed.baseline->median, *assessed.score});
    }
    return anomalies;
}

AnomalyAssessment AnomalyDetector::assess(AnomalyMetric metric) {
    AnomalyAssessment result{.metric = metric, .baseline = baseline(metric)};
    const auto judgedAs = [&result](AnomalyVerdict verdict) {
        result.verdict = verdict;
        return result;
    };
    if (!result.baseline) return judgedAs(AnomalyVerdict::tooFewValuesForBaseline);
    if (result.baseline->sampleCount < minBaselineSamples) return judgedAs(AnomalyVerdict::baselineTooShort);

    std::vector<double> recent = values(metric, recentWindowSeconds);
    if (recent.size() < minRecentSamples) return judgedAs(AnomalyVerdict::tooFewRecentValues);
    result.recentMedian = median(recent);
    if (*result.recentMedian < absoluteFloor(metric)) return judgedAs(AnomalyVerdict::belowFloor);

    result.score = score(*result.recentMedian, *result.baseline);
    return judgedAs(*result.score >= scoreThreshold ? AnomalyVerdict::unusual : AnomalyVerdict::usual);
}

std::optional<MetricBaseline> AnomalyDetector::baseline(AnomalyMetric metric) {
    const auto cached = cachedBaseline(metric);
    if (cached && secondsSince1970(clock_.now()) - secondsSince1970(cached->computedAt) < baselineTTL)
        return cached;

    std::vector<double> week = values(metric, baselineWindowSeconds);
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

std::vector<double> AnomalyDetector::values(AnomalyMetric metric, std::int64_t lastSeconds) const {
    std::vector<double> values = database_.fetchMetricValues(column(metric), lastSeconds);
    std::erase_if(values, [](double value) { return !isPlausiblePercentage(value); });
    return values;
}

}  // namespace corvanta
