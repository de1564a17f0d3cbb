// SPDX-License-Identifier: Apache-2.0
#include "core/AsciiCase.h"

#include <gtest/gtest.h>

namespace corvanta {
namespace {

TEST(AsciiCase, onlyTheLettersOfAsciiChange) {
    EXPECT_EQ(asciiLowerCase("ABYZ abyz"), "abyz abyz");
    EXPECT_EQ(asciiLowerCase("@[`{019-_"), "@[`{019-_");
    EXPECT_EQ(asciiLowerCase("ÄÖ Straße \xff"), "ÄÖ straße \xff");
    EXPECT_EQ(asciiLowerCase(""), "");
}

}  // namespace
}  // namespace corvanta
