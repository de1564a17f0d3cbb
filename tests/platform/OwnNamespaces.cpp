// SPDX-License-Identifier: Apache-2.0
#include "platform/OwnNamespaces.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace corvanta::test {
namespace {

constexpr int bodyFailed = 1;
constexpr int refused = 2;

bool enterNamespaces() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    // Without privileges, a user namespace gives them inside.
    if (unshare(CLONE_NEWNET | CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) != 0) return false;
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        if (geteuid() != 0) return false;
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

void inOwnNamespaces(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!enterNamespaces()) {
            std::printf("This machine refuses namespaces: %s\n", std::strerror(errno));
            std::fflush(nullptr);
            _exit(refused);
        }
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? bodyFailed : 0);
    }
    ASSERT_GT(child, 0) << "This machine refuses a child process: " << std::strerror(errno);
    int status = 0;
    while (waitpid(child, &status, 0) < 0) ASSERT_EQ(errno, EINTR);
    ASSERT_TRUE(WIFEXITED(status)) << "the child process ended by signal " << WTERMSIG(status);
    ASSERT_NE(WEXITSTATUS(status), refused) << "This machine refuses namespaces";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "see the child process's words above";
}

bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;  // NOLINT(bugprone-command-processor)
}

}  // namespace corvanta::test
