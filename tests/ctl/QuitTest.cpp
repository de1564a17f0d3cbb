// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <unistd.h>

#include "ctl/CtlTest.h"
#include "support/ChildProcess.h"

namespace corvanta::test {
namespace {

class QuitTest : public CtlTest {
  protected:
    static ChildProcess sleeper() { return ChildProcess::program("/bin/sleep", {"sleep", "1000"}); }

    /// Waits until the child is the program that it was started as.
    void awaitStart(const ChildProcess& child) const {
        const std::string row = std::to_string(child.id()) + " ";
        ASSERT_TRUE(eventually([&] {
            const std::string out = ctl("processes").out;
            const auto at = out.find("\n" + row);
            return at != std::string::npos && out.substr(at, 40).find("sleep") != std::string::npos;
        }));
    }

    Finished quit(const std::string& arguments, const std::string& answer) const {
        Program program(CORVANTACTL_PROGRAM, words("quit " + arguments), user_.environment());
        program.answer(answer);
        const int code = program.exitCode();
        return {code, program.output(), program.errors()};
    }
};

TEST_F(QuitTest, asksBeforeItActs) {
    auto child = sleeper();
    awaitStart(child);
    const Finished finished = quit(std::to_string(child.id()), "y\n");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out,
              "Quit sleep?\n"
              "sleep will be asked to quit. Save your work in it first if you have not already.\n"
              "Quit? [y/N] ");
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(child.collect(), SIGTERM);
}

TEST_F(QuitTest, forceStopsAtOnce) {
    auto child = sleeper();
    awaitStart(child);
    const Finished finished = quit(std::to_string(child.id()) + " --force", "yes\n");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out,
              "Force quit sleep?\n"
              "sleep will be stopped immediately and will not get a chance to save. Any unsaved work in it "
              "will be lost.\n"
              "Force Quit? [y/N] ");
    EXPECT_EQ(child.collect(), SIGKILL);
}

class NoAnswerTest : public QuitTest, public testing::WithParamInterface<const char*> {};

TEST_P(NoAnswerTest, anythingButYesQuitsNothing) {
    const auto child = sleeper();
    awaitStart(child);
    const Finished finished = quit(std::to_string(child.id()), GetParam());
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "corvantactl: Nothing was quit.\n");
    EXPECT_TRUE(child.isRunning());
}

INSTANTIATE_TEST_SUITE_P(QuitTest, NoAnswerTest, testing::Values("", "n\n", "\n", "yesterday\n", "N\ny\n"));

TEST_F(QuitTest, aScriptConfirmsBeforehand) {
    auto child = sleeper();
    awaitStart(child);
    const Finished finished = ctl("quit --yes " + std::to_string(child.id()));
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out + finished.err, "");
    EXPECT_EQ(child.collect(), SIGTERM);
}

TEST_F(QuitTest, aProcessThatIsNotThereIsNamed) {
    auto child = sleeper();
    const std::string id = std::to_string(child.id());
    ::kill(child.id(), SIGKILL);
    child.collect();
    const Finished finished = ctl("quit --yes " + id);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.err, "corvantactl: There is no process " + id + ".\n");
}

TEST_F(QuitTest, aReservedIdIsRefusedWithoutAQuestion) {
    // The kernel's own id stands in no list where the kernel's threads are out of sight.
    for (const char* id : {"0", "1"}) {
        const Finished finished = ctl(std::string("quit ") + id);
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(
            finished.err,
            "corvantactl: Protected system process: This is a reserved system process. macOS manages it "
            "directly and Corvanta cannot quit it.\n");
    }
}

TEST_F(QuitTest, aProtectedProcessIsRefusedInItsOwnSpelling) {
    TempDirectory folder;
    const std::string program = folder.file("Xorg");
    ASSERT_EQ(::symlink("/bin/sleep", program.c_str()), 0);
    const auto child = ChildProcess::program(program, {program, "1000"});
    const std::string refusal =
        "corvantactl: Protected system process: Xorg is a core part of macOS. Quitting it would sign you out "
        "or "
        "leave your Mac in a broken state, so Corvanta will not do it.\n";
    ASSERT_TRUE(eventually([&] { return ctl("quit " + std::to_string(child.id())).err == refusal; }));
    EXPECT_EQ(ctl("quit --yes --force " + std::to_string(child.id())).err, refusal);
    EXPECT_TRUE(child.isRunning());
}

TEST_F(QuitTest, aProcessThatEndsBeforeTheAnswerGetsNoSignal) {
    auto child = sleeper();
    awaitStart(child);
    const std::string id = std::to_string(child.id());
    Program program(CORVANTACTL_PROGRAM, words("quit " + id), user_.environment());
    ASSERT_TRUE(program.awaitOutput("[y/N] "));
    ::kill(child.id(), SIGKILL);
    child.collect();
    program.answer("y\n");
    EXPECT_EQ(program.exitCode(), 1);
    EXPECT_EQ(program.errors(),
              "corvantactl: Nothing was quit: sleep is no longer running as process " + id + ".\n");
}

}  // namespace
}  // namespace corvanta::test
