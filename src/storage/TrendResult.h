// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// How one metric stands in a short period against a longer one that contains it.
struct TrendResult {
    enum class TrendDirection { rising, falling, steady };

    /// How high the short-term mean stands.
    enum class TrendSeverity { normal, elevated, high };

    std::string metric;       ///< display name: "CPU" or "Memory Pressure"
    double shortTermAvg = 0;  ///< percent
    double longTermAvg = 0;   ///< percent
    TrendDirection trend = TrendDirection::steady;
    TrendSeverity severity = TrendSeverity::normal;

    bool operator==(const TrendResult&) const = default;
};

/// A sentence about the trend that begins with the metric's name.
std::string summary(const TrendResult& result);

inline constexpr std::array allTrendDirections = {TrendResult::TrendDirection::rising,
                                                  TrendResult::TrendDirection::falling,
                                                  TrendResult::TrendDirection::steady};
constexpr const auto& allCases(TrendResult::TrendDirection) {
    return allTrendDirections;
}

constexpr std::string_view rawValue(TrendResult::TrendDirection value) {
    switch (value) {
        case TrendResult::TrendDirection::rising:
            return "rising";
        case TrendResult::TrendDirection::falling:
            return "falling";
        case TrendResult::TrendDirection::steady:
            return "steady";
    }
    std::abort();
}

constexpr std::optional<TrendResult::TrendDirection> trendDirectionFromRaw(std::string_view raw) {
    return caseFromRaw<TrendResult::TrendDirection>(raw);
}

inline constexpr std::array allTrendSeverities = {TrendResult::TrendSeverity::normal,
                                                  TrendResult::TrendSeverity::elevated,
                                                  TrendResult::TrendSeverity::high};
constexpr const auto& allCases(TrendResult::TrendSeverity) {
    return allTrendSeverities;
}

constexpr std::string_view rawValue(TrendResult::TrendSeverity value) {
    switch (value) {
        case TrendResult::TrendSeverity::normal:
            return "normal";
        case TrendResult::TrendSeverity::elevated:
            return "elevated";
        case TrendResult::TrendSeverity::high:
            return "high";
    }
    std::abort();
}

constexpr std::optional<TrendResult::TrendSeverity> trendSeverityFromRaw(std::string_view raw) {
    return caseFromRaw<TrendResult::TrendSeverity>(raw);
}

}  // namespace corvanta
