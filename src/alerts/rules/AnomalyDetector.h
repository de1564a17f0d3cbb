// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alerts/rules/AnomalyMetric.h"
#include "core/Clock.h"
#include "core/Mutex.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// The normal level of one metric.
struct MetricBaseline {
    double median = 0;
    double mad = 0;  ///< median absolute deviation from that median
    std::size_t sampleCount = 0;
    Instant computedAt{};

    bool operator==(const MetricBaseline&) const = default;
};

/// One finding: a metric stands well above what is normal for this machine.
struct Anomaly {
    AnomalyMetric metric = AnomalyMetric::cpu;
    double recentMedian = 0;
    double baselineMedian = 0;
    double score = 0;  ///< modified z-score

    /// How many times the normal level; 0 where that is not above 0.
    double multiple() const { return baselineMedian > 0 ? recentMedian / baselineMedian : 0; }
    /// The sentence for the user.
    std::string detail() const;

    bool operator==(const Anomaly&) const = default;
};

/// What a metric was judged to be, or why it was not judged.
enum class AnomalyVerdict {
    tooFewValuesForBaseline,  ///< in seven days, not even a baseline
    baselineTooShort,         ///< a baseline, but of too few values to judge by
    tooFewRecentValues,
    belowFloor,
    usual,
    unusual,
};

/// One metric weighed, with the figures that the judging came to.
struct AnomalyAssessment {
    AnomalyMetric metric = AnomalyMetric::cpu;
    AnomalyVerdict verdict = AnomalyVerdict::tooFewValuesForBaseline;
    std::optional<MetricBaseline> baseline = std::nullopt;
    std::optional<double> recentMedian = std::nullopt;
    std::optional<double> score = std::nullopt;  ///< present with `usual` and `unusual`

    bool operator==(const AnomalyAssessment&) const = default;
};

/// Judges whether the machine, over the last quarter of an hour, works well above its normal level of the
/// last seven days. Medians on both sides keep short spikes from moving either. What no machine gives counts
/// as missing in the history: what is no finite number, and what is a million percent or more either way.
///
/// Lives as long as its owner, and its baselines with it. Any thread (locks the baselines, never across a
/// query); it blocks on the store. A store that is closed or fails has no values, and so gives no finding.
class AnomalyDetector {
  public:
    static constexpr std::int64_t baselineWindowSeconds = 604800;
    static constexpr std::int64_t recentWindowSeconds = 900;
    static constexpr double baselineTTL = 3600.0;  ///< seconds; at this age a baseline is computed anew
    static constexpr std::size_t minBaselineSamples = 2000;
    static constexpr std::size_t minRecentSamples = 30;  ///< also the fewest values to compute a baseline of
    static constexpr double scoreThreshold = 3.5;        ///< inclusive
    static constexpr double madFloorFraction = 0.05;     ///< of the baseline's median

    /// Gives the store for one judgement.
    using OpenStore = std::function<std::shared_ptr<const DatabaseManager>()>;

    /// The clock outlives the detector.
    AnomalyDetector(OpenStore openStore, const Clock& clock);
    /// Both outlive the detector.
    AnomalyDetector(const DatabaseManager& database, const Clock& clock);

    /// The program's own, made on first use. It reads over connections of its own, so that nobody who writes
    /// to the store has to wait while a week is read.
    static AnomalyDetector& shared();

    /// In the order of the metrics.
    std::vector<Anomaly> check();

    /// What `check` goes by, for one metric.
    AnomalyAssessment assess(AnomalyMetric metric);

  private:
    AnomalyAssessment assess(const DatabaseManager& store, AnomalyMetric metric);
    std::optional<MetricBaseline> baseline(const DatabaseManager& store, AnomalyMetric metric);
    std::optional<MetricBaseline> cachedBaseline(AnomalyMetric metric);

    const OpenStore openStore_;
    const Clock& clock_;

    Mutex baselineLock_;
    std::map<AnomalyMetric, MetricBaseline> baselines_ GUARDED_BY(baselineLock_);
};

}  // namespace corvanta
