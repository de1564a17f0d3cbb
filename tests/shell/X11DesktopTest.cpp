// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/X11Desktop.h"

#include <gtest/gtest.h>

namespace corvanta {
namespace {

constexpr QRect leftScreen(0, 0, 1920, 1080);
constexpr QRect rightScreen(1920, 0, 1280, 1024);
constexpr int desktopWidth = 3200;

Strut topPanel(std::uint32_t size, std::uint32_t start = 0, std::uint32_t end = UINT32_MAX) {
    Strut strut;
    strut.top = {.size = size, .start = start, .end = end};
    return strut;
}
Strut rightPanel(std::uint32_t size, std::uint32_t start = 0, std::uint32_t end = UINT32_MAX) {
    Strut strut;
    strut.right = {.size = size, .start = start, .end = end};
    return strut;
}

TEST(ScreenInsetsTest, nothingReservedIsNothing) {
    EXPECT_EQ(insetsOf({}, leftScreen, desktopWidth), ScreenInsets());
    EXPECT_EQ(insetsOf({Strut()}, leftScreen, desktopWidth), ScreenInsets());
}

TEST(ScreenInsetsTest, theDeepestPanelCounts) {
    EXPECT_EQ(insetsOf({topPanel(27), topPanel(40), topPanel(10)}, leftScreen, desktopWidth),
              (ScreenInsets{40, 0}));
}

TEST(ScreenInsetsTest, aPanelOnAnotherScreenDoesNotCount) {
    const std::vector<Strut> struts = {topPanel(27, 1920, 3199)};
    EXPECT_EQ(insetsOf(struts, leftScreen, desktopWidth), ScreenInsets());
    EXPECT_EQ(insetsOf(struts, rightScreen, desktopWidth), (ScreenInsets{27, 0}));
    EXPECT_EQ(insetsOf({topPanel(27, 0, 1919)}, rightScreen, desktopWidth), ScreenInsets());
}

TEST(ScreenInsetsTest, theRightEdgeIsMeasuredFromTheWholeDesktop) {
    EXPECT_EQ(insetsOf({rightPanel(64)}, rightScreen, desktopWidth), (ScreenInsets{0, 64}));
    EXPECT_EQ(insetsOf({rightPanel(64)}, leftScreen, desktopWidth), ScreenInsets());
    EXPECT_EQ(insetsOf({rightPanel(1280 + 50)}, leftScreen, desktopWidth), (ScreenInsets{0, 50}));
}

TEST(ScreenInsetsTest, aLowerScreenIsReachedOnlyByWhatReachesIt) {
    constexpr QRect lower(0, 1080, 1920, 1080);
    EXPECT_EQ(insetsOf({topPanel(27)}, lower, 1920), ScreenInsets());
    EXPECT_EQ(insetsOf({topPanel(1080 + 27)}, lower, 1920), (ScreenInsets{27, 0}));
}

TEST(ScreenInsetsTest, aReservationOfTheWholeScreenIsIgnored) {
    EXPECT_EQ(insetsOf({topPanel(1080), topPanel(UINT32_MAX)}, leftScreen, desktopWidth), ScreenInsets());
    EXPECT_EQ(insetsOf({topPanel(1079)}, leftScreen, desktopWidth), (ScreenInsets{1079, 0}));
}

}  // namespace
}  // namespace corvanta
