// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcessStat.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

namespace corvanta {
namespace {

using namespace std::string_view_literals;

// State, parent, group, session, terminal, its group, flags, four fault counters, user, system, two of the
// children, priority, nice, threads, a timer, start, size, resident pages, limit.
constexpr std::string_view fields =
    " S 1 7 7 0 -1 4194560 11 12 13 14 500 30 15 16 20 0 9 0 123456 987654321 2048 18446744073709551615 1\n";

std::string line(std::string_view comm, std::string_view tail = fields) {
    return std::string("7 (").append(comm).append(")").append(tail);
}

TEST(ProcessStat, readsTheFieldsThatAreUsed) {
    const std::string text = line("editor");
    EXPECT_EQ(parseProcessStat(text), (ProcessStat{.comm = "editor",
                                                   .isKernelThread = false,
                                                   .cpuTicks = 530,
                                                   .threads = 9,
                                                   .startTicks = 123456,
                                                   .residentPages = 2048}));
}

TEST(ProcessStat, theNameEndsAtTheLastParenthesis) {
    for (const std::string_view name : {"", ")", "(", "()", ") S 1 2 3", "we)ird (na\nme", "a b", "\n\n",
                                        "\x01\x1b[2J", "\xff\xfe\x80", "((((((((((((((("}) {
        const std::string text = line(name);
        const auto stat = parseProcessStat(text);
        ASSERT_TRUE(stat) << name;
        EXPECT_EQ(stat->comm, name);
        EXPECT_EQ(stat->cpuTicks, 530U);
    }
    const std::string zero = line(std::string_view("a\0b", 3));
    EXPECT_EQ(parseProcessStat(zero)->comm, "a\0b"sv);
}

TEST(ProcessStat, theKernelsThreadsBearAFlag) {
    const auto withFlags = [](std::string_view flags) {
        const std::string text =
            line("kworker/1:0-cgroup_pidlist_destroy",
                 std::string(" I 2 0 0 0 -1 ")
                     .append(flags)
                     .append(" 0 0 0 0 0 6 0 0 20 0 1 0 17 0 0 1844674407370955161 0\n"));
        return parseProcessStat(text)->isKernelThread;
    };
    EXPECT_TRUE(withFlags("2097152"));
    EXPECT_TRUE(withFlags("69238880"));
    EXPECT_FALSE(withFlags("2097151"));
    EXPECT_FALSE(withFlags("4194304"));
    EXPECT_FALSE(withFlags("0"));
}

TEST(ProcessStat, textThatIsCutShortAnywhereBeforeTheLastUsedFieldIsNone) {
    const std::string text = line("editor");
    const std::size_t used = text.find("2048 ") + 5;
    for (std::size_t length = 0; length < used; ++length) {
        EXPECT_FALSE(parseProcessStat(std::string_view(text).substr(0, length))) << length;
    }
    EXPECT_TRUE(parseProcessStat(std::string_view(text).substr(0, used)));
}

TEST(ProcessStat, whatIsNoNumberIsNone) {
    for (const std::string_view text :
         {"", "\n", "7 editor S 1", "7 )editor( S 1", "7 (editor)", "7 (editor) ", "(", ")",
          "7 (x) S 1 7 7 0 -1 flags 11 12 13 14 500 30 15 16 20 0 9 0 123456 987654321 2048 1\n",
          "7 (x) S 1 7 7 0 -1 0 11 12 13 14 -500 30 15 16 20 0 9 0 123456 987654321 2048 1\n",
          "7 (x) S 1 7 7 0 -1 0 11 12 13 14 500 3x 15 16 20 0 9 0 123456 987654321 2048 1\n",
          "7 (x) S 1 7 7 0 -1 0 11 12 13 14 500 30 15 16 20 0 9 0 123456 987654321 99999999999999999999 "
          "1\n"}) {
        EXPECT_FALSE(parseProcessStat(text)) << text;
    }
}

TEST(ProcessStat, absurdTimesStayInsideTheRange) {
    const std::string text =
        line("x", " S 1 7 7 0 -1 0 1 1 1 1 18446744073709551615 2 0 0 20 0 1 0 5 0 1 0\n");
    EXPECT_EQ(parseProcessStat(text)->cpuTicks, std::numeric_limits<std::uint64_t>::max());
}

TEST(ProcessName, onlyFifteenBytesMayHaveBeenCut) {
    EXPECT_FALSE(mayBeCut("fourteen-bytes"));
    EXPECT_TRUE(mayBeCut("fifteen-bytes-x"));
    EXPECT_FALSE(mayBeCut("sixteen-bytes-xy"));
}

TEST(ProcessName, isRecoveredFromTheFileNameOfTheFirstTwoArguments) {
    constexpr std::string_view comm = "a-very-long-pro";
    for (const auto& [arguments, name] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"a-very-long-process-name-here\0"sv, "a-very-long-process-name-here"},
             {"/opt/x/a-very-long-process-name-here\0--flag\0"sv, "a-very-long-process-name-here"},
             {"/bin/sh\0/opt/a-very-long-process.sh\0more\0"sv, "a-very-long-process.sh"},
             {"-a-very-long-process\0"sv, "a-very-long-process"},
             {"a-very-long-one\0a-very-long-process\0"sv, "a-very-long-process"},
             {"a-very-long-process-1\0a-very-long-process-2\0"sv, "a-very-long-process-1"},
             {"a-very-long-pro\0"sv, comm},
             {"x\0y\0a-very-long-process\0"sv, comm},      // the third argument does not count
             {"a-very-long-process-that-is-cut"sv, comm},  // nor does one without its end
             {"/bin/sh\0a-very-long-process-th"sv, comm},
             {"a-very-long-process/\0"sv, comm},
             {"A-VERY-LONG-PROCESS\0"sv, comm},
             {"\0\0\0"sv, comm},
             {""sv, comm}}) {
        EXPECT_EQ(recoveredName(comm, arguments), name) << testing::PrintToString(arguments);
    }
    EXPECT_EQ(recoveredName("-dash-first-nam", "-dash-first-name\0"sv), "-dash-first-name");
}

TEST(ProcessName, aWordLongerThanAnyFileNameIsNone) {
    const std::string comm(15, 'x');
    const auto argument = [](std::size_t length) { return std::string(length, 'x') + '\0'; };
    EXPECT_EQ(recoveredName(comm, argument(255)).size(), 255U);
    EXPECT_EQ(recoveredName(comm, argument(256)), comm);
    EXPECT_EQ(recoveredName(comm, argument(10240)), comm);
}

TEST(ProcessName, isHandedOnAsTrimmedText) {
    EXPECT_EQ(tidyName("plain-name"), "plain-name");
    EXPECT_EQ(tidyName("  Web Content\n"), "Web Content");
    EXPECT_EQ(tidyName("a\nb\x01"), "a\nb\x01");
    EXPECT_EQ(tidyName("x\xff"), "x\xef\xbf\xbd");
    EXPECT_EQ(tidyName("\xff"), "\xef\xbf\xbd");
    EXPECT_EQ(tidyName(" \n\t"), "");
    EXPECT_EQ(tidyName("\xc2\xa0x"), "x");
    EXPECT_EQ(tidyName(""), "");
}

}  // namespace
}  // namespace corvanta
