// SPDX-License-Identifier: Apache-2.0
#include "platform/LoginItem.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/XdgLoginItem.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;

constexpr const char* fileName = "autostart/com.corvanta.app.desktop";

struct InMemory {
    test::FakeLoginItem item;
};

struct InAutostart {
    test::TempDirectory folder;
    XdgLoginItem item{XdgDirectories{folder.file("config"), std::nullopt, {folder.file("etc")}}, "GNOME",
                      "/usr/bin/corvanta"};
};

/// What every login item keeps to.
template <class Machine>
class LoginItemContract : public testing::Test {
  protected:
    Machine machine;
    LoginItem& item = machine.item;
};

using Machines = testing::Types<InMemory, InAutostart>;
TYPED_TEST_SUITE(LoginItemContract, Machines);

TYPED_TEST(LoginItemContract, itIsOffAtFirst) {
    EXPECT_FALSE(this->item.isEnabled());
}

TYPED_TEST(LoginItemContract, registeringTurnsItOnAndUnregisteringOff) {
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(this->item.registerItem(), std::nullopt);
        EXPECT_TRUE(this->item.isEnabled());
        EXPECT_EQ(this->item.unregisterItem(), std::nullopt);
        EXPECT_FALSE(this->item.isEnabled());
    }
}

TYPED_TEST(LoginItemContract, doingItTwiceIsNoFailure) {
    EXPECT_EQ(this->item.registerItem(), std::nullopt);
    EXPECT_EQ(this->item.registerItem(), std::nullopt);
    EXPECT_TRUE(this->item.isEnabled());
    EXPECT_EQ(this->item.unregisterItem(), std::nullopt);
    EXPECT_EQ(this->item.unregisterItem(), std::nullopt);
    EXPECT_FALSE(this->item.isEnabled());
}

class XdgLoginItemTest : public testing::Test {
  protected:
    XdgLoginItem item(const std::string& desktop = "GNOME",
                      const std::string& executable = "/usr/bin/corvanta") const {
        return {
            XdgDirectories{folder.file("config"), std::nullopt, {folder.file("etc1"), folder.file("etc2")}},
            desktop, executable};
    }
    void writeEntry(const std::string& base, const std::string& lines) const {
        folder.write(base + "/" + fileName, "[Desktop Entry]\nType=Application\nExec=corvanta\n" + lines);
    }
    /// Whether the user's entry with these further lines counts as on.
    bool enabledWith(const std::string& lines, const std::string& desktop = "GNOME") const {
        writeEntry("config", lines);
        return item(desktop).isEnabled();
    }

    test::TempDirectory folder;
    const std::string userEntry = folder.file(std::string("config/") + fileName);
};

