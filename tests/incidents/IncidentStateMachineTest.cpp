// SPDX-License-Identifier: Apache-2.0
#include "incidents/model/IncidentStateMachine.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "incidents/IncidentStreams.h"

namespace corvanta {
namespace {

using namespace incident_transition;
using test::calmAt;

Instant at(double seconds) {
    return instantFromSeconds(seconds);
}

class IncidentStateMachineTest : public testing::Test {
  protected:
    using Change = std::function<void(IncidentObservation&)>;

    IncidentTransition feed(double seconds, const Change& change = {}) {
        IncidentObservation observation = calmAt(seconds);
        if (change) change(observation);
        return machine.ingest(observation, rules);
    }
    /// Feeds samples every `step` seconds, the last one included, and returns the answer to that. All before
    /// it must be answered with `none`.
    IncidentTransition run(double from, double to, const Change& change = {}, double step = 2) {
        IncidentTransition last = None{};
        for (double t = from; t <= to; t += step) {
            EXPECT_EQ(test::describe(last), "none") << "at " << t - step;
            last = feed(t, change);
        }
        return last;
    }

    static Change cpu(double usage) {
        return [usage](IncidentObservation& o) { o.cpuUsage = usage; };
    }
    static Change memory(MemoryPressureLevel level = MemoryPressureLevel::warning) {
        return [level](IncidentObservation& o) { o.memoryPressureState = level; };
    }
    static Change thermal(const char* word) {
        return [word](IncidentObservation& o) { o.thermalState = word; };
    }
    static Change both(const Change& one, const Change& other) {
        return [one, other](IncidentObservation& o) {
            one(o);
            other(o);
        };
    }
    static ActiveIncidentState state(double startedAt, IncidentKind kind,
                                     IncidentSeverity severity = IncidentSeverity::warning) {
        return {at(startedAt), kind, severity};
    }

