// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include "ctl/StoreTest.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"

namespace corvanta::test {
namespace {

using Rows = std::vector<std::string>;

class DismissTest : public StoreTest {
  protected:
    void makeIncidents(int count) const {
        DatabaseManager store(user_.database(), clock_);
        for (int i = 0; i < count; ++i) {
            store.createIncident({instantFromSeconds(static_cast<double>(now_ - 100)), IncidentKind::cpu,
                                  IncidentSeverity::warning},
                                 clock_.now());
        }
    }
    Rows marks() const {
        return Sql(user_.database())
            .rows("SELECT dismissed_at IS NOT NULL FROM performance_incidents ORDER BY id;");
    }
    void expectRefused(const Finished& finished, const std::string& reason) const {
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "corvantactl: " + reason + "\n");
    }
};

TEST_F(DismissTest, dismissesAndRestoresSeveralAtOnce) {
    makeIncidents(3);
    const Finished dismissed = ctl("dismiss 1 3 1");
    EXPECT_EQ(dismissed.exitCode, 0);
    EXPECT_EQ(dismissed.out, "Dismissed 2 incidents.\n");
    EXPECT_EQ(marks(), (Rows{"1", "0", "1"}));
    EXPECT_EQ(ctl("restore 3").out, "Restored 1 incident.\n");
    EXPECT_EQ(marks(), (Rows{"1", "0", "0"}));
    EXPECT_EQ(ctl("restore 1 --json").out, "{\"ids\":[1],\"dismissed\":false}\n");
    EXPECT_EQ(marks(), (Rows{"0", "0", "0"}));
}

TEST_F(DismissTest, worksBesideAStoreThatIsInUseAndLeavesWhatIsOpen) {
    makeIncidents(1);
    DatabaseManager program(user_.database(), clock_);  // which ends the one that was left open
    const auto id = program.createIncident({clock_.now(), IncidentKind::memory, IncidentSeverity::critical},
                                           clock_.now());
    EXPECT_EQ(ctl("dismiss 1 2").exitCode, 0);
    EXPECT_EQ(marks(), (Rows{"1", "1"}));
    const auto incidents = program.fetchIncidents();
    EXPECT_TRUE(incidents[0].isActive() && incidents[0].isDismissed());
    program.endIncident(id.value(), clock_.now());
    EXPECT_TRUE(program.fetchIncidents()[0].hasConfirmedRecovery());
}

TEST_F(DismissTest, anUnknownIncidentStopsAll) {
    makeIncidents(2);
    expectRefused(ctl("dismiss 1 77 2"), "There is no incident 77.");
    EXPECT_EQ(marks(), (Rows{"0", "0"}));
}

TEST_F(DismissTest, whatIsOlderThanAllThatAreReadIsToldSo) {
    makeIncidents(500);
    Sql(user_.database()).run("UPDATE performance_incidents SET started_at = started_at + id;");
    makeIncidents(1);
    Sql(user_.database()).run("UPDATE performance_incidents SET started_at = 1 WHERE id = 501;");
    expectRefused(ctl("dismiss 501"), "There is no incident 501 among the newest 500.");
    expectRefused(ctl("incident 501"), "There is no incident 501 among the newest 500.");
    EXPECT_EQ(ctl("dismiss 1").exitCode, 0);
}

TEST_F(DismissTest, anAnswerThatCannotBePrintedIsAFailureThoughTheChangeStands) {
    makeIncidents(1);
    const Finished finished = ctl("dismiss 1", [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); });
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "corvantactl: Could not write: No space left on device\n");
    EXPECT_EQ(marks(), Rows{"1"});
}

TEST_F(DismissTest, anOlderStoreIsRefusedAndLeftAsItIs) {
    for (const char* fixture : {"history-without-context.sql", "history-without-incident-marks.sql",
                                "history-without-pressure-state.sql"}) {
        const std::string path = user_.folder() / fixture;
        Sql(path).run(readFile(std::string(CORVANTA_FIXTURES "/storage/") + fixture));
        const Rows before = Sql(path).dump();
        for (const char* command : {"dismiss 1 --database ", "restore 1 --database "}) {
            expectRefused(ctl(command + path), "The store at " + path + " lacks what this version reads.");
        }
        EXPECT_EQ(Sql(path).dump(), before);
    }
}

TEST_F(DismissTest, aStoreThatCannotBeWrittenIsNamed) {
    expectRefused(ctl("dismiss 1"),
                  "There is no store at " + user_.database() + "; corvanta makes it when it first runs.");
    EXPECT_FALSE(std::filesystem::exists(user_.database()));
    expectRefused(ctl("dismiss 1 --database /proc/self/mem"),
                  "The store at /proc/self/mem can't be opened for writing.");
}

TEST_F(DismissTest, aStoreThatIsHeldTooLongIsLeftAsItIs) {
    makeIncidents(1);
    Sql other(user_.database());
    other.run("BEGIN IMMEDIATE;");
    expectRefused(ctl("dismiss 1"),
                  "The store at " + user_.database() +
                      " could not be written: another program holds it, or the disk is full.");
    other.run("COMMIT;");
    EXPECT_EQ(marks(), Rows{"0"});
}

}  // namespace
}  // namespace corvanta::test
