// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// What is watched for unusual activity, in the order in which it is judged.
enum class AnomalyMetric { cpu, memoryPressure };

inline constexpr std::array allAnomalyMetrics = {AnomalyMetric::cpu, AnomalyMetric::memoryPressure};
constexpr const auto& allCases(AnomalyMetric) {
    return allAnomalyMetrics;
}

constexpr std::string_view rawValue(AnomalyMetric metric) {
    switch (metric) {
        case AnomalyMetric::cpu:
            return "cpu";
        case AnomalyMetric::memoryPressure:
            return "memoryPressure";
    }
    std::abort();
}

constexpr std::optional<AnomalyMetric> anomalyMetricFromRaw(std::string_view raw) {
    return caseFromRaw<AnomalyMetric>(raw);
}

/// The column of the stored history that holds the metric, in percent.
constexpr std::string_view column(AnomalyMetric metric) {
    switch (metric) {
        case AnomalyMetric::cpu:
            return "cpu_usage";
        case AnomalyMetric::memoryPressure:
            return "memory_pressure";
    }
    std::abort();
}

constexpr std::string_view displayName(AnomalyMetric metric) {
    switch (metric) {
        case AnomalyMetric::cpu:
            return "CPU";
        case AnomalyMetric::memoryPressure:
            return "Memory pressure";
    }
    std::abort();
}

/// Percent; a recent median below it is never unusual, whatever the baseline.
constexpr double absoluteFloor(AnomalyMetric metric) {
    switch (metric) {
        case AnomalyMetric::cpu:
            return 40.0;
        case AnomalyMetric::memoryPressure:
            return 55.0;
    }
    std::abort();
}

}  // namespace corvanta
