// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/XdgDirectories.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace corvanta {
namespace {

using Variables = std::map<std::string, std::string>;

XdgDirectories directoriesWith(const Variables& variables, std::optional<std::string> home = std::nullopt) {
    return xdgDirectories(
        [&](const char* name) {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        },
        [&] { return home; });
}

TEST(XdgDirectories, withoutVariablesTheyLieInTheHomeFolder) {
    EXPECT_EQ(directoriesWith({{"HOME", "/home/ada"}}),
              (XdgDirectories{"/home/ada/.config", "/home/ada/.local/share", {"/etc/xdg"}}));
}

TEST(XdgDirectories, theirOwnVariablesWin) {
    EXPECT_EQ(directoriesWith({{"HOME", "/home/ada"},
                               {"XDG_CONFIG_HOME", "/c"},
                               {"XDG_DATA_HOME", "/d"},
                               {"XDG_CONFIG_DIRS", "/first:/second"}}),
              (XdgDirectories{"/c", "/d", {"/first", "/second"}}));
}

TEST(XdgDirectories, emptyVariablesCountAsNotSet) {
    EXPECT_EQ(
        directoriesWith(
            {{"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", ""}, {"XDG_DATA_HOME", ""}, {"XDG_CONFIG_DIRS", ""}}),
        directoriesWith({{"HOME", "/home/ada"}}));
}

TEST(XdgDirectories, relativePathsAreIgnored) {
    EXPECT_EQ(directoriesWith({{"HOME", "/home/ada"},
                               {"XDG_CONFIG_HOME", "config"},
                               {"XDG_DATA_HOME", "./data"},
                               {"XDG_CONFIG_DIRS", "relative:/etc/one::~/two:/etc/three"}}),
              (XdgDirectories{"/home/ada/.config", "/home/ada/.local/share", {"/etc/one", "/etc/three"}}));
}

TEST(XdgDirectories, withoutAUsableHomeVariableTheAccountsHomeServes) {
    const XdgDirectories expected{"/var/lib/ada/.config", "/var/lib/ada/.local/share", {"/etc/xdg"}};
    EXPECT_EQ(directoriesWith({}, "/var/lib/ada"), expected);
    EXPECT_EQ(directoriesWith({{"HOME", ""}}, "/var/lib/ada"), expected);
    EXPECT_EQ(directoriesWith({{"HOME", "ada"}}, "/var/lib/ada"), expected);
}

TEST(XdgDirectories, theHomeVariableWinsOverTheAccountsHome) {
    EXPECT_EQ(directoriesWith({{"HOME", "/home/ada"}}, "/var/lib/ada").configHome, "/home/ada/.config");
}

TEST(XdgDirectories, withoutAnyHomeTheyAreAbsentUnlessNamed) {
    EXPECT_EQ(directoriesWith({}), (XdgDirectories{std::nullopt, std::nullopt, {"/etc/xdg"}}));
    EXPECT_EQ(directoriesWith({{"XDG_CONFIG_HOME", "/c"}}),
              (XdgDirectories{"/c", std::nullopt, {"/etc/xdg"}}));
}

TEST(XdgDirectories, theProgramsFilesHaveTheirOwnFolders) {
    EXPECT_EQ(applicationPathsBelow({"/home/ada/.config", "/home/ada/.local/share", {}}),
              (ApplicationPaths{"/home/ada/.config/com.corvanta.app/settings.json",
                                "/home/ada/.local/share/com.corvanta.app/history.sqlite"}));
    EXPECT_EQ(applicationPathsBelow({"/c", std::nullopt, {}}), std::nullopt);
    EXPECT_EQ(applicationPathsBelow({std::nullopt, "/d", {}}), std::nullopt);
}

TEST(XdgDirectories, theProcessHasAnEnvironmentAndItsUserAHome) {
    ASSERT_EQ(::setenv("CORVANTA_TEST_VARIABLE", "value", 1), 0);
    EXPECT_EQ(processEnvironment("CORVANTA_TEST_VARIABLE"), "value");
    ASSERT_EQ(::unsetenv("CORVANTA_TEST_VARIABLE"), 0);
    EXPECT_EQ(processEnvironment("CORVANTA_TEST_VARIABLE"), std::nullopt);
    ASSERT_TRUE(accountHome());
    EXPECT_EQ(accountHome()->front(), '/');
}

}  // namespace
}  // namespace corvanta
