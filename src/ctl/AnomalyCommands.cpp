// SPDX-License-Identifier: Apache-2.0
#include "ctl/AnomalyCommands.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/rules/AnomalyDetector.h"
#include "core/NumberText.h"
#include "core/PlausiblePercentage.h"
#include "ctl/Json.h"
#include "ctl/StoreCommands.h"

namespace corvanta::ctl {
namespace {

/// The word by which programs know a verdict.
std::string_view word(AnomalyVerdict verdict) {
    switch (verdict) {
        case AnomalyVerdict::tooFewValuesForBaseline:
            return "tooFewValuesForBaseline";
        case AnomalyVerdict::baselineTooShort:
            return "baselineTooShort";
        case AnomalyVerdict::tooFewRecentValues:
            return "tooFewRecentValues";
        case AnomalyVerdict::belowFloor:
            return "belowFloor";
        case AnomalyVerdict::usual:
            return "usual";
        case AnomalyVerdict::unusual:
            return "unusual";
    }
    std::abort();
}

std::string explanation(AnomalyMetric metric, AnomalyVerdict verdict) {
    switch (verdict) {
        case AnomalyVerdict::tooFewValuesForBaseline:
            return "Not judged: fewer than " + integerText(AnomalyDetector::minRecentSamples) +
                   " values in seven days";
        case AnomalyVerdict::baselineTooShort:
            return "Not judged: fewer than " + integerText(AnomalyDetector::minBaselineSamples) +
                   " values in seven days";
        case AnomalyVerdict::tooFewRecentValues:
            return "Not judged: fewer than " + integerText(AnomalyDetector::minRecentSamples) +
                   " values in the last 15 minutes";
        case AnomalyVerdict::belowFloor:
            return "Never unusual below " + fixedText(absoluteFloor(metric), 0) + "%";
        case AnomalyVerdict::usual:
            return "Usual for this machine";
        case AnomalyVerdict::unusual:
            return "Unusual for this machine";
    }
    std::abort();
}

Json jsonOf(const AnomalyAssessment& assessed) {
    const auto& baseline = assessed.baseline;
    return {{"metric", rawValue(assessed.metric)},
            {"baseline_median", baseline ? Json(baseline->median) : Json(nullptr)},
            {"baseline_deviation", baseline ? Json(baseline->mad) : Json(nullptr)},
            {"baseline_values", baseline ? Json(baseline->sampleCount) : Json(nullptr)},
            {"recent_median", orNull(assessed.recentMedian)},
            {"score", orNull(assessed.score)},
            {"verdict", word(assessed.verdict)}};
}

/// One decimal; a dash for what is absent, and for what a row may hold but no machine gives.
std::string cell(const std::optional<double>& figure, std::string_view unit = "") {
    if (!figure || !isPlausiblePercentage(*figure)) return "-";
    return fixedText(*figure, 1).append(unit);
}

std::vector<std::string> textOf(const AnomalyAssessment& assessed, const OutputOptions& options) {
    const auto& baseline = assessed.baseline;
    std::string verdict = explanation(assessed.metric, assessed.verdict);
    if (assessed.verdict == AnomalyVerdict::unusual) verdict = colored(verdict, ColorRole::orange, options);
    return {std::string(displayName(assessed.metric)),
            baseline ? cell(baseline->median, "%") : "-",
            baseline ? cell(baseline->mad) : "-",
            baseline ? integerText(baseline->sampleCount) : "-",
            cell(assessed.recentMedian, "%"),
            cell(assessed.score),
            std::move(verdict)};
}

int runAnomalies(const Surroundings& at) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    AnomalyDetector detector(store, at.ports.clock);
    Json list = Json::array();
    std::vector<std::vector<std::string>> lines = {
        {"Metric", "Normal", "Deviation", "Values", "Last 15 min", "Score", "Verdict"}};
    for (const AnomalyMetric metric : allAnomalyMetrics) {
        const AnomalyAssessment assessed = detector.assess(metric);
        list.push_back(jsonOf(assessed));
        lines.push_back(textOf(assessed, at.output));
    }
    return print(at.output.json ? dumped(list) + "\n" : table(lines)) ? 0 : 1;
}

}  // namespace

void addAnomalies(CommandList& commands) {
    commands.add("anomalies", "Compare the last 15 minutes with what is normal for this machine",
                 runAnomalies);
}

}  // namespace corvanta::ctl
