// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "settings/AppTheme.h"
#include "settings/BatteryMenuBarVisibility.h"
#include "settings/DashboardStyle.h"
#include "settings/GraphTheme.h"
#include "settings/GraphType.h"
#include "settings/MenuBarStyle.h"

namespace corvanta {
namespace {

/// Checks that the enumeration has exactly these cases with these raw values, in this order, and that they
/// read back.
template <class E>
void expectCases(const std::vector<std::pair<E, std::string>>& expected) {
    const auto& cases = allCases(E{});
    ASSERT_EQ(cases.size(), expected.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(cases[i], expected[i].first) << i;
        EXPECT_EQ(rawValue(cases[i]), expected[i].second);
        EXPECT_EQ(caseFromRaw<E>(std::string_view(expected[i].second)), cases[i]);
    }
}

TEST(SettingEnumerations, theRawValuesAreTheStoredOnes) {
    expectCases<AppTheme>(
        {{AppTheme::system, "System"}, {AppTheme::light, "Light"}, {AppTheme::dark, "Dark"}});
    expectCases<GraphType>({{GraphType::bars, "Bars"}, {GraphType::line, "Line"}});
    expectCases<DashboardStyle>({{DashboardStyle::minimal, "Minimal"},
                                 {DashboardStyle::compact, "Compact"},
                                 {DashboardStyle::detailed, "Detailed"}});
    expectCases<MenuBarStyle>({{MenuBarStyle::classic, "Classic"}, {MenuBarStyle::signature, "Signature"}});
    expectCases<BatteryMenuBarVisibility>({{BatteryMenuBarVisibility::always, "Always"},
                                           {BatteryMenuBarVisibility::unpluggedOnly, "Only While Unplugged"},
                                           {BatteryMenuBarVisibility::hidden, "Hidden"}});
    expectCases<GraphTheme>({{GraphTheme::classic, "Classic Monochrome"},
                             {GraphTheme::purple, "Corvanta Purple"},
                             {GraphTheme::cyan, "Electric Cyan"},
                             {GraphTheme::blue, "Midnight Blue"},
                             {GraphTheme::green, "Emerald Green"},
                             {GraphTheme::orange, "Sunset Orange"},
                             {GraphTheme::red, "Crimson Red"},
                             {GraphTheme::pink, "Neon Pink"},
                             {GraphTheme::yellow, "Goldenrod"},
                             {GraphTheme::graphite, "Graphite"}});
}

TEST(SettingEnumerations, anotherSpellingIsNoRawValue) {
    EXPECT_EQ(appThemeFromRaw("system"), std::nullopt);
    EXPECT_EQ(graphTypeFromRaw(""), std::nullopt);
    EXPECT_EQ(dashboardStyleFromRaw("Detailed "), std::nullopt);
    EXPECT_EQ(menuBarStyleFromRaw("classic"), std::nullopt);
    EXPECT_EQ(batteryMenuBarVisibilityFromRaw("unpluggedOnly"), std::nullopt);
    EXPECT_EQ(graphThemeFromRaw("Classic"), std::nullopt);
}

TEST(SettingEnumerations, eachDashboardStyleFixesTheSizeOfThePopover) {
    EXPECT_EQ(popoverWidth(DashboardStyle::minimal), 370);
    EXPECT_EQ(popoverHeight(DashboardStyle::minimal), 246);
    EXPECT_EQ(popoverWidth(DashboardStyle::compact), 390);
    EXPECT_EQ(popoverHeight(DashboardStyle::compact), 476);
    EXPECT_EQ(popoverWidth(DashboardStyle::detailed), 404);
    EXPECT_EQ(popoverHeight(DashboardStyle::detailed), 806);
}

TEST(SettingEnumerations, eachGraphThemeHasItsColour) {
    const std::vector<std::pair<GraphTheme, GraphColor>> colours = {
        {GraphTheme::classic, SystemColor::headerText}, {GraphTheme::purple, SystemColor::purple},
        {GraphTheme::cyan, RGBColor{0, 0.9, 1.0}},      {GraphTheme::blue, RGBColor{0.15, 0.4, 1.0}},
        {GraphTheme::green, RGBColor{0.1, 0.8, 0.4}},   {GraphTheme::orange, RGBColor{1.0, 0.4, 0}},
        {GraphTheme::red, RGBColor{0.86, 0.08, 0.24}},  {GraphTheme::pink, RGBColor{1.0, 0.08, 0.58}},
        {GraphTheme::yellow, RGBColor{1.0, 0.8, 0.1}},  {GraphTheme::graphite, RGBColor{0.6, 0.6, 0.6}},
    };
    ASSERT_EQ(colours.size(), allGraphThemes.size());
    for (const auto& [theme, colour] : colours) EXPECT_EQ(color(theme), colour) << rawValue(theme);
}

}  // namespace
}  // namespace corvanta
