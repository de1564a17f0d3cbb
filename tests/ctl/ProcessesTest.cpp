// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "ctl/CtlTest.h"
#include "ctl/Terminal.h"
#include "support/ChildProcess.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

bool seesKernelThreads() {
    std::ifstream file("/proc/2/comm");
    std::string name;
    return std::getline(file, name) && name == "kthreadd";
}

class ProcessesTest : public CtlTest {
  protected:
    Json list(const std::string& arguments) const {
        const Finished finished = ctl("processes --json " + arguments);
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.err, "");
        expectOneLine(finished.out);
        return Json::parse(finished.out);
    }
    static const Json* find(const Json& rows, const char* key, const Json& value) {
        for (const Json& row : rows) {
            if (row.at(key) == value) return &row;
        }
        return nullptr;
    }
};

TEST_F(ProcessesTest, aRowHoldsWhatTheKernelTellsOfTheProcess) {
    const Json rows = list("");
    const Json* self = find(rows, "pid", ::getpid());
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->at("name"), "ctl_tests");
    EXPECT_EQ(self->at("kind"), "User");
    EXPECT_GT(self->at("resident_bytes").get<double>(), 1e6);
    EXPECT_GE(self->at("threads").get<int>(), 1);
    // In a namespace of its own a program sees none of the kernel's threads.
    const Json* kernel = find(rows, "pid", 0);
    ASSERT_EQ(kernel != nullptr, seesKernelThreads());
    if (kernel) {
        EXPECT_EQ(kernel->at("name"), "kernel_task");
    }
}

TEST_F(ProcessesTest, theBusiestComeFirst) {
    const auto child = ChildProcess::program("/bin/sh", {"sh", "-c", "while :; do :; done"});
    Json rows;
    // On a machine with much to do it may have to wait for its turn.
    ASSERT_TRUE(eventually([&] {
        rows = list("");
        const Json* busy = find(rows, "pid", child.id());
        return busy && busy->at("cpu_usage").get<double>() > 10;
    })) << rows;
    double last = std::numeric_limits<double>::infinity();
    for (const Json& row : rows) {
        EXPECT_LE(row.at("cpu_usage").get<double>(), last);
        last = row.at("cpu_usage").get<double>();
    }
}

TEST_F(ProcessesTest, theLargestComeFirstOnDemand) {
    double last = std::numeric_limits<double>::infinity();
    for (const Json& row : list("--sort memory")) {
        EXPECT_LE(row.at("resident_bytes").get<double>(), last);
        last = row.at("resident_bytes").get<double>();
    }
}

TEST_F(ProcessesTest, topCutsTheList) {
    EXPECT_EQ(list("--top 2").size(), 2U);
    EXPECT_EQ(list("--top 1 --grouped").size(), 1U);
    EXPECT_GT(list("--top 99999999").size(), 2U);
}

TEST_F(ProcessesTest, groupsJoinTheProcessesOfAName) {
    const auto one = ChildProcess::program("/bin/sleep", {"sleep", "1000"});
    const auto two = ChildProcess::program("/bin/sleep", {"sleep", "1000"});
    // Other tests may sleep too, and these two be still about to.
    Json rows;
    ASSERT_TRUE(eventually([&] {
        rows = list("--grouped");
        return std::any_of(rows.begin(), rows.end(), [](const Json& row) {
            return row.at("count").get<int>() >= 2 &&
                   row.at("name").get<std::string>() == "sleep  \xc3\x97" + row.at("count").dump();
        });
    })) << rows;
}

TEST_F(ProcessesTest, textIsATableWithTitles) {
    const Finished finished = ctl("processes --top 3");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    const auto lines = linesOf(finished.out);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_TRUE(
        std::regex_match(lines[0], std::regex("PID +Process Name +Kind +CPU % +CPU Time +Threads +RAM")));
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(
            lines[i], std::regex("\\d+ +.+ (Kernel|User) +[\\d.]+% +([\\d:]+|\\d+s) +\\d+ +.+ [\\d.]+%")))
            << lines[i];
    }
    EXPECT_TRUE(std::regex_match(linesOf(ctl("processes --grouped --top 1").out).at(0),
                                 std::regex("Process Name +Kind +CPU % +CPU Time +Threads +RAM")));
}

TEST_F(ProcessesTest, aNameCanNotWriteToTheTerminal) {
    TempDirectory folder;
    const std::string program = folder.file("b\x1b[31mad\nname");
    ASSERT_EQ(::symlink("/bin/sleep", program.c_str()), 0);
    const auto child = ChildProcess::program(program, {program, "1000"});
    const auto isShown = [&](const std::string& text) {
        return text.find("b [31mad name") != std::string::npos;
    };
    Finished finished;
    ASSERT_TRUE(eventually([&] { return isShown((finished = ctl("processes")).out); })) << finished.out;
    EXPECT_EQ(finished.out.find('\x1b'), std::string::npos);
    const Json rows = list("");
    const Json* row = find(rows, "pid", child.id());
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->at("name"), "b\x1b[31mad\nname");
}

TEST_F(ProcessesTest, coloursDoNotMoveTheColumns) {
    Terminal terminal(CORVANTACTL_PROGRAM, words("processes"), user_.environment());
    EXPECT_EQ(terminal.exitCode(), 0);
    const std::string plain =
        std::regex_replace(terminal.shown(), std::regex("\x1b\\[[0-9;]*m|\r"), std::string());
    EXPECT_NE(plain, terminal.shown());
    const auto lines = linesOf(plain);
    ASSERT_GT(lines.size(), 1U);
    const std::size_t column = lines[0].find("CPU Time");
    for (const std::string& line : lines) EXPECT_EQ(line.at(column - 1), ' ') << line;
}

}  // namespace
}  // namespace corvanta::test
