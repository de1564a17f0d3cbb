// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include "ctl/StoreTest.h"
#include "incidents/replay/ObservationStream.h"

namespace corvanta::test {
namespace {

/// The stream of an incident out of the store.
class ObservationsTest : public StoreTest {
  protected:
    /// An incident that began and ended so many seconds ago; without an end it is open.
    void fillStoreWithIncident(std::int64_t start, std::optional<std::int64_t> end,
                               const std::vector<SnapshotValues>& samples) const {
        fillStore(samples);
        DatabaseManager store(user_.database(), clock_);
        const ActiveIncidentState state{ago(start), IncidentKind::cpu, IncidentSeverity::warning};
        ASSERT_EQ(store.createIncident(state, ago(start - 60)), 1);
        if (end) store.endIncident(1, ago(*end));
    }
    Instant ago(std::int64_t age) const { return instantFromSeconds(static_cast<double>(now_ - age)); }

    /// The ages of the observations, oldest first.
    std::vector<std::int64_t> agesOf(std::string_view stream) const {
        std::vector<std::int64_t> ages;
        for (; !stream.empty(); stream.remove_prefix(stream.find('\n') + 1)) {
            const StreamLine line = parseStreamLine(stream.substr(0, stream.find('\n')), {});
            ages.push_back(now_ - storedSeconds(std::get<IncidentObservation>(line).timestamp));
        }
        return ages;
    }
    void expectAges(const std::vector<std::int64_t>& ages) const {
        const Finished finished = ctl("incident 1 --observations");
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.err, "");
        EXPECT_EQ(agesOf(finished.out), ages);
    }
};

TEST_F(ObservationsTest, reachFiveMinutesBeforeTheStartAndBehindTheEnd) {
    fillStoreWithIncident(2000, 1000,
                          {sample(2301), sample(2300), sample(2000), sample(1500), sample(1000), sample(700),
                           sample(699), sample(60)});
    expectAges({2300, 2000, 1500, 1000, 700});
}

TEST_F(ObservationsTest, ofAnOpenIncidentReachToThePresent) {
    fillStoreWithIncident(2000, std::nullopt, {sample(2301), sample(2300), sample(0), sample(-3600)});
    expectAges({2300, 0});
}

TEST_F(ObservationsTest, ofTwoRowsInOneSecondTheLaterIsLeftOut) {
    fillStoreWithIncident(2000, 1000, {sample(1500, 10), sample(1400), sample(1500, 20)});
    const Finished finished = ctl("incident 1 --observations");
    EXPECT_EQ(agesOf(finished.out), (std::vector<std::int64_t>{1500, 1400}));
    EXPECT_NE(finished.out.find("\"cpuUsage\":10,"), std::string::npos);
}

TEST_F(ObservationsTest, haveWhatTheRowsHave) {
    SnapshotValues bare = sample(1400);
    bare.thermalState = "";
    bare.topCPUProcess = std::nullopt;
    bare.topCPUUsage = 0;
    SnapshotValues full = sample(1500, 91.5, 64.25);
    full.batteryPercentage = 57;
    full.isCharging = true;
    full.topRAMProcess = "br\"ow\nser";
    full.topRAMBytes = 2'000'000'000;
    fillStoreWithIncident(2000, 1000, {full, bare});
    const auto times = [this](std::int64_t age) {
        const std::string seconds = std::to_string(now_ - age);
        return "{\"timestamp\":" + seconds + ",\"systemUptime\":" + seconds;
    };
    EXPECT_EQ(
        ctl("incident 1 --observations --json").out,
        times(1500) +
            R"(,"cpuUsage":91.5,"memoryPressureState":2,"estimatedMemoryPressure":64.25,)"
            R"("thermalState":"Fair","uploadSpeed":1536,"downloadSpeed":3000000,"batteryPercentage":57,)"
            R"("isCharging":true,"topCPUProcess":"compiler","topCPUUsage":180,)"
            R"("topRAMProcess":"br\"ow\nser","topRAMBytes":2000000000})"
            "\n" +
            times(1400) +
            R"(,"cpuUsage":25,"memoryPressureState":2,"estimatedMemoryPressure":40,)"
            R"("thermalState":"Unknown","uploadSpeed":1536,"downloadSpeed":3000000,"topCPUUsage":0,)"
            R"("topRAMBytes":0})"
            "\n");
}

TEST_F(ObservationsTest, replayToTheIncidentThatTheyAreOf) {
    std::vector<SnapshotValues> samples;
    for (std::int64_t age = 2300; age >= 700; age -= 10) {
        SnapshotValues values = sample(age, age <= 2000 && age > 1000 ? 90 : 10);
        values.pressureState = MemoryPressureLevel::normal;
        samples.push_back(values);
    }
    fillStoreWithIncident(2000, 1000, samples);
    Program program(CORVANTACTL_PROGRAM, words("replay -"), user_.environment());
    program.answer(ctl("incident 1 --observations").out);
    EXPECT_EQ(program.exitCode(), 0);
    const auto line = [this](std::int64_t age, const std::string& name, const std::string& more = "") {
        return "{\"timestamp\":" + std::to_string(now_ - age) + R"(,"transition":")" + name +
               R"(","kind":"cpu","severity":1,"startedAt":)" + std::to_string(now_ - 2000) + more + "}\n";
    };
    const std::string calm = std::to_string(now_ - 1000);
    EXPECT_EQ(program.output(), line(1940, "started") +
                                    line(1000, "recoveryStarted", ",\"recoveryStartedAt\":" + calm) +
                                    line(910, "ended", ",\"endedAt\":" + calm));
}

TEST_F(ObservationsTest, anIncidentWithoutHistoryHasNone) {
    fillStoreWithIncident(2000, 1000, {});
    expectAges({});
}

TEST_F(ObservationsTest, anIncidentThatIsNotThereIsAFailure) {
    fillStore({sample(60)});
    const Finished finished = ctl("incident 7 --observations");
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(finished.err, "corvantactl: There is no incident 7.\n");
}

}  // namespace
}  // namespace corvanta::test
