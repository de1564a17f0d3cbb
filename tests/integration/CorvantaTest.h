// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "integration/Program.h"
#include "storage/DatabaseManager.h"

namespace corvanta::test {

/// The whole program, as a user of his own runs it.
class CorvantaTest : public testing::Test {
  protected:
    std::unique_ptr<Program> start(const std::string& arguments = "",
                                   const std::function<void()>& inChild = {}) const {
        return std::make_unique<Program>(CORVANTA_PROGRAM, words(arguments), user_.environment(), inChild);
    }

    /// The stored history, oldest first; empty while there is none.
    std::vector<SystemSnapshot> rows() const { return rowsOf(user_); }
    std::vector<SystemSnapshot> rowsOf(const TestUser& user) const {
        return DatabaseManager(user.database(), clock_, StoreAccess::readOnly).fetchHistory();
    }
    bool awaitRows(std::size_t count) const {
        return eventually([&] { return rows().size() >= count; });
    }

    /// Whether it still runs after more than one cycle.
    static bool goesOn(const Program& program) {
        return !eventually([&] { return !program.isRunning(); }, 3000);
    }
    /// What it has written, without the answer to the authorization of notifications, which each launch logs.
    static std::string outputOf(Program& program) {
        std::string output = program.output();
        const std::size_t begin = output.find("Notification authorisation ");
        if (begin != std::string::npos) output.erase(begin, output.find('\n', begin) + 1 - begin);
        return output;
    }
    static void expectQuits(Program& program, int signal = SIGTERM) {
        program.signal(signal);
        EXPECT_EQ(program.exitCode(), 0);
        EXPECT_EQ(program.errors(), "");
    }

    const SystemClock clock_{};
    TestUser user_;
};

}  // namespace corvanta::test
