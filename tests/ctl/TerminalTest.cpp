// SPDX-License-Identifier: Apache-2.0
#include "ctl/Terminal.h"

#include <ostream>
#include <regex>

#include "ctl/StoreTest.h"
#include "incidents/IncidentRecords.h"
#include "incidents/StoredIncidents.h"

namespace corvanta::test {
namespace {

constexpr char ctrlC = '\x03';
constexpr const char* hideCursor = "\x1b[?25l";
constexpr const char* showCursor = "\x1b[?25h";

using TerminalTest = StoreTest;

bool hasColor(const std::string& text) {
    return std::regex_search(text, std::regex("\x1b\\[(2|31|32|33)m[^\x1b]+\x1b\\[0m"));
}

/// Whether there is anything that a terminal would obey, but for its line ends.
bool hasControls(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && c != '\r' && c != '\n') || c == 0x7f) return true;
        // U+0080 to U+009F in UTF-8.
        if (c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0) return true;
    }
    return false;
}

TEST_F(TerminalTest, watchDrawsOverItselfInColor) {
    user_.setRefreshFrequency(RefreshFrequency::high);
    Terminal terminal(CORVANTACTL_PROGRAM, words("watch"), user_.environment());
    const auto pictures = [](const std::string& shown) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = shown.find("\x1b[HCPU", at)) != std::string::npos; ++at) ++count;
        return count;
    };
    ASSERT_TRUE(terminal.await([&](const std::string& shown) { return pictures(shown) >= 2; }));
    terminal.type(ctrlC);
    EXPECT_EQ(terminal.exitCode(), 0);

    const std::string& shown = terminal.shown();
    EXPECT_EQ(shown.rfind(hideCursor, 0), 0u);
    EXPECT_TRUE(hasColor(shown));
    EXPECT_EQ(shown.find(hideCursor, 1), std::string::npos);
    ASSERT_GE(shown.size(), 6u);
    EXPECT_EQ(shown.substr(shown.size() - 6), showCursor);
    EXPECT_EQ(shown.find(showCursor), shown.size() - 6);
}

TEST_F(TerminalTest, watchForProgramsIsPlainHereToo) {
    Terminal terminal(CORVANTACTL_PROGRAM, words("watch --json"), user_.environment());
    ASSERT_TRUE(
        terminal.await([](const std::string& shown) { return shown.find('\n') != std::string::npos; }));
    terminal.type(ctrlC);
    EXPECT_EQ(terminal.exitCode(), 0);
    EXPECT_FALSE(hasControls(terminal.shown())) << terminal.shown();
}

TEST_F(TerminalTest, statusIsColored) {
    Terminal terminal(CORVANTACTL_PROGRAM, words("status"), user_.environment());
    EXPECT_EQ(terminal.exitCode(), 0);
    EXPECT_TRUE(hasColor(terminal.shown())) << terminal.shown();
    EXPECT_EQ(terminal.shown().find(hideCursor), std::string::npos);
}

struct HostileName {
    const char* title;
    const char* text;
};

void PrintTo(const HostileName& name, std::ostream* out) {
    *out << name.title;
}

class StoredNameTest : public StoreTest, public testing::WithParamInterface<HostileName> {};

// Any user of the machine can give a process such a name.
TEST_P(StoredNameTest, cannotWriteToTheTerminal) {
    SnapshotValues hostile = sample(60);
    hostile.topCPUProcess = std::string("a") + GetParam().text + "b";
    fillStore({hostile});
    PerformanceIncident incident = recoveredIncident(1, static_cast<double>(now_));
    incident.topCPUProcess = hostile.topCPUProcess;
    incident.worstThermalState = *hostile.topCPUProcess;
    Sql sql(user_.database());
    storeIncident(sql, incident);
    for (const char* command : {"history", "history --json", "incidents", "incidents --json"}) {
        SCOPED_TRACE(command);
        Terminal terminal(CORVANTACTL_PROGRAM, words(command), user_.environment());
        EXPECT_EQ(terminal.exitCode(), 0);
        EXPECT_NE(terminal.shown().find('a'), std::string::npos);
        EXPECT_FALSE(hasControls(terminal.shown())) << terminal.shown();
    }
    // Elsewhere a line is one row, and the first the heading.
    for (const char* command : {"history", "incidents"}) {
        const Finished text = ctl(command);
        EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), 2);
        EXPECT_EQ(text.out.find('\r'), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(TerminalTest, StoredNameTest,
                         testing::Values(HostileName{"color", "\x1b[31m"},
                                         HostileName{"windowTitle", "\x1b]0;title\x07"},
                                         HostileName{"lineFeed", "\n"}, HostileName{"carriageReturn", "\r"},
                                         HostileName{"tab", "\t"}, HostileName{"backspaces", "\b\b\b"},
                                         HostileName{"deletion", "\x7f"},
                                         HostileName{"colorByOneCharacter", "\u009b31m"},
                                         HostileName{"nextLine", "\u0085"}),
                         [](const auto& name) { return name.param.title; });

}  // namespace
}  // namespace corvanta::test