    IncidentStateMachine machine;
    IncidentRuleConfiguration rules;
};

TEST_F(IncidentStateMachineTest, theVeryFirstSampleIsNoGapAndStartsItsConditions) {
    EXPECT_EQ(feed(0, thermal("Serious")), IncidentTransition(None{}));
    EXPECT_EQ(feed(10, thermal("Serious")), IncidentTransition(Started{state(0, IncidentKind::thermal)}));
}

TEST_F(IncidentStateMachineTest, cpuAtThresholdOpensAfterSixtySeconds) {
    EXPECT_EQ(run(0, 58, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(feed(60, cpu(90)), IncidentTransition(Started{state(0, IncidentKind::cpu)}));
    EXPECT_EQ(machine.activeIncident(), state(0, IncidentKind::cpu));
}

TEST_F(IncidentStateMachineTest, eightyFiveIsEnough) {
    EXPECT_EQ(run(0, 60, cpu(85)), IncidentTransition(Started{state(0, IncidentKind::cpu)}));
}

TEST_F(IncidentStateMachineTest, lessThanEightyFiveIsNot) {
    EXPECT_EQ(run(0, 200, cpu(84.99)), IncidentTransition(None{}));
}

TEST_F(IncidentStateMachineTest, oneSampleBelowTheLineBeginsTheMinuteAnew) {
    run(0, 40, cpu(90));
    feed(42, cpu(84));
    EXPECT_EQ(run(44, 102, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(feed(104, cpu(90)), IncidentTransition(Started{state(44, IncidentKind::cpu)}));
}

TEST_F(IncidentStateMachineTest, seventyWithElevatedMemoryIsCombined) {
    EXPECT_EQ(run(0, 60, both(cpu(70), memory())),
              IncidentTransition(Started{state(0, IncidentKind::combined)}));
}

TEST_F(IncidentStateMachineTest, lessThanSeventyWithElevatedMemoryIsMemory) {
    EXPECT_EQ(run(0, 60, both(cpu(69.99), memory())),
              IncidentTransition(Started{state(0, IncidentKind::memory)}));
}

TEST_F(IncidentStateMachineTest, aKindThatMaturesLaterStartsNothingAnew) {
    run(0, 8, memory());
    EXPECT_EQ(run(10, 60, both(cpu(90), memory())),
              IncidentTransition(Started{state(0, IncidentKind::memory)}));
    EXPECT_EQ(run(62, 70, both(cpu(90), memory())),
              IncidentTransition(Changed{state(0, IncidentKind::combined)}));
}

TEST_F(IncidentStateMachineTest, cpuAndMemoryThatMatureOnOneSampleAreCombined) {
    EXPECT_EQ(run(0, 60, both(cpu(90), memory(MemoryPressureLevel::critical))),
              IncidentTransition(Started{state(0, IncidentKind::combined, IncidentSeverity::critical)}));
}

TEST_F(IncidentStateMachineTest, aSustainedPairOutranksThermalAndThermalOutranksEach) {
    rules.thermalEnabled = false;
    run(0, 58, both(both(cpu(90), memory()), thermal("Serious")));
    rules.thermalEnabled = true;
    EXPECT_EQ(feed(60, both(both(cpu(90), memory()), thermal("Serious"))),
              IncidentTransition(Started{state(0, IncidentKind::combined)}));

    machine = {};
    run(0, 48, cpu(90));
    EXPECT_EQ(run(50, 60, both(cpu(90), thermal("Serious"))),
              IncidentTransition(Started{state(0, IncidentKind::thermal)}));
}

TEST_F(IncidentStateMachineTest, aConditionThatHasNotHeldLongEnoughHasNoSayInTheStart) {
    run(0, 28, cpu(90));
    EXPECT_EQ(run(30, 40, both(cpu(90), thermal("Serious"))),
              IncidentTransition(Started{state(30, IncidentKind::thermal)}));
}

TEST_F(IncidentStateMachineTest, seriousOpensAfterTenSecondsElevatedAndCriticalOpensCritical) {
    feed(0, thermal("Serious"));
    EXPECT_EQ(feed(9.99, thermal("Serious")), IncidentTransition(None{}));
    EXPECT_EQ(feed(10, thermal("Serious")), IncidentTransition(Started{state(0, IncidentKind::thermal)}));
    machine = {};
    feed(0, thermal("cRITICAL"));
    EXPECT_EQ(feed(10, thermal("Critical")),
              IncidentTransition(Started{state(0, IncidentKind::thermal, IncidentSeverity::critical)}));
}

TEST_F(IncidentStateMachineTest, fairNeverStartsAndDoesNotHold) {
    EXPECT_EQ(run(0, 200, thermal("Fair")), IncidentTransition(None{}));
    EXPECT_EQ(run(202, 212, thermal("Serious")),
              IncidentTransition(Started{state(202, IncidentKind::thermal)}));
    EXPECT_EQ(feed(214, thermal("Fair")),
              IncidentTransition(RecoveryStarted{state(202, IncidentKind::thermal), at(214)}));
}

TEST_F(IncidentStateMachineTest, severityRisesOnTheStatedLevelsAndNeverFalls) {
    const struct {
        Change change;
        IncidentSeverity severity;
    } rows[] = {{cpu(94.99), IncidentSeverity::warning},
                {cpu(95), IncidentSeverity::critical},
                {both(cpu(90), memory(MemoryPressureLevel::critical)), IncidentSeverity::critical},
                {both(cpu(90), memory()), IncidentSeverity::warning},
                {both(cpu(90), thermal("critical")), IncidentSeverity::critical},
                {both(cpu(90), thermal("Serious")), IncidentSeverity::warning}};
    for (const auto& row : rows) {
        machine = {};
        run(0, 60, cpu(90));
        const auto transition = feed(62, row.change);
        EXPECT_EQ(machine.activeIncident()->severity, row.severity);
        const bool isChanged = row.severity == IncidentSeverity::critical;
        EXPECT_EQ(transition, isChanged ? IncidentTransition(Changed{*machine.activeIncident()})
                                        : IncidentTransition(None{}));
        feed(64, cpu(90));
        EXPECT_EQ(machine.activeIncident()->severity, row.severity);
    }
}

TEST_F(IncidentStateMachineTest, aSecondKindMakesItCombinedForGood) {
    run(0, 60, cpu(90));
    EXPECT_EQ(run(62, 72, both(cpu(90), thermal("Serious"))),
              IncidentTransition(Changed{state(0, IncidentKind::combined)}));
    EXPECT_EQ(run(74, 140, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(machine.activeIncident()->kind, IncidentKind::combined);
}

TEST_F(IncidentStateMachineTest, aThermalIncidentBecomesCombinedOnlyWhenTheHeatEndsBeforeTheMemory) {
    run(0, 10, thermal("Serious"));
    EXPECT_EQ(run(12, 100, both(memory(), thermal("Serious"))), IncidentTransition(None{}));
    EXPECT_EQ(machine.activeIncident()->kind, IncidentKind::thermal);
    EXPECT_EQ(feed(102, memory()), IncidentTransition(Changed{state(0, IncidentKind::combined)}));
}

TEST_F(IncidentStateMachineTest, nothingSustainedLeavesTheKindAlone) {
    run(0, 60, memory());
    EXPECT_EQ(run(62, 140, cpu(75)), IncidentTransition(None{}));  // which holds it
    EXPECT_EQ(machine.activeIncident()->kind, IncidentKind::memory);
}

TEST_F(IncidentStateMachineTest, severityLooksAtNoRule) {
    rules.cpuEnabled = false;
    run(0, 60, memory());
    EXPECT_EQ(feed(62, both(memory(), cpu(96))),
              IncidentTransition(Changed{state(0, IncidentKind::memory, IncidentSeverity::critical)}));
}

TEST_F(IncidentStateMachineTest, ninetySecondsOfUnbrokenCalmEndItWhereTheCalmBegan) {
    const auto incident = state(38, IncidentKind::cpu);
    run(38, 98, cpu(90));
    EXPECT_EQ(feed(100), IncidentTransition(RecoveryStarted{incident, at(100)}));
    EXPECT_EQ(run(102, 148), IncidentTransition(None{}));
    EXPECT_EQ(feed(150, cpu(70)), IncidentTransition(RecoveryCancelled{incident}));
    EXPECT_EQ(feed(152), IncidentTransition(RecoveryStarted{incident, at(152)}));
    EXPECT_EQ(run(154, 240), IncidentTransition(None{}));
    EXPECT_EQ(feed(242), IncidentTransition(Ended{incident, at(152)}));
    EXPECT_EQ(machine.activeIncident(), std::nullopt);
}

TEST_F(IncidentStateMachineTest, lessThanSeventyIsCalmAndSeventyHolds) {
    run(0, 60, cpu(90));
    EXPECT_EQ(feed(62, cpu(70)), IncidentTransition(None{}));
    EXPECT_EQ(feed(64, cpu(69.99)), IncidentTransition(RecoveryStarted{state(0, IncidentKind::cpu), at(64)}));
}

TEST_F(IncidentStateMachineTest, theProcessorHoldsIncidentsOfEveryKind) {
    run(0, 10, thermal("Serious"));
    EXPECT_EQ(feed(12, cpu(75)), IncidentTransition(None{}));
    rules.cpuEnabled = false;
    EXPECT_EQ(feed(14, cpu(75)),
              IncidentTransition(RecoveryStarted{state(0, IncidentKind::thermal), at(14)}));
}

TEST_F(IncidentStateMachineTest, aUsageThatIsNoNumberIsNotCalm) {
    run(0, 60, cpu(90));
    EXPECT_EQ(feed(62, cpu(std::numeric_limits<double>::quiet_NaN())), IncidentTransition(None{}));
}

TEST_F(IncidentStateMachineTest, aChangeThatFallsOnACalmSampleIsNotReportedByItself) {
    run(0, 60, memory());
    rules.cpuEnabled = false;
    const auto critical = state(0, IncidentKind::memory, IncidentSeverity::critical);
    EXPECT_EQ(feed(62, cpu(96)), IncidentTransition(RecoveryStarted{critical, at(62)}));
    EXPECT_EQ(feed(64, cpu(96)), IncidentTransition(None{}));
}

TEST_F(IncidentStateMachineTest, aChangeDuringRecoveryIsReported) {
    run(0, 60, memory());
    rules.cpuEnabled = false;
    feed(62);
    EXPECT_EQ(feed(64, cpu(96)),
              IncidentTransition(Changed{state(0, IncidentKind::memory, IncidentSeverity::critical)}));
}

TEST_F(IncidentStateMachineTest, aChangeThatFallsOnTheEndIsCarriedInIt) {
    run(0, 60, memory());
    rules.cpuEnabled = false;
    feed(62);
    run(64, 150);
    EXPECT_EQ(feed(152, cpu(96)),
              IncidentTransition(Ended{state(0, IncidentKind::memory, IncidentSeverity::critical), at(62)}));
}

TEST_F(IncidentStateMachineTest, aRuleThatIsSwitchedOffLetsTheIncidentRecover) {
    run(0, 60, cpu(90));
    rules.cpuEnabled = false;
    EXPECT_EQ(feed(62, cpu(90)), IncidentTransition(RecoveryStarted{state(0, IncidentKind::cpu), at(62)}));
    EXPECT_EQ(run(64, 150, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(feed(152, cpu(90)), IncidentTransition(Ended{state(0, IncidentKind::cpu), at(62)}));
}

TEST_F(IncidentStateMachineTest, aRuleThatIsSwitchedOffBeginsItsMinuteAnew) {
    run(0, 40, cpu(90));
    rules.cpuEnabled = false;
    feed(42, cpu(90));
    rules.cpuEnabled = true;
    EXPECT_EQ(run(44, 104, cpu(90)), IncidentTransition(Started{state(44, IncidentKind::cpu)}));
}

struct Gap {
    double uptime;
    double wall;
    bool isGap;
};

class GapTest : public IncidentStateMachineTest, public testing::WithParamInterface<Gap> {};

TEST_P(GapTest, endsTheIncidentWithTheLastGoodSample) {
    run(0, 60, cpu(90));
    IncidentObservation observation = calmAt(60 + GetParam().uptime);
    observation.timestamp = at(60 + GetParam().wall);
    observation.cpuUsage = 96;  // which the ended state does not take over
    const auto transition = machine.ingest(observation, rules);
    if (GetParam().isGap) {
        EXPECT_EQ(transition, IncidentTransition(Ended{state(0, IncidentKind::cpu), at(60)}));
        EXPECT_EQ(machine.activeIncident(), std::nullopt);
    } else {
        EXPECT_EQ(transition,
                  IncidentTransition(Changed{state(0, IncidentKind::cpu, IncidentSeverity::critical)}));
    }
}

INSTANTIATE_TEST_SUITE_P(IncidentStateMachineTest, GapTest,
                         testing::Values(Gap{30, 30, false}, Gap{30.01, 30, true}, Gap{30, 30.01, true},
                                         Gap{0, 2, true}, Gap{2, 0, true}, Gap{-1, 2, true},
                                         Gap{2, -3600, true}, Gap{0.01, 0.01, false}));

TEST_F(IncidentStateMachineTest, aGapDuringRecoveryEndsItWithTheLastGoodSample) {
    run(0, 60, cpu(90));
    feed(62);
    feed(64);
    EXPECT_EQ(feed(100), IncidentTransition(Ended{state(0, IncidentKind::cpu), at(64)}));
}

TEST_F(IncidentStateMachineTest, aGapWithoutAnIncidentIsNothing) {
    run(0, 40, cpu(90));
    EXPECT_EQ(feed(100, cpu(90)), IncidentTransition(None{}));
}

TEST_F(IncidentStateMachineTest, afterAGapTheConditionsBeginWithTheSampleBehindIt) {
    run(0, 60, cpu(90));
    feed(100, cpu(90));
    EXPECT_EQ(run(102, 158, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(feed(160, cpu(90)), IncidentTransition(Started{state(100, IncidentKind::cpu)}));
    machine = {};
    run(0, 10, thermal("Serious"));
    feed(100, thermal("Serious"));
    EXPECT_EQ(feed(108, thermal("Serious")), IncidentTransition(None{}));
    EXPECT_EQ(feed(110, thermal("Serious")), IncidentTransition(Started{state(100, IncidentKind::thermal)}));
}

TEST_F(IncidentStateMachineTest, afterAnEndTheNextIncidentNeedsItsOwnMinute) {
    run(0, 60, cpu(90));
    feed(62);
    run(64, 152);
    EXPECT_EQ(run(154, 212, cpu(90)), IncidentTransition(None{}));
    EXPECT_EQ(feed(214, cpu(90)), IncidentTransition(Started{state(154, IncidentKind::cpu)}));
}

TEST_F(IncidentStateMachineTest, durationsAreMeasuredOnUptimeAndReportedOnTheWallClock) {
    const auto sample = [&](double uptime, double wall) {
        IncidentObservation observation = calmAt(uptime);
        observation.timestamp = at(wall);
        observation.cpuUsage = 90;
        return machine.ingest(observation, rules);
    };
    sample(0, 1000);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(sample(20 * i - 0.01, 1000 + 25 * i), IncidentTransition(None{}));
    EXPECT_EQ(sample(60, 1076), IncidentTransition(Started{state(1000, IncidentKind::cpu)}));
}

/// A rule that is switched off, and the condition that it is for.
struct SwitchedOff {
    const char* name;
    bool IncidentRuleConfiguration::*rule;
    void (*press)(IncidentObservation&);
    IncidentKind kind;
};

void PrintTo(const SwitchedOff& off, std::ostream* out) {
    *out << off.name;
}

class SwitchedOffTest : public IncidentStateMachineTest, public testing::WithParamInterface<SwitchedOff> {};

TEST_P(SwitchedOffTest, opensNothingByItself) {
    rules.*GetParam().rule = false;
    EXPECT_EQ(run(0, 200, GetParam().press), IncidentTransition(None{}));
}

TEST_P(SwitchedOffTest, holdsNoOpenIncident) {
    for (double t = 0; t <= 60; t += 2) feed(t, GetParam().press);
    ASSERT_TRUE(machine.activeIncident());
    const ActiveIncidentState open = *machine.activeIncident();
    EXPECT_EQ(open.kind, GetParam().kind);
    rules.*GetParam().rule = false;
    EXPECT_EQ(feed(62, GetParam().press), IncidentTransition(RecoveryStarted{open, at(62)}));
    EXPECT_EQ(run(64, 150, GetParam().press), IncidentTransition(None{}));
    EXPECT_EQ(feed(152, GetParam().press), IncidentTransition(Ended{open, at(62)}));
}

INSTANTIATE_TEST_SUITE_P(
    IncidentStateMachine, SwitchedOffTest,
    testing::Values(
        SwitchedOff{"cpu", &IncidentRuleConfiguration::cpuEnabled,
                    [](IncidentObservation& o) { o.cpuUsage = 90; }, IncidentKind::cpu},
        SwitchedOff{"memory", &IncidentRuleConfiguration::memoryEnabled,
                    [](IncidentObservation& o) { o.memoryPressureState = MemoryPressureLevel::warning; },
                    IncidentKind::memory},
        SwitchedOff{"thermal", &IncidentRuleConfiguration::thermalEnabled,
                    [](IncidentObservation& o) { o.thermalState = "Serious"; }, IncidentKind::thermal}));

TEST_F(IncidentStateMachineTest, combinedNeedsBothRules) {
    rules.cpuEnabled = false;
    EXPECT_EQ(run(0, 60, both(cpu(90), memory())),
              IncidentTransition(Started{state(0, IncidentKind::memory)}));
    machine = {};
    rules = {.memoryEnabled = false};
    EXPECT_EQ(run(0, 60, both(cpu(90), memory())), IncidentTransition(Started{state(0, IncidentKind::cpu)}));
    machine = {};
    EXPECT_EQ(run(0, 200, both(cpu(70), memory())), IncidentTransition(None{}));
}

}  // namespace
}  // namespace corvanta
