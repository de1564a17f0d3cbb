// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>

#include "platform/linux/LinuxThreadSetup.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

struct ThreadFacts {
    std::string name;
    int nice = 0;
};

ThreadFacts factsAfterEntering(const std::string& label) {
    ThreadFacts facts;
    std::thread([&] {
        LinuxThreadSetup().enterUtilityThread(label);
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        facts.name = name.data();
        facts.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    }).join();
    return facts;
}

TEST(LinuxThreadSetup, namesTheThreadAndLowersItAlone) {
    const int niceHere = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    const ThreadFacts facts = factsAfterEntering("com.corvanta.memory-pressure");
    EXPECT_EQ(facts.name, "memory-pressure");
    EXPECT_EQ(facts.nice, 10);
    EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(gettid())), niceHere);
}

TEST(LinuxThreadSetup, cutsALongName) {
    EXPECT_EQ(factsAfterEntering("a name that is far too long for the kernel").name, "a name that is ");
}

// One contract for every setup: a thread goes on after it, whatever the label.
TEST(ThreadSetupContract, everyLabelIsTaken) {
    test::FakeThreadSetup fake;
    LinuxThreadSetup real;
    for (ThreadSetup* setup : {static_cast<ThreadSetup*>(&fake), static_cast<ThreadSetup*>(&real)}) {
        bool wentOn = false;
        std::thread([&] {
            for (const char* label : {"", "com.corvanta.", "com.corvanta.monitor", "\xc3\xa4\xc3\xb6"}) {
                setup->enterUtilityThread(label);
            }
            wentOn = true;
        }).join();
        EXPECT_TRUE(wentOn);
    }
}

}  // namespace
}  // namespace corvanta
