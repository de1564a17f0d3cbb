// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "incidents/model/IncidentObservation.h"
#include "incidents/model/IncidentRuleConfiguration.h"
#include "incidents/model/PerformanceAlertSnoozePolicy.h"

namespace corvanta {
namespace {

TEST(IncidentRuleConfiguration, allRulesAreInForceByDefault) {
    EXPECT_EQ(IncidentRuleConfiguration::allEnabled(), (IncidentRuleConfiguration{true, true, true}));
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

}  // namespace
}  // namespace corvanta
