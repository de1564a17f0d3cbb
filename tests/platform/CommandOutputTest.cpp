// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/CommandOutput.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/OpenDescriptors.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using namespace std::chrono_literals;
using test::TempDirectory;
using Clock = std::chrono::steady_clock;

constexpr auto ample = 60s;

/// Runs a shell script.
std::optional<CommandOutput> run(const std::string& script, Clock::duration limit = ample,
                                 const std::stop_token& stop = {}) {
    return runCommand("/bin/sh", {"-c", script}, Clock::now() + limit, stop);
}

bool hasNoChildren() {
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// Waits until a process is gone, or is only a corpse that its new parent has not collected yet.
bool awaitEnd(pid_t id) {
    const auto deadline = Clock::now() + 20s;
    while (Clock::now() < deadline) {
        std::ifstream file("/proc/" + std::to_string(id) + "/stat");
        std::string text;
        if (!std::getline(file, text) || text.find(") Z ") != std::string::npos) return true;
        std::this_thread::yield();
    }
    return false;
}

TEST(Command, givesItsOutputAndItsExitStatus) {
    EXPECT_EQ(run("printf 'two\\nlines\\n'"), (CommandOutput{0, "two\nlines\n"}));
    EXPECT_EQ(run("printf part; exit 3"), (CommandOutput{3, "part"}));
    EXPECT_EQ(run(""), (CommandOutput{0, ""}));
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, argumentsArriveAsTheyAre) {
    const auto result =
        runCommand("/usr/bin/printf", {"%s|", "two words", "", "$HOME;'"}, Clock::now() + ample, {});
    EXPECT_EQ(result, (CommandOutput{0, "two words||$HOME;'|"}));
}

TEST(Command, bytesOfAnySortComeThrough) {
    const auto result = run("printf 'a\\000b\\377'");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, std::string("a\0b\xff", 4));
}

TEST(Command, hasNoInputNoErrorOutputAndNoDescriptorsOfOurs) {
    EXPECT_EQ(run("cat; echo done"), (CommandOutput{0, "done\n"}));
    EXPECT_EQ(run("echo out; echo hidden >&2"), (CommandOutput{0, "out\n"}));
    TempDirectory folder;
    const std::string path = folder.write("held", "");
    FILE* const held = fopen(path.c_str(), "r");  // without close-on-exec
    const auto result = run("ls -l /proc/self/fd");
    fclose(held);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output.find("held"), std::string::npos) << result->output;
}

TEST(Command, startsWithNoSignalBlockedOrIgnored) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    void (*const handler)(int) = signal(SIGPIPE, SIG_IGN);
    const auto result = run("grep SigBlk /proc/self/status");
    const auto stumbling = run("kill -PIPE $$; echo alive");
    signal(SIGPIPE, handler);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(result, (CommandOutput{0, "SigBlk:\t0000000000000000\n"}));
    EXPECT_EQ(stumbling, std::nullopt);
}

TEST(Command, aProgramThatIsNotThereGivesNothing) {
    TempDirectory folder;
    const std::string text = folder.write("text", "no program");
    for (const std::string& path : {folder.file("missing"), text, folder.path().string(), std::string()}) {
        EXPECT_EQ(runCommand(path, {}, Clock::now() + ample, {}), std::nullopt) << path;
    }
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aProgramThatASignalEndsGivesNothing) {
    EXPECT_EQ(run("printf part; kill -TERM $$"), std::nullopt);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aProgramThatHangsIsKilledAtTheDeadline) {
    const auto start = Clock::now();
    // Whoever asks politely is not heard.
    EXPECT_EQ(run("trap '' TERM INT HUP; printf part; while :; do sleep 600; done", 200ms), std::nullopt);
    EXPECT_GE(Clock::now() - start, 200ms);
    EXPECT_LT(Clock::now() - start, 20s);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aDeadlineThatHasPassedStillCollectsTheProgram) {
    EXPECT_EQ(run("sleep 600", -1s), std::nullopt);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aProgramThatFloodsIsKilled) {
    const auto start = Clock::now();
    EXPECT_EQ(run("exec cat /dev/zero"), std::nullopt);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, theMostOutputComesThroughAndAByteMoreDoesNot) {
    const std::string limit = std::to_string(mostCommandOutput);
    const auto result = run("exec head -c " + limit + " /dev/zero");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output.size(), mostCommandOutput);
    EXPECT_EQ(run("head -c " + limit + " /dev/zero; printf x"), std::nullopt);
}

