// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "monitoring/MonitorFixture.h"
#include "shell/ProgramServices.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

/// A monitor that publishes into the real store.
class ProgramSinkTest : public test::MonitorFixture {
  protected:
    ProgramSinkTest() {
        target = &services.sink;
        script->cpu = 91;
        script->ram.estimatedPressurePercentage = 61;
        script->level = MemoryPressureLevel::critical;
        script->disk = {5e9, 9e9};
        script->network = {7, 8};
        ProcessDetail busy;
        busy.name = "busy, very";
        busy.cpuUsage = 80;
        script->processes = {busy};
        machine.thermal.state = 1;
    }
    ~ProgramSinkTest() override { monitor.reset(); }

    /// Time passes, and a cycle is published.
    void publish() {
        machine.clock.advance(2);
        cycle();
    }

    test::TempDirectory folder;
    DatabaseManager database{folder.file("history.sqlite"), machine.clock};
    test::ProgramServices services{machine, settings, database};
};

TEST_F(ProgramSinkTest, everyCycleOfASessionWritesASampleAndNoOtherDoes) {
    publish();
    ASSERT_EQ(database.startSession("one"), 1);
    EXPECT_TRUE(database.fetchSessionSamples(1).empty());
    for (int i = 0; i < 3; ++i) publish();
    database.stopSession();
    publish();
    EXPECT_EQ(database.fetchSessionSamples(1).size(), 3U);
    EXPECT_EQ(database.allSessions().at(0).sampleCount, 3);
    // All of it lies within ten seconds.
    EXPECT_EQ(database.fetchHistory().size(), 1U);
}

TEST_F(ProgramSinkTest, aSampleOfASessionIsThatOfItsCycle) {
    ASSERT_EQ(database.startSession("one"), 1);
    publish();
    const auto samples = database.fetchSessionSamples(1);
    EXPECT_EQ(samples,
              (std::vector<SystemSnapshot>{{storedSeconds(machine.clock.now()), 91, 61, 5e9, 7, 8, 61,
                                            MemoryPressureLevel::critical, "Fair", "busy, very", 80}}));
    EXPECT_EQ(database.fetchHistory(), samples);
    EXPECT_NE(
        database.exportSessionCSV(1).find(",91.0,Critical,61.0,5000000000,7,8,Fair,\"busy, very\",80.0\n"),
        std::string::npos);
}

}  // namespace
}  // namespace corvanta
