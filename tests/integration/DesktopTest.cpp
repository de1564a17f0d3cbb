// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "integration/CorvantaTest.h"

namespace corvanta::test {
namespace {

/// The program on an X server with a window manager.
class DesktopTest : public CorvantaTest {
  protected:
    void SetUp() override {
        // It lasts beyond its first client, which is here and gone before the window manager comes.
        server_ = std::make_unique<Program>(
            "Xvfb", words("-displayfd 1 -screen 0 1280x800x24 -nolisten tcp -noreset"), user_.environment());
        ASSERT_TRUE(server_->awaitOutput("\n")) << server_->errors();
        const std::string& number = server_->output();
        user_.setVariable("DISPLAY", ":" + number.substr(0, number.find('\n')));
        user_.removeVariable("QT_QPA_PLATFORM");
        const std::string configuration = user_.folder() / "openbox.xml";
        std::ofstream(configuration) << "<openbox_config xmlns=\"http://openbox.org/3.4/rc\"/>";
        windowManager_ = std::make_unique<Program>(
            "openbox", words("--sm-disable --config-file " + configuration), user_.environment());
        ASSERT_TRUE(eventually([&] {
            return tool("xprop -root _NET_SUPPORTING_WM_CHECK").find("window id") != std::string::npos;
        }));
        tool("xdotool mousemove 300 600");

        program_ = start();
        ASSERT_TRUE(eventually([&] { return !windows("--name ^Corvanta\\sstatus\\sitem$").empty(); }))
            << program_->output() << program_->errors();
        strip_ = windows("--name ^Corvanta\\sstatus\\sitem$").front();
        ASSERT_TRUE(eventually([&] { return isSettled(); })) << screen();
    }
    void TearDown() override {
        // The program goes before its server.
        program_.reset();
    }

    /// What a tool prints.
    std::string tool(const std::string& line) const {
        QStringList arguments = words(line);
        const std::string binary = arguments.takeFirst().toStdString();
        Program program(binary, arguments, user_.environment());
        program.exitCode();
        return program.output();
    }
    /// The visible windows that xdotool finds.
    std::vector<std::string> windows(const std::string& search) const {
        std::istringstream text(tool("xdotool search --onlyvisible " + search));
        std::vector<std::string> found;
        for (std::string id; std::getline(text, id);) found.push_back(id);
        return found;
    }
    /// What there is to see, for a failure's message.
    std::string screen() const { return tool("xdotool getmouselocation") + tool("xwininfo -root -tree"); }
    /// Whether the window manager has taken the strip over and its right end is where it stays.
    bool isSettled() const {
        if (tool("xprop -id " + strip_ + " WM_STATE").find("Normal") == std::string::npos) return false;
        std::istringstream text(tool("xwininfo -id " + strip_));
        int left = 0, top = 0, width = 0;
        for (std::string line; std::getline(text, line);) {
            std::sscanf(line.c_str(), " Absolute upper-left X: %d", &left);
            std::sscanf(line.c_str(), " Absolute upper-left Y: %d", &top);
            std::sscanf(line.c_str(), " Width: %d", &width);
        }
        return left + width == 1276 && top == 1;
    }
    /// Clicks on the strip with the right button and returns the window of the menu that appears; empty
    /// without one.
    std::string openMenu() const {
        std::string menu;
        const auto isOpen = [&] {
            for (const std::string& id : windows("--class ^corvanta$")) {
                if (id != strip_) menu = id;
            }
            return !menu.empty();
        };
        // Of thousands of clicks on a window that is just being shown, the window manager swallows one or
        // two.
        for (int attempt = 0; attempt < 5; ++attempt) {
            // The middle, which stays inside when the row becomes wider or narrower.
            tool("xdotool mousemove 1140 12 click 3");
            if (eventually(isOpen, patience / 5)) break;
        }
        return menu;
    }

    std::unique_ptr<Program> server_;
    std::unique_ptr<Program> windowManager_;
    std::unique_ptr<Program> program_;
    std::string strip_;
};

TEST_F(DesktopTest, theStripIsADockOnAllDesktops) {
    EXPECT_NE(tool("xprop -id " + strip_ + " _NET_WM_WINDOW_TYPE").find("_NET_WM_WINDOW_TYPE_DOCK"),
              std::string::npos);
    EXPECT_NE(tool("xprop -id " + strip_ + " _NET_WM_DESKTOP").find("4294967295"), std::string::npos);
    EXPECT_TRUE(awaitRows(1));
    EXPECT_EQ(outputOf(*program_), "");
    expectQuits(*program_);
}

TEST_F(DesktopTest, theMenuQuitsByClick) {
    const std::string menu = openMenu();
    ASSERT_NE(menu, "") << screen();
    tool("xdotool mousemove --window " + menu + " 30 12 click 1");
    EXPECT_EQ(program_->exitCode(), 0);
    EXPECT_EQ(program_->errors(), "");
}

TEST_F(DesktopTest, theMenuQuitsByKey) {
    ASSERT_NE(openMenu(), "") << screen();
    tool("xdotool key Down Return");
    EXPECT_EQ(program_->exitCode(), 0);
    EXPECT_EQ(program_->errors(), "");
}

TEST_F(DesktopTest, aClosedMenuLeavesTheProgramRunning) {
    const std::string menu = openMenu();
    ASSERT_NE(menu, "") << screen();
    tool("xdotool key Escape");
    EXPECT_TRUE(
        eventually([&] { return tool("xwininfo -id " + menu).find("IsViewable") == std::string::npos; }));
    EXPECT_TRUE(program_->isRunning());
    // And it opens again.
    EXPECT_NE(openMenu(), "");
    tool("xdotool key q");
    expectQuits(*program_);
}

}  // namespace
}  // namespace corvanta::test
