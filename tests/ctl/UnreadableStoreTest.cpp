// SPDX-License-Identifier: Apache-2.0
#include <fstream>

#include "ctl/StoreTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

/// Each command that reads the store. The failures leave everything as it was.
class UnreadableStoreTest : public StoreTest, public testing::WithParamInterface<std::string> {
  protected:
    void expectFailure(const std::string& reason, const std::string& options = "",
                       const std::function<void()>& inChild = {}) const {
        const auto before = filesBelow(user_.folder());
        const Finished finished = ctl(GetParam() + options, inChild);
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "corvantactl: " + reason + "\n");
        EXPECT_EQ(filesBelow(user_.folder()), before);
    }
    void writeDatabase(std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(user_.database()).parent_path());
        std::ofstream(user_.database(), std::ios::binary) << content;
    }
};

TEST_P(UnreadableStoreTest, missing) {
    expectFailure("There is no store at " + user_.database() + "; corvanta makes it when it first runs.");
}

TEST_P(UnreadableStoreTest, notADatabase) {
    writeDatabase(std::string(5000, 'x'));
    expectFailure("The file at " + user_.database() + " is not a database.");
}

TEST_P(UnreadableStoreTest, cutShort) {
    fillStore({sample(60)});
    writeDatabase(readFile(user_.database()).substr(0, 5000));
    expectFailure("The file at " + user_.database() + " is not a database.");
}

TEST_P(UnreadableStoreTest, aFolder) {
    std::filesystem::create_directories(user_.database());
    expectFailure("The store at " + user_.database() + " can't be opened.");
}

TEST_P(UnreadableStoreTest, belowAFile) {
    std::ofstream(user_.dataHome()) << "not a folder";
    expectFailure("There is no store at " + user_.database() + "; corvanta makes it when it first runs.");
}

TEST_P(UnreadableStoreTest, ofAnEarlierVersion) {
    writeDatabase("");
    Sql(user_.database()).run(readFile(CORVANTA_FIXTURES "/storage/history-without-context.sql"));
    expectFailure("The store at " + user_.database() +
                  " lacks what this version reads; start corvanta once to bring it up to date.");
}

TEST_P(UnreadableStoreTest, empty) {
    writeDatabase("");
    expectFailure("The store at " + user_.database() +
                  " lacks what this version reads; start corvanta once to bring it up to date.");
}

// A store that was named may belong to somebody else: nobody is told to start the program for it.
TEST_P(UnreadableStoreTest, named) {
    const std::string named = user_.folder() / "other.sqlite";
    expectFailure("There is no store at " + named + ".", " --database " + named);
    Sql(named).run(readFile(CORVANTA_FIXTURES "/storage/history-without-context.sql"));
    expectFailure("The store at " + named + " lacks what this version reads.", " --database " + named);
}

TEST_P(UnreadableStoreTest, ofNobody) {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) user_.removeVariable(name);
    expectFailure("There is no home folder to look for the store in.", "", becomeUnknownAccount);
}

INSTANTIATE_TEST_SUITE_P(Commands, UnreadableStoreTest,
                         testing::Values("history", "history --json", "history --last 30d", "trends",
                                         "trends --json", "sessions", "sessions --json", "export 1",
                                         "incident 7", "incident 7 --summary --json", "incidents",
                                         "incidents --json", "incident 7 --observations", "report",
                                         "report --json", "anomalies", "anomalies --json"));

}  // namespace
}  // namespace corvanta::test
