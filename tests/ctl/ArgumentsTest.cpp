// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include "ctl/CtlTest.h"

namespace corvanta::test {
namespace {

using ArgumentsTest = CtlTest;

class BadUsageTest : public CtlTest, public testing::WithParamInterface<const char*> {};

TEST_P(BadUsageTest, endsWithTwoAndSaysWhyOnStandardError) {
    const Finished finished = ctl(GetParam());
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_EQ(finished.out, "");
    EXPECT_NE(finished.err, "");
}

INSTANTIATE_TEST_SUITE_P(ArgumentsTest, BadUsageTest,
                         testing::Values("", "dance", "--dance", "status --dance", "status dance",
                                         "status history", "history --last", "history --last 2h",
                                         "history --last 3600", "status --last 1h", "--json",
                                         "history --database", "processes --sort name", "processes --top 0",
                                         "processes --top -1", "processes --top many", "quit", "quit -5",
                                         "quit editor", "quit 5 6", "dismiss", "dismiss first", "restore -1",
                                         "incident", "incident seven", "incident 7 8", "incident -7",
                                         "incident 7 --summary --observations", "replay", "replay a b",
                                         "summary now", "report --last 7d"));

TEST_F(ArgumentsTest, namesTheWordThatItDoesNotKnow) {
    EXPECT_NE(ctl("dance").err.find("dance"), std::string::npos);
    EXPECT_NE(ctl("--dance").err.find("--dance"), std::string::npos);
    EXPECT_NE(ctl("status dance").err.find("dance"), std::string::npos);
    EXPECT_NE(ctl("history --last 2h").err.find("2h"), std::string::npos);
}

TEST_F(ArgumentsTest, aNumberThatIsNoneIsToldInOneLine) {
    for (const char* arguments :
         {"incident -1", "incident 1x", "dismiss 1 x", "export 1.5", "quit 99999999999999999999"}) {
        const std::string errors = ctl(arguments).err;
        EXPECT_NE(errors.find(" is no whole number from 0 on"), std::string::npos) << errors;
        EXPECT_LT(errors.size(), 200U) << errors;
    }
}

TEST_F(ArgumentsTest, tellsItsVersion) {
    const Finished finished = ctl("--version");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, "corvantactl " CORVANTA_VERSION "\n");
    EXPECT_EQ(finished.err, "");
}

TEST_F(ArgumentsTest, helpListsTheCommands) {
    const Finished finished = ctl("--help");
    EXPECT_EQ(finished.exitCode, 0);
    for (const char* command :
         {"status", "watch", "processes", "quit", "history", "trends", "incident", "incidents", "sessions",
          "export", "dismiss", "restore", "replay", "summary", "report"}) {
        EXPECT_NE(finished.out.find(command), std::string::npos) << command;
    }
    EXPECT_EQ(finished.err, "");
    EXPECT_NE(ctl("history --help").out.find("--last"), std::string::npos);
}

class FullDiskTest : public CtlTest, public testing::WithParamInterface<const char*> {};

TEST_P(FullDiskTest, outputThatCannotBeWrittenIsAFailure) {
    const Finished finished = ctl(GetParam(), [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); });
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "corvantactl: Could not write: No space left on device\n");
}

INSTANTIATE_TEST_SUITE_P(ArgumentsTest, FullDiskTest,
                         testing::Values("status", "status --json", "watch", "watch --json", "processes",
                                         "processes --json", "summary", "summary --json"));

}  // namespace
}  // namespace corvanta::test
