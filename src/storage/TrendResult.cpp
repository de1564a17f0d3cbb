// SPDX-License-Identifier: Apache-2.0
#include "storage/TrendResult.h"

namespace corvanta {
namespace {

std::string_view risingText(TrendResult::TrendSeverity severity) {
    switch (severity) {
        case TrendResult::TrendSeverity::normal:
            return " is at normal levels.";
        case TrendResult::TrendSeverity::elevated:
            return " is trending above its normal baseline.";
        case TrendResult::TrendSeverity::high:
            return " has been rising significantly over the last hour — currently well above baseline.";
    }
    std::abort();
}

std::string_view trendText(const TrendResult& result) {
    switch (result.trend) {
        case TrendResult::TrendDirection::rising:
            return risingText(result.severity);
        case TrendResult::TrendDirection::falling:
            return " is trending downward.";
        case TrendResult::TrendDirection::steady:
            // Also for a metric that stays high.
            return " is at normal levels.";
    }
    std::abort();
}

}  // namespace

std::string summary(const TrendResult& result) {
    return result.metric + std::string(trendText(result));
}

}  // namespace corvanta
