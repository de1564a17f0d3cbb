// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "monitoring/collectors/ProcessControl.h"
#include "platform/OpenDescriptors.h"
#include "platform/ProcTree.h"
#include "platform/linux/LinuxProcessSignaller.h"
#include "platform/linux/ProcLister.h"
#include "support/ChildProcess.h"
#include "support/FakeProcesses.h"

namespace corvanta {
namespace {

using test::ChildProcess;
using test::openDescriptors;
using test::ProcTree;

constexpr std::int64_t missingID = std::numeric_limits<std::int32_t>::max();  // above any that is given out

LinuxProcessSignaller::OpenProcess failing(int error) {
    return [error](std::int32_t) {
        errno = error;
        return -1;
    };
}

double secondsSinceBoot() {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// One contract for every signaller, and for Linux with and without descriptors of processes.
struct Machine {
    virtual ~Machine() = default;
    virtual ProcessSignaller& signaller() = 0;
    virtual std::int64_t start() = 0;
    virtual void end() = 0;
    virtual bool gotTerminated() = 0;  ///< the process started last has been sent signal 15
};

struct FakeMachine final : Machine {
    ProcessSignaller& signaller() override { return fake; }
    std::int64_t start() override {
        fake.start(77, "worker");
        return 77;
    }
    void end() override { fake.end(77); }
    bool gotTerminated() override {
        return fake.signals == std::vector<test::FakeProcessSignaller::Signal>{{77, 15}};
    }
    test::FakeProcessSignaller fake;
};

struct LinuxMachine final : Machine {
    explicit LinuxMachine(LinuxProcessSignaller::OpenProcess open)
        : linuxSignaller("/proc", std::move(open)) {}
    ProcessSignaller& signaller() override { return linuxSignaller; }
    std::int64_t start() override {
        child.emplace(ChildProcess::sleeping());
        return child->id();
    }
    void end() override {
        kill(child->id(), SIGKILL);
        child->collect();
    }
    bool gotTerminated() override { return child->collect() == SIGTERM; }
    LinuxProcessSignaller linuxSignaller;
    std::optional<ChildProcess> child;
};

struct MachineKind {
    const char* name;
    std::function<std::unique_ptr<Machine>()> make;
};

class ProcessSignallerContract : public testing::TestWithParam<MachineKind> {
  protected:
    std::unique_ptr<Machine> machine = GetParam().make();
    ProcessSignaller& signaller = machine->signaller();
};

TEST_P(ProcessSignallerContract, aHeldProcessGetsItsSignal) {
    const std::int64_t id = machine->start();
    ASSERT_GT(id, 0);
    const auto held = signaller.hold(id);
    EXPECT_EQ(held->id(), id);
    EXPECT_FALSE(held->name().empty());
    EXPECT_EQ(held->send(15), 0);
    EXPECT_TRUE(machine->gotTerminated());
}

TEST_P(ProcessSignallerContract, aHeldProcessThatHasEndedGetsNone) {
    const std::int64_t id = machine->start();
    const auto held = signaller.hold(id);
    machine->end();
    EXPECT_EQ(held->send(15), ESRCH);
    EXPECT_EQ(signaller.hold(id)->send(15), ESRCH);
}

TEST_P(ProcessSignallerContract, aMissingProcessGetsNone) {
    const auto held = signaller.hold(missingID);
    EXPECT_EQ(held->id(), missingID);
    EXPECT_EQ(held->name(), "");
    EXPECT_EQ(held->send(15), ESRCH);
}

TEST_P(ProcessSignallerContract, ownerAndAgeAreKnownOnlyOfProcessesThatRun) {
    const std::int64_t id = machine->start();
    const auto facts = signaller.facts(id);
    ASSERT_TRUE(facts);
    EXPECT_FALSE(facts->owner.empty());
    EXPECT_GE(facts->elapsed, 0);
    machine->end();
    EXPECT_EQ(signaller.facts(id), std::nullopt);
    EXPECT_EQ(signaller.facts(missingID), std::nullopt);
}

TEST_P(ProcessSignallerContract, knowsThisProgram) {
    EXPECT_GT(signaller.ownProcessID(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    All, ProcessSignallerContract,
    testing::Values(MachineKind{"Fake", [] { return std::make_unique<FakeMachine>(); }},
                    MachineKind{"Linux", [] { return std::make_unique<LinuxMachine>(openProcess); }},
                    MachineKind{"OldLinux", [] { return std::make_unique<LinuxMachine>(failing(ENOSYS)); }}),
    [](const auto& param) { return param.param.name; });

TEST(FakeProcessSignaller, aHoldIsOnTheProcessAndNotOnItsID) {
    test::FakeProcessSignaller fake;
    fake.start(77, "old");
    const auto held = fake.hold(77);
    fake.start(77, "new");
    EXPECT_EQ(held->send(9), ESRCH);
    EXPECT_TRUE(fake.signals.empty());
}

TEST(LinuxProcessSignaller, idsThatAreNoneNeverReachTheSystem) {
    for (const auto& open : {LinuxProcessSignaller::OpenProcess(openProcess), failing(ENOSYS)}) {
        LinuxProcessSignaller signaller("/proc", open);
        for (const std::int64_t id :
             {std::int64_t{0}, std::int64_t{-1}, std::int64_t{-getpid()}, std::int64_t{1} << 32 | getpid(),
              std::numeric_limits<std::int64_t>::min()}) {
            EXPECT_EQ(signaller.hold(id)->send(0), ESRCH) << id;
            EXPECT_EQ(signaller.facts(id), std::nullopt) << id;
        }
    }
}

TEST(LinuxProcessSignaller, withoutDescriptorsAReusedIDIsLeftAlone) {
    const ProcTree tree;
    LinuxProcessSignaller signaller(tree.root(), failing(ENOSYS));
    ChildProcess child = ChildProcess::sleeping();
    ASSERT_GT(child.id(), 0);

    tree.write(child.id(), "worker", {.startTicks = 100});
    const auto first = signaller.hold(child.id());
    tree.write(child.id(), "worker", {.startTicks = 101});  // the same program again
    EXPECT_EQ(first->send(SIGKILL), ESRCH);

    const auto second = signaller.hold(child.id());
    tree.write(child.id(), "other", {.startTicks = 101});
    EXPECT_EQ(second->send(SIGKILL), ESRCH);

    const auto third = signaller.hold(child.id());
    tree.remove(child.id());
    EXPECT_EQ(third->send(SIGKILL), ESRCH);
    EXPECT_TRUE(child.isRunning());

    tree.write(child.id(), "other", {.startTicks = 101});
    EXPECT_EQ(third->send(SIGKILL), 0);
    EXPECT_EQ(child.collect(), SIGKILL);
}

TEST(LinuxProcessSignaller, aHoldThatFailsOtherwiseAnswersWithTheReason) {
    const ChildProcess child = ChildProcess::sleeping();
    for (const int error : {EMFILE, EPERM, EINVAL}) {
        LinuxProcessSignaller signaller("/proc", failing(error));
        EXPECT_EQ(signaller.hold(child.id())->send(SIGKILL), error);
    }
    EXPECT_TRUE(child.isRunning());
}

TEST(LinuxProcessSignaller, theNameIsThatOfTheList) {
    const ProcTree tree;
    using namespace std::string_literals;
    tree.write(getpid(), "a-very-long-pro");
    tree.writeArguments(getpid(), "a-very-long-process\0"s);
    EXPECT_EQ(LinuxProcessSignaller(tree.root()).hold(getpid())->name(), "a-very-long-process");
    tree.write(getpid(), "fourteen-bytes");
    EXPECT_EQ(LinuxProcessSignaller(tree.root()).hold(getpid())->cutName(), "");
}

TEST(LinuxProcessSignaller, aProcessThatRewritesItsArgumentsCanBeQuitByTheNameOfTheList) {
    using namespace std::string_literals;
    const auto listedName = [](ProcLister& lister) {
        std::vector<ListedProcess> processes;
        EXPECT_TRUE(lister.listProcesses(processes));
        return processes.at(0).name;
    };
    for (const auto& open : {LinuxProcessSignaller::OpenProcess(openProcess), failing(ENOSYS)}) {
        const ProcTree tree;
        ProcLister lister(tree.root());
        LinuxProcessSignaller signaller(tree.root(), open);
        ChildProcess child = ChildProcess::sleeping();
        const std::int64_t own = getpid();
        tree.write(child.id(), "a-very-long-pro");
        tree.writeArguments(child.id(), "/opt/a-very-long-process\0"s);
        const std::string name = listedName(lister);
        EXPECT_EQ(name, "a-very-long-process");
        tree.writeArguments(child.id(), "worker: idle\0"s);
        EXPECT_EQ(listedName(lister), name);

        const auto held = signaller.hold(child.id());
        EXPECT_EQ(held->cutName(), "a-very-long-pro");
        tree.writeArguments(child.id(), "worker: busy\0"s);
        for (const char* other : {"another-long-na", "worker"}) {
            tree.write(child.id(), other);
            EXPECT_EQ(ProcessControl::send(SIGTERM, child.id(), name, signaller),
                      ProcessControl::Outcome(ProcessControl::Failed{ESRCH}));
        }
        EXPECT_TRUE(child.isRunning());
        tree.write(child.id(), "a-very-long-pro");
        EXPECT_EQ(ProcessControl::send(SIGTERM, *held, name, own),
                  ProcessControl::Outcome(ProcessControl::Signalled{}));
        EXPECT_EQ(child.collect(), SIGTERM);
    }
}

TEST(LinuxProcessSignaller, aSignalThatIsNotAllowedSaysSo) {
    // A child without rights tries to stop this process, which belongs to somebody else only when run as
    // root.
    const pid_t parent = getpid();
    const pid_t id = fork();
    if (id == 0) {
        const bool changed = setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 &&
                             setresuid(65534, 65534, 65534) == 0;
        const std::int64_t target = changed ? parent : 1;  // without root's rights, what belongs to root
        _exit(LinuxProcessSignaller("/proc").hold(target)->send(0));
    }
    int status = 0;
    ASSERT_EQ(waitpid(id, &status, 0), id);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), EPERM);
}

TEST(LinuxProcessSignaller, factsAreThoseOfTheProcess) {
    LinuxProcessSignaller signaller("/proc");
    EXPECT_EQ(signaller.ownProcessID(), getpid());

    const double tick = 1.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
    const double before = secondsSinceBoot();
    const ChildProcess child = ChildProcess::sleeping();
    const double after = secondsSinceBoot();
    const double beforeFacts = secondsSinceBoot();
    const auto facts = signaller.facts(child.id());
    const double end = secondsSinceBoot();
    ASSERT_TRUE(facts);
    EXPECT_GE(facts->elapsed, 0);
    EXPECT_LE(facts->elapsed, end - before + tick);
    EXPECT_GE(facts->elapsed, beforeFacts - after);
    const passwd* const user = getpwuid(geteuid());
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(facts->owner, user->pw_name);
}

TEST(LinuxProcessSignaller, ageCountsFromTheStart) {
    const ProcTree tree;
    LinuxProcessSignaller signaller(tree.root());
    const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    const double start = secondsSinceBoot() / 2;
    tree.write(8, "half", {.startTicks = static_cast<std::uint64_t>(start * static_cast<double>(ticks))});
    tree.write(9, "future", {.startTicks = std::numeric_limits<std::uint64_t>::max()});
    const auto half = signaller.facts(8);
    ASSERT_TRUE(half);
    EXPECT_NEAR(half->elapsed, secondsSinceBoot() - start, 1);
    EXPECT_EQ(signaller.facts(9)->elapsed, 0);
    tree.writeUnreadable(10);
    EXPECT_EQ(signaller.facts(10), std::nullopt);
}

TEST(LinuxProcessSignaller, aUserWithoutANameIsANumber) {
    const ProcTree tree;
    tree.write(8, "x");
    const std::string folder = tree.root() + "/8";
    uid_t nameless = 3'000'000'000U;
    while (getpwuid(nameless) != nullptr) ++nameless;
    ASSERT_EQ(chown(folder.c_str(), nameless, getegid()), 0) << "this test gives a folder away, as root may";
    EXPECT_EQ(LinuxProcessSignaller(tree.root()).facts(8)->owner, std::to_string(nameless));
}

TEST(LinuxProcessSignaller, tenThousandHoldsLeaveNoDescriptorOpen) {
    LinuxProcessSignaller signaller("/proc");
    const auto before = openDescriptors();
    for (int i = 0; i < 10'000; ++i) {
        EXPECT_EQ(signaller.hold(getpid())->send(0), 0);
        EXPECT_EQ(signaller.hold(missingID)->send(0), ESRCH);
        if (i % 16 == 0) {
            EXPECT_TRUE(signaller.facts(getpid()));
        }
    }
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
