// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "incidents/model/IncidentConfidence.h"
#include "incidents/model/IncidentObservation.h"
#include "incidents/model/IncidentResolutionState.h"
#include "incidents/model/IncidentRuleConfiguration.h"
#include "incidents/model/PerformanceAlertSnoozePolicy.h"
#include "incidents/model/PerformanceIncident.h"
#include "incidents/model/ThermalRank.h"

namespace corvanta {
namespace {

TEST(IncidentRuleConfiguration, allRulesAreInForceByDefault) {
    EXPECT_EQ(IncidentRuleConfiguration::allEnabled(), (IncidentRuleConfiguration{true, true, true}));
}

TEST(IncidentKind, hasItsTextsInOrder) {
    std::vector<std::array<std::string_view, 3>> texts;
    for (const IncidentKind kind : allIncidentKinds) {
        texts.push_back({rawValue(kind), label(kind), systemImage(kind)});
        EXPECT_EQ(incidentKindFromRaw(rawValue(kind)), kind);
    }
    EXPECT_EQ(texts, (std::vector<std::array<std::string_view, 3>>{
                         {"cpu", "CPU load", "cpu"},
                         {"memory", "Memory pressure", "memorychip"},
                         {"thermal", "Thermal pressure", "thermometer.high"},
                         {"combined", "Combined pressure", "waveform.path.ecg"}}));
    for (const auto* raw : {"", "CPU", "cpu ", "disk"}) EXPECT_EQ(incidentKindFromRaw(raw), std::nullopt);
}

TEST(IncidentSeverity, isRankedByItsRawValue) {
    EXPECT_EQ(rawValue(IncidentSeverity::warning), 1);
    EXPECT_EQ(rawValue(IncidentSeverity::critical), 2);
    EXPECT_EQ(label(IncidentSeverity::warning), "Elevated");
    EXPECT_EQ(label(IncidentSeverity::critical), "Critical");
    EXPECT_GT(IncidentSeverity::critical, IncidentSeverity::warning);
    for (const IncidentSeverity severity : allIncidentSeverities)
        EXPECT_EQ(incidentSeverityFromRaw(rawValue(severity)), severity);
    for (const std::int64_t raw : {-1, 0, 3}) EXPECT_EQ(incidentSeverityFromRaw(raw), std::nullopt) << raw;
}

TEST(IncidentResolutionState, hasItsTextsInOrder) {
    std::vector<std::pair<std::string_view, std::string_view>> texts;
    for (const IncidentResolutionState state : allIncidentResolutionStates) {
        texts.emplace_back(rawValue(state), label(state));
        EXPECT_EQ(incidentResolutionStateFromRaw(rawValue(state)), state);
    }
    EXPECT_EQ(texts, (std::vector<std::pair<std::string_view, std::string_view>>{
                         {"active", "Active"},
                         {"recovering", "Confirming recovery"},
                         {"recovered", "Recovered"},
                         {"interrupted", "Monitoring ended"}}));
    EXPECT_EQ(incidentResolutionStateFromRaw("Active"), std::nullopt);
}

TEST(IncidentConfidence, isRankedByItsRawValue) {
    EXPECT_EQ(label(IncidentConfidence::limited), "Limited evidence");
    EXPECT_EQ(label(IncidentConfidence::moderate), "Moderate confidence");
    EXPECT_EQ(label(IncidentConfidence::strong), "Strong confidence");
    EXPECT_GT(IncidentConfidence::strong, IncidentConfidence::moderate);
    EXPECT_GT(IncidentConfidence::moderate, IncidentConfidence::limited);
    for (const std::int64_t raw : {1, 2, 3}) {
        ASSERT_TRUE(incidentConfidenceFromRaw(raw)) << raw;
        EXPECT_EQ(rawValue(*incidentConfidenceFromRaw(raw)), raw);
    }
    for (const std::int64_t raw : {-1, 0, 4}) EXPECT_EQ(incidentConfidenceFromRaw(raw), std::nullopt) << raw;
}

TEST(IncidentObservation, aNegativeRateNeverSubtracts) {
    IncidentObservation observation;
    observation.uploadSpeed = -1;
    observation.downloadSpeed = 100;
    EXPECT_EQ(observation.networkBytesPerSecond(), 100);
    observation.uploadSpeed = 50;
    EXPECT_EQ(observation.networkBytesPerSecond(), 150);
    observation.downloadSpeed = -7;
    EXPECT_EQ(observation.networkBytesPerSecond(), 50);
}

TEST(PerformanceAlertSnoozePolicy, lastsUntilStrictlyBeforeItsEnd) {
    using PerformanceAlertSnoozePolicy::isSnoozed;
    const Instant noon = instantFromSeconds(43200);
    EXPECT_FALSE(isSnoozed(std::nullopt, noon));
    EXPECT_FALSE(isSnoozed(noon, noon));
    EXPECT_FALSE(isSnoozed(instantFromSeconds(43199.9), noon));
    EXPECT_TRUE(isSnoozed(instantFromSeconds(43200.1), noon));
}

PerformanceIncident incident(std::optional<double> endedAt, std::optional<double> recoveryStartedAt) {
    PerformanceIncident made;
    made.startedAt = instantFromSeconds(1000);
    if (endedAt) made.endedAt = instantFromSeconds(*endedAt);
    if (recoveryStartedAt) made.recoveryStartedAt = instantFromSeconds(*recoveryStartedAt);
    return made;
}

TEST(PerformanceIncident, anEndWithoutAStartOfRecoveryIsAnInterruption) {
    const auto interrupted = incident(1100, std::nullopt);
    EXPECT_TRUE(interrupted.wasInterrupted());
    EXPECT_FALSE(interrupted.hasConfirmedRecovery());
    EXPECT_FALSE(interrupted.isActive());
    const auto recovered = incident(1100, 1100);
    EXPECT_TRUE(recovered.hasConfirmedRecovery());
    EXPECT_FALSE(recovered.wasInterrupted());
    EXPECT_FALSE(recovered.isRecovering());
}

TEST(PerformanceIncident, anOpenOneThatConfirmsItsRecoveryIsActiveAndRecovering) {
    const auto recovering = incident(std::nullopt, 1050);
    EXPECT_TRUE(recovering.isActive());
    EXPECT_TRUE(recovering.isRecovering());
    const auto open = incident(std::nullopt, std::nullopt);
    EXPECT_TRUE(open.isActive());
    EXPECT_FALSE(open.isRecovering());
}

TEST(PerformanceIncident, itsDurationStandsStillFromTheStartOfRecoveryOn) {
    const Instant now = instantFromSeconds(2000);
    const Instant later = instantFromSeconds(2001.5);
    EXPECT_EQ(incident(std::nullopt, 1050).duration(now), 50);
    EXPECT_EQ(incident(std::nullopt, 1050).duration(later), 50);
    EXPECT_EQ(incident(std::nullopt, std::nullopt).duration(now), 1000);
    EXPECT_EQ(incident(std::nullopt, std::nullopt).duration(later), 1001.5);
    EXPECT_EQ(incident(1100, 1050).duration(later), 100);
}

TEST(PerformanceIncident, anEndBeforeItsStartGivesNoDuration) {
    const Instant now = instantFromSeconds(2000);
    EXPECT_EQ(incident(999, std::nullopt).duration(now), 0);
    EXPECT_EQ(incident(std::nullopt, 900).duration(now), 0);
    EXPECT_EQ(incident(std::nullopt, std::nullopt).duration(instantFromSeconds(10)), 0);
}

TEST(PerformanceIncident, standsInOneOfFourStates) {
    EXPECT_EQ(incident(std::nullopt, std::nullopt).resolutionState(), IncidentResolutionState::active);
    EXPECT_EQ(incident(std::nullopt, 1050).resolutionState(), IncidentResolutionState::recovering);
    EXPECT_EQ(incident(1100, 1050).resolutionState(), IncidentResolutionState::recovered);
    EXPECT_EQ(incident(1100, std::nullopt).resolutionState(), IncidentResolutionState::interrupted);
}

TEST(PerformanceIncident, isDismissedFromTheMomentThatSaysSo) {
    auto dismissed = incident(1100, 1050);
    EXPECT_FALSE(dismissed.isDismissed());
    dismissed.dismissedAt = instantFromSeconds(0);
    EXPECT_TRUE(dismissed.isDismissed());
}

TEST(ThermalRank, ranksTheWordsInAnyCase) {
    EXPECT_EQ(thermalRank("Critical"), 3);
    EXPECT_EQ(thermalRank("SERIOUS"), 2);
    EXPECT_EQ(thermalRank("fair"), 1);
    for (const auto* word : {"Nominal", "Unknown", "", "critica", "criticall", "seriou", "Faire"}) {
        EXPECT_EQ(thermalRank(word), 0) << word;
    }
    EXPECT_TRUE(isThermalPressure("serious"));
    EXPECT_FALSE(isThermalPressure("Fair"));
}

}  // namespace
}  // namespace corvanta