TEST_F(XdgLoginItemTest, registeringWritesOneEntry) {
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_EQ(test::readFile(userEntry),
              "[Desktop Entry]\n"
              "Type=Application\n"
              "Name=Corvanta\n"
              "Icon=com.corvanta.app\n"
              "Exec=/usr/bin/corvanta\n"
              "X-GNOME-Autostart-enabled=true\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.file("config/autostart")), {}), 1);
}

TEST_F(XdgLoginItemTest, unregisteringRemovesTheFile) {
    item().registerItem();
    EXPECT_EQ(item().unregisterItem(), std::nullopt);
    EXPECT_FALSE(fs::exists(userEntry));
}

TEST_F(XdgLoginItemTest, anEntryOfTheSystemIsHiddenAndNotTouched) {
    writeEntry("etc2", "");
    const std::string system = test::readFile(folder.file(std::string("etc2/") + fileName));
    EXPECT_TRUE(item().isEnabled());
    EXPECT_EQ(item().unregisterItem(), std::nullopt);
    EXPECT_FALSE(item().isEnabled());
    EXPECT_EQ(test::readFile(userEntry), "[Desktop Entry]\nType=Application\nName=Corvanta\nHidden=true\n");
    EXPECT_EQ(test::readFile(folder.file(std::string("etc2/") + fileName)), system);
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_TRUE(item().isEnabled());
}

TEST_F(XdgLoginItemTest, theFirstFileFoundDecides) {
    writeEntry("etc2", "");
    EXPECT_TRUE(item().isEnabled());
    writeEntry("etc1", "Hidden=true\n");
    EXPECT_FALSE(item().isEnabled());
    writeEntry("config", "");
    EXPECT_TRUE(item().isEnabled());
    // A way to mask an entry: a file with nothing in it.
    folder.write(std::string("config/") + fileName, "");
    EXPECT_FALSE(item().isEnabled());
}

TEST_F(XdgLoginItemTest, theSwitchesOfAnEntry) {
    EXPECT_TRUE(enabledWith(""));
    EXPECT_TRUE(enabledWith("Hidden=false\nX-GNOME-Autostart-enabled=true\n"));
    EXPECT_FALSE(enabledWith("Hidden=true\n"));
    EXPECT_FALSE(enabledWith("Hidden = true \r\n"));
    EXPECT_FALSE(enabledWith("X-GNOME-Autostart-enabled=false\n"));
    EXPECT_TRUE(enabledWith("#Hidden=true\n"));
    EXPECT_TRUE(enabledWith("Hidden[de]=true\n"));
    EXPECT_TRUE(enabledWith("[Desktop Action Stop]\nHidden=true\n"));
    EXPECT_FALSE(enabledWith("Type=Link\n"));
    EXPECT_FALSE(enabledWith("Exec=\n"));
}

TEST_F(XdgLoginItemTest, theProgramToTryMustBeThere) {
    EXPECT_TRUE(enabledWith("TryExec=/bin/sh\n"));
    EXPECT_TRUE(enabledWith("TryExec=sh\n"));
    EXPECT_TRUE(enabledWith("TryExec=\n"));
    EXPECT_FALSE(enabledWith("TryExec=/bin/corvanta-is-not-here\n"));
    EXPECT_FALSE(enabledWith("TryExec=corvanta-is-not-here\n"));
    EXPECT_FALSE(enabledWith("TryExec=/etc/passwd\n"));
}

TEST_F(XdgLoginItemTest, theDesktopMustBeOneThatTheEntryIsFor) {
    EXPECT_TRUE(enabledWith("OnlyShowIn=GNOME;KDE;\n"));
    EXPECT_TRUE(enabledWith("OnlyShowIn=KDE;GNOME\n"));
    EXPECT_FALSE(enabledWith("OnlyShowIn=KDE;XFCE;\n"));
    EXPECT_FALSE(enabledWith("OnlyShowIn=gnome;\n"));
    EXPECT_FALSE(enabledWith("OnlyShowIn=\n"));
    EXPECT_FALSE(enabledWith("NotShowIn=KDE;GNOME;\n"));
    EXPECT_TRUE(enabledWith("NotShowIn=KDE;\n"));
    EXPECT_FALSE(enabledWith("OnlyShowIn=GNOME;\n", ""));
    EXPECT_TRUE(enabledWith("NotShowIn=GNOME;\n", ""));
    EXPECT_TRUE(enabledWith("OnlyShowIn=GNOME;\n", "Budgie:GNOME"));
    EXPECT_FALSE(enabledWith("NotShowIn=GNOME;\n", "Budgie:GNOME"));
    EXPECT_TRUE(enabledWith("OnlyShowIn=Budgie;\nNotShowIn=GNOME;\n", "Budgie:GNOME"));
    EXPECT_FALSE(enabledWith("OnlyShowIn=GNOME;\nNotShowIn=Budgie;\n", "Budgie:GNOME"));
}

TEST_F(XdgLoginItemTest, registeringReplacesAnEntryThatWasSwitchedOff) {
    EXPECT_FALSE(enabledWith("Hidden=true\nOnlyShowIn=KDE;\n"));
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_TRUE(item().isEnabled());
}

TEST_F(XdgLoginItemTest, thePathIsQuotedAsAnExecLineAsksFor) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"/usr/bin/corvanta", "/usr/bin/corvanta"},
        {"/opt/My Apps/corvanta", R"("/opt/My Apps/corvanta")"},
        {"/opt/50%/corvanta", "/opt/50%%/corvanta"},
        {"/opt/a$b/corvanta", R"("/opt/a\\$b/corvanta")"},
        {"/opt/a`b/corvanta", R"("/opt/a\\`b/corvanta")"},
        {"/opt/a\"b/corvanta", R"("/opt/a\\"b/corvanta")"},
        {"/opt/a\\b/corvanta", R"("/opt/a\\\\b/corvanta")"},
        {"/opt/a'b/corvanta", R"("/opt/a'b/corvanta")"},
        {"/opt/(a);&b/corvanta", R"("/opt/(a);&b/corvanta")"},
        {"/opt/größe/corvanta", "/opt/größe/corvanta"},
    };
    for (const auto& [path, exec] : rows) {
        EXPECT_EQ(item("GNOME", path).registerItem(), std::nullopt);
        EXPECT_NE(test::readFile(userEntry).find("\nExec=" + exec + "\n"), std::string::npos) << path;
    }
}

TEST_F(XdgLoginItemTest, aPathThatAnExecLineCannotHoldIsRefused) {
    for (const char* path : {"", "corvanta", "bin/corvanta", "/opt/a=b/corvanta", "/opt/a\nb/corvanta"}) {
        EXPECT_NE(item("GNOME", path).registerItem(), std::nullopt) << path;
        EXPECT_FALSE(fs::exists(userEntry));
    }
}

TEST_F(XdgLoginItemTest, aFolderThatCannotBeMadeIsTheReason) {
    folder.write("config", "a file in the way");
    const auto failure = item().registerItem();
    ASSERT_TRUE(failure);
    EXPECT_EQ(*failure, "Not a directory: " + folder.file("config/autostart"));
    EXPECT_FALSE(item().isEnabled());
}

TEST_F(XdgLoginItemTest, aFolderInThePlaceOfTheEntryIsTheReason) {
    folder.write(std::string("config/") + fileName + "/inside", "precious");
    EXPECT_FALSE(item().isEnabled());
    EXPECT_NE(item().registerItem(), std::nullopt);
    EXPECT_NE(item().unregisterItem(), std::nullopt);
    EXPECT_EQ(test::readFile(userEntry + "/inside"), "precious");
}

TEST_F(XdgLoginItemTest, aLinkIsReplacedAndItsTargetSpared) {
    const std::string target = folder.write("target", "precious");
    fs::create_directories(folder.file("config/autostart"));
    fs::create_symlink(target, userEntry);
    EXPECT_FALSE(item().isEnabled());
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_TRUE(item().isEnabled());
    EXPECT_FALSE(fs::is_symlink(userEntry));
    EXPECT_EQ(test::readFile(target), "precious");
}

TEST_F(XdgLoginItemTest, withoutAHomeFolderOnlyTheSystemsEntryCounts) {
    XdgLoginItem homeless(XdgDirectories{std::nullopt, std::nullopt, {folder.file("etc1")}}, "GNOME",
                          "/usr/bin/corvanta");
    EXPECT_FALSE(homeless.isEnabled());
    EXPECT_EQ(homeless.registerItem(), "There is no home folder");
    EXPECT_EQ(homeless.unregisterItem(), std::nullopt);
    writeEntry("etc1", "");
    EXPECT_TRUE(homeless.isEnabled());
    EXPECT_EQ(homeless.unregisterItem(), "There is no home folder");
}

}  // namespace
}  // namespace corvanta
