// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "integration/Program.h"

namespace corvanta::test {

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// `corvantactl` as a user of his own calls it.
class CtlTest : public testing::Test {
  protected:
    struct Finished {
        int exitCode = -1;
        std::string out;
        std::string err;
    };

    /// Runs one command to its end.
    Finished ctl(const std::string& arguments, const std::function<void()>& inChild = {}) const {
        Program program(CORVANTACTL_PROGRAM, words(arguments), user_.environment(), inChild);
        const int code = program.exitCode();
        return {code, program.output(), program.errors()};
    }

    static void expectOneLine(const std::string& text) {
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
        EXPECT_TRUE(text.size() > 1 && text.back() == '\n') << text;
    }

    TestUser user_;
};

}  // namespace corvanta::test
