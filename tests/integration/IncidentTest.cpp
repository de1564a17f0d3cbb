// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include "integration/CorvantaTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

using IncidentTest = CorvantaTest;

TEST_F(IncidentTest, aKillWhileOneIsOpenIsToldAsTheEndOfMonitoring) {
    Program writer(CORVANTA_INCIDENT_WRITER, {QString::fromStdString(user_.database())}, user_.environment());
    ASSERT_TRUE(writer.awaitOutput("open\n"));
    writer.signal(SIGKILL);
    EXPECT_EQ(writer.exitCode(), -1);
    {
        const DatabaseManager left(user_.database(), clock_, StoreAccess::readOnly);
        ASSERT_EQ(left.fetchIncidents().size(), 1u);
        ASSERT_TRUE(left.fetchIncidents()[0].isActive());
    }
    const Instant lastRow = instantFromSeconds(static_cast<double>(rows().back().timestamp));
    const auto program = start();
    ASSERT_TRUE(eventually([&] {
        return !DatabaseManager(user_.database(), clock_, StoreAccess::readOnly)
                    .fetchIncidents()[0]
                    .isActive();
    }));
    const PerformanceIncident ended =
        DatabaseManager(user_.database(), clock_, StoreAccess::readOnly).fetchIncidents()[0];
    EXPECT_TRUE(ended.wasInterrupted());
    EXPECT_EQ(ended.endedAt, lastRow);
    EXPECT_GE(ended.sampleCount, 7);

    Program told(CORVANTACTL_PROGRAM, words("incident 1"), user_.environment());
    EXPECT_EQ(told.exitCode(), 0);
    EXPECT_NE(told.output().find("Monitoring ended"), std::string::npos) << told.output();
    EXPECT_NE(told.output().find("Monitoring stopped after "), std::string::npos) << told.output();

    // The program's own way into the store is open all the while.
    Program dismissal(CORVANTACTL_PROGRAM, words("dismiss 1"), user_.environment());
    EXPECT_EQ(dismissal.exitCode(), 0);
    EXPECT_TRUE(
        DatabaseManager(user_.database(), clock_, StoreAccess::readOnly).fetchIncidents()[0].isDismissed());
    expectQuits(*program);
}

}  // namespace
}  // namespace corvanta::test
