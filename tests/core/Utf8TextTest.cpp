// SPDX-License-Identifier: Apache-2.0
#include "core/Utf8Text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

TEST(Utf8Text, validTextStays) {
    for (const std::string_view text :
         {"", "plain", "\x7f", "gr\xc3\xbc\xc3\x9f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf",
          "\xee\x80\x80", "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "a\nb\x01"}) {
        EXPECT_EQ(repairedUtf8(text), text);
    }
    EXPECT_EQ(repairedUtf8(std::string_view("a\0b", 3)), std::string_view("a\0b", 3));
}

TEST(Utf8Text, eachPieceThatIsNoCharacterBecomesOneMark) {
    const std::string mark = "\xef\xbf\xbd";
    for (const auto& [bytes, text] : std::vector<std::pair<std::string_view, std::string>>{
             {"\x80", mark},
             {"\xbf\x80", mark + mark},
             {"\xc0\xaf", mark + mark},  // overlong, as are the next three
             {"\xc1\xbf", mark + mark},
             {"\xe0\x9f\xbf", mark + mark + mark},
             {"\xf0\x8f\xbf\xbf", mark + mark + mark + mark},
             {"\xed\xa0\x80", mark + mark + mark},             // a surrogate
             {"\xf4\x90\x80\x80", mark + mark + mark + mark},  // beyond the last character
             {"\xf5x", mark + "x"},
             {"\xff\xfe", mark + mark},
             {"a\xc3", "a" + mark},
             {"\xc3x", mark + "x"},
             {"\xe2\x82", mark},  // the beginning of a character, cut short
             {"\xe2\x82x", mark + "x"},
             {"\xf0\x9f\x98", mark},
             {"\xf0\x9f\x98\xf0\x9f\x98\x80", mark + "\xf0\x9f\x98\x80"},
             {"\xe2x\x82", mark + "x" + mark}}) {
        EXPECT_EQ(repairedUtf8(bytes), text) << testing::PrintToString(bytes);
    }
}

TEST(Utf8Text, trimsEverySpaceAndLineEndAtBothEndsOnly) {
    EXPECT_EQ(trimmedUtf8(" \t\r\n\v\fa b\n c \n"), "a b\n c");
    EXPECT_EQ(trimmedUtf8("\xc2\xa0\xe3\x80\x80 x\xe2\x80\xa8\xc2\x85"), "x");
    EXPECT_EQ(trimmedUtf8("x"), "x");
    EXPECT_EQ(trimmedUtf8(""), "");
    EXPECT_EQ(trimmedUtf8(" \n\xe2\x80\xa9 "), "");
    EXPECT_EQ(trimmedUtf8("\x01 x \x1b"), "\x01 x \x1b");
    EXPECT_EQ(trimmedUtf8("\xe2\x80\xbd"), "\xe2\x80\xbd");  // its last byte ends no white space
}

}  // namespace
}  // namespace corvanta