TEST(Command, closingTheOutputIsNotTheEnd) {
    EXPECT_EQ(run("printf part; exec >&-; sleep 0.1; exit 4"), (CommandOutput{4, "part"}));
    EXPECT_EQ(run("exec >&-; exec sleep 600", 200ms), std::nullopt);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aDescendantThatKeepsTheOutputOpenHoldsNothingUpAndIsKilled) {
    const auto start = Clock::now();
    const auto result = run("sleep 600 & echo $!; exit 0");
    ASSERT_TRUE(result);
    EXPECT_LT(Clock::now() - start, 20s);
    EXPECT_TRUE(awaitEnd(std::stoi(result->output)));
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aDescendantOutsideTheGroupHoldsTheDeadlineUpNeitherBeforeNorAfterTheEnd) {
    TempDirectory folder;
    const std::string script = "setsid sh -c 'echo $$ > " + folder.file("id") + ".new; mv " +
                               folder.file("id") + ".new " + folder.file("id") +
                               "; exec sleep 600' & while [ ! -e " + folder.file("id") + " ]; do :; done; ";
    for (const bool ends : {true, false}) {
        std::filesystem::remove(folder.file("id"));
        const auto start = Clock::now();
        const auto result = run(script + (ends ? "exit 0" : "exec sleep 600"), 3s);
        EXPECT_EQ(result.has_value(), ends);
        EXPECT_LT(Clock::now() - start, 30s);
        kill(std::stoi(test::readFile(folder.file("id"))), SIGKILL);
    }
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, aStopThatWasRequestedEndsItAtOnce) {
    std::stop_source stop;
    const auto start = Clock::now();
    TempDirectory folder;
    std::thread stopper([&] {
        while (!std::filesystem::exists(folder.file("started"))) std::this_thread::yield();
        stop.request_stop();
    });
    EXPECT_EQ(run(": > " + folder.file("started") + "; exec sleep 600", ample, stop.get_token()),
              std::nullopt);
    stopper.join();
    EXPECT_LT(Clock::now() - start, 20s);
    EXPECT_EQ(run("echo never", ample, stop.get_token()), std::nullopt);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, noDescriptorIsLeftBehind) {
    TempDirectory folder;
    const std::size_t before = test::openDescriptors();
    for (int i = 0; i < 50; ++i) {
        run("echo x");
        run("exec sleep 600", -1s);
        runCommand(folder.file("missing"), {}, Clock::now() + ample, {});
    }
    EXPECT_EQ(test::openDescriptors(), before);
    EXPECT_TRUE(hasNoChildren());
}

TEST(Command, isFoundInTheFirstFolderThatHasIt) {
    TempDirectory folder;
    const auto write = [&](const std::string& name, bool isExecutable) {
        std::filesystem::permissions(folder.write(name, "#!/bin/sh\n"),
                                     std::filesystem::perms(isExecutable ? 0755 : 0644));
    };
    write("a/tool", false);
    write("b/tool", true);
    write("c/tool", true);
    std::filesystem::create_directories(folder.file("d/tool"));
    const std::string path = folder.file("d") + ":" + folder.file("none") + ":" + folder.file("a") + ":" +
                             folder.file("b") + ":" + folder.file("c");
    EXPECT_EQ(findProgram("tool", path), folder.file("b/tool"));
    EXPECT_EQ(findProgram("tool", folder.file("a")), std::nullopt);
    EXPECT_EQ(findProgram("other", path), std::nullopt);
}

TEST(Command, isNotFoundInFoldersThatDependOnWhereWeStand) {
    TempDirectory folder;
    std::filesystem::permissions(folder.write("tool", "#!/bin/sh\n"), std::filesystem::perms(0755));
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const char* path : {"", ":", ".", "./", "::."})
        EXPECT_EQ(findProgram("tool", path), std::nullopt) << path;
    std::filesystem::current_path(here);
}

}  // namespace
}  // namespace corvanta
