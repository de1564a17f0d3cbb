// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcLister.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/OpenDescriptors.h"
#include "platform/ProcTree.h"
#include "support/ChildProcess.h"
#include "support/FakeProcesses.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using namespace std::string_literals;
using Processes = std::vector<ListedProcess>;
using test::ChildProcess;
using test::kernelThread;
using test::openDescriptors;
using test::ProcTree;
using test::TempDirectory;

const auto pageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));

const ListedProcess* find(const Processes& processes, std::int64_t id) {
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [&](const ListedProcess& process) { return process.id == id; });
    return found == processes.end() ? nullptr : &*found;
}

class ProcListerTree : public testing::Test {
  protected:
    Processes list() {
        Processes processes = {{99, "left over", {}}};
        EXPECT_TRUE(lister.listProcesses(processes));
        return processes;
    }
    std::uint64_t kernelTime() { return list().at(0).usage->cpuTime; }

    ProcTree tree;
    ProcLister lister{tree.root()};
};

TEST_F(ProcListerTree, listsProcessesByAscendingID) {
    for (const int id : {300, 5, 40, 1000}) tree.write(id, "p" + std::to_string(id));
    tree.write(40, "busy",
               {.userTicks = 7, .systemTicks = 5, .threads = 3, .startTicks = 11, .residentPages = 2});
    const Processes processes = list();
    ASSERT_EQ(processes.size(), 4U);
    EXPECT_EQ(processes[0].id, 5);
    EXPECT_EQ(processes[0].name, "p5");
    EXPECT_EQ(
        processes[1],
        (ListedProcess{
            40, "busy",
            ProcessUsage{.cpuTime = 12, .threads = 3, .residentBytes = 2 * pageSize, .startTime = 11}}));
    EXPECT_EQ(processes[2].id, 300);
    EXPECT_EQ(processes[3].id, 1000);
}

TEST_F(ProcListerTree, whatIsNoProcessIsLeftOut) {
    tree.write(8, "x");
    for (const char* name : {"self", "sys", "12x", "x12", "-5", "+7", "99999999999", "08", "0"}) {
        std::filesystem::create_directories(std::filesystem::path(tree.root()) / name / "stat");
    }
    const Processes processes = list();
    ASSERT_EQ(processes.size(), 1U);
    EXPECT_EQ(processes[0].id, 8);
}

TEST_F(ProcListerTree, aProcessThatEndsBeforeItIsReadIsLeftOut) {
    tree.write(8, "x");
    tree.writeEnded(9);
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(ProcListerTree, aProcessThatCanNotBeReadKeepsItsIDOnly) {
    tree.write(8, "x");
    tree.writeUnreadable(9);
    tree.write(10, "cut) S 1 2 3");
    const Processes processes = list();
    ASSERT_EQ(processes.size(), 3U);
    EXPECT_EQ(processes[1], (ListedProcess{9, "", {}}));
}

TEST_F(ProcListerTree, aTextThatIsNoneKeepsTheID) {
    for (const char* text : {"", "9", "9 (x", "9 (x) S 1", "garbage\n"}) {
        TempDirectory root;
        root.write("9/stat", text);
        ProcLister odd(root.path().string());
        Processes processes;
        EXPECT_TRUE(odd.listProcesses(processes));
        EXPECT_EQ(processes, (Processes{{9, "", {}}})) << text;
    }
}

TEST_F(ProcListerTree, absurdPageCountsStayInsideTheRange) {
    tree.write(8, "x", {.residentPages = std::numeric_limits<std::uint64_t>::max()});
    EXPECT_EQ(list()[0].usage->residentBytes, std::numeric_limits<std::uint64_t>::max());
}

TEST_F(ProcListerTree, theKernelsThreadsAreOneEntryInFront) {
    tree.write(1, "init");
    tree.write(2, "kthreadd", {.flags = kernelThread, .userTicks = 1, .systemTicks = 2, .residentPages = 5});
    tree.write(15, "ksoftirqd/0", {.flags = kernelThread | 0x40, .systemTicks = 10, .threads = 2});
    const Processes processes = list();
    ASSERT_EQ(processes.size(), 2U);
    EXPECT_EQ(processes[0], (ListedProcess{0, "kernel_task", ProcessUsage{.cpuTime = 13, .threads = 3}}));
    EXPECT_EQ(processes[1].name, "init");
}

TEST_F(ProcListerTree, withoutKernelThreadsThereIsNoKernelEntry) {
    tree.write(1, "init");
    EXPECT_EQ(find(list(), 0), nullptr);
}

TEST_F(ProcListerTree, theKernelsTimeNeverFalls) {
    tree.write(2, "kthreadd", {.flags = kernelThread, .systemTicks = 5});
    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 100, .startTicks = 100});
    EXPECT_EQ(kernelTime(), 105U);
    EXPECT_EQ(kernelTime(), 105U);

    tree.remove(3);  // a worker ends
    EXPECT_EQ(kernelTime(), 105U);

    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 30, .startTicks = 900});
    EXPECT_EQ(kernelTime(), 135U);  // another one, all of whose time is new

    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 20, .startTicks = 1800});
    EXPECT_EQ(kernelTime(), 155U);  // a third one between two lists, with the id of the second

    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 4, .startTicks = 1800});
    EXPECT_EQ(kernelTime(), 155U);  // a counter that falls
    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 20, .startTicks = 1800});
    EXPECT_EQ(kernelTime(), 155U);  // and comes back
    tree.write(3, "kworker/0:1", {.flags = kernelThread, .systemTicks = 21, .startTicks = 1800});
    EXPECT_EQ(kernelTime(), 156U);
}

TEST_F(ProcListerTree, namesOfFifteenBytesAreRecovered) {
    tree.write(8, "a-very-long-pro");
    tree.writeArguments(8, "/opt/a-very-long-process-name-here\0--flag\0"s);
    tree.write(9, "fourteen-bytes");
    tree.writeArguments(9, "fourteen-bytes-and-more\0"s);
    tree.write(10, "unattended-long");
    tree.writeArguments(10, "/bin/sh\0/x/unattended-long-script-name.sh\0"s);
    tree.write(11, "exactly-fifteen");  // and no arguments to be had
    const Processes processes = list();
    EXPECT_EQ(processes[0].name, "a-very-long-process-name-here");
    EXPECT_EQ(processes[1].name, "fourteen-bytes");
    EXPECT_EQ(processes[2].name, "unattended-long-script-name.sh");
    EXPECT_EQ(processes[3].name, "exactly-fifteen");
}

TEST_F(ProcListerTree, aRecoveredNameIsKeptForAsLongAsTheProcessRunsTheSameProgram) {
    tree.write(8, "a-very-long-pro", {.startTicks = 100});
    tree.writeArguments(8, "a-very-long-process-1\0"s);
    EXPECT_EQ(list()[0].name, "a-very-long-process-1");

    tree.writeArguments(8, "a-very-long-process-2\0"s);  // not read again
    EXPECT_EQ(list()[0].name, "a-very-long-process-1");

    tree.write(8, "a-very-long-pro", {.startTicks = 200});  // the id of another process
    EXPECT_EQ(list()[0].name, "a-very-long-process-2");

    tree.write(8, "another-long-na", {.startTicks = 200});  // the process runs another program
    tree.writeArguments(8, "another-long-name\0"s);
    EXPECT_EQ(list()[0].name, "another-long-name");

    tree.write(8, "short", {.startTicks = 200});
    EXPECT_EQ(list()[0].name, "short");
}

TEST_F(ProcListerTree, argumentsThatDoNotHelpAreReadTwice) {
    tree.write(8, "a-very-long-pro", {.startTicks = 100});
    EXPECT_EQ(list()[0].name, "a-very-long-pro");  // it is just being started
    tree.writeArguments(8, "a-very-long-process\0"s);
    EXPECT_EQ(list()[0].name, "a-very-long-process");

    tree.write(8, "another-long-na", {.startTicks = 100});
    for (int pass = 0; pass < 3; ++pass) EXPECT_EQ(list()[0].name, "another-long-na");
    tree.writeArguments(8, "another-long-name\0"s);  // not read any more
    EXPECT_EQ(list()[0].name, "another-long-na");

    tree.write(8, "another-long-na", {.startTicks = 200});  // another process
    EXPECT_EQ(list()[0].name, "another-long-name");
}

TEST_F(ProcListerTree, namesAreRepairedAndTrimmed) {
    tree.write(1, "we)ird (na\nme");
    tree.write(2, " \n ");
    tree.write(3, "\xff\xfe");
    tree.write(4, "\x1b[2J\x07");
    tree.write(5, "fourteen-byte\xe2\x82");
    tree.writeArguments(5, "/opt/fourteen-byte\xe2\x82\xac-name\0"s);
    tree.write(6, "fourteen-byte\xe2\x82");
    const Processes processes = list();
    EXPECT_EQ(processes[0].name, "we)ird (na\nme");
    EXPECT_EQ(processes[1].name, "");
    EXPECT_EQ(processes[2].name, "\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(processes[3].name, "\x1b[2J\x07");
    EXPECT_EQ(processes[4].name, "fourteen-byte\xe2\x82\xac-name");  // cut in the middle of a character
    EXPECT_EQ(processes[5].name, "fourteen-byte\xef\xbf\xbd");
}

TEST_F(ProcListerTree, tenKilobytesOfArgumentsDoNoHarm) {
    tree.write(8, "a-very-long-pro");
    tree.writeArguments(8, "a-very-long-process\0"s + std::string(10240, 'x') + "\0"s);
    tree.write(9, "a-very-long-pro");
    tree.writeArguments(9, "a-very-long-pro"s + std::string(10240, 'x') + "\0"s);
    tree.write(10, "a-very-long-pro");
    tree.writeArguments(10, std::string(10240, '/') + "\0a-very-long-process\0"s);
    const Processes processes = list();
    EXPECT_EQ(processes[0].name, "a-very-long-process");
    EXPECT_EQ(processes[1].name, "a-very-long-pro");
    EXPECT_EQ(processes[2].name, "a-very-long-pro");
}

TEST(ProcLister, aMissingFolderIsNoListUntilItIsThere) {
    TempDirectory folder;
    ProcLister lister(folder.file("proc"));
    Processes processes = {{1, "left over", {}}};
    EXPECT_FALSE(lister.listProcesses(processes));
    EXPECT_TRUE(processes.empty());
    std::filesystem::create_directory(folder.path() / "proc");
    EXPECT_TRUE(lister.listProcesses(processes));
    EXPECT_TRUE(processes.empty());
}

TEST_F(ProcListerTree, withoutADescriptorToSpareTheWholeListFailsAndNothingIsForgotten) {
    tree.write(2, "kthreadd", {.flags = kernelThread, .systemTicks = 50});
    tree.write(8, "x");
    ASSERT_EQ(kernelTime(), 50U);

    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const int next = dup(STDERR_FILENO);
    close(next);
    const rlimit tight = {static_cast<rlim_t>(next), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    Processes processes = {{1, "left over", {}}};
    const bool listed = lister.listProcesses(processes);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_FALSE(listed);
    EXPECT_TRUE(processes.empty());
    EXPECT_EQ(kernelTime(), 50U);
}

TEST_F(ProcListerTree, tenThousandListsLeaveNoDescriptorOpen) {
    tree.write(2, "kthreadd", {.flags = kernelThread});
    tree.write(8, "x");
    tree.writeEnded(9);
    tree.writeUnreadable(10);
    tree.write(11, "a-very-long-pro");
    tree.writeArguments(11, "a-very-long-process\0"s);
    Processes processes;
    ASSERT_TRUE(lister.listProcesses(processes));
    const auto before = openDescriptors();
    for (int pass = 0; pass < 10'000; ++pass) {
        // Another process with a long name each time, so that its arguments are read.
        if (pass % 16 == 0)
            tree.write(11, "a-very-long-pro", {.startTicks = static_cast<std::uint64_t>(pass)});
        ASSERT_TRUE(lister.listProcesses(processes));
    }
    EXPECT_EQ(processes.size(), 4U);
    EXPECT_EQ(openDescriptors(), before);
}

// From here on the machine's own processes.

class RealProcesses : public testing::Test {
  protected:
    /// The entry of a process once the condition holds.
    std::optional<ListedProcess> await(std::int64_t id,
                                       const std::function<bool(const ListedProcess&)>& holds) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            Processes processes;
            if (!lister.listProcesses(processes)) return std::nullopt;
            if (const auto* process = find(processes, id); process != nullptr && holds(*process))
                return *process;
        }
        return std::nullopt;
    }
    std::string nameOf(pid_t id) {
        Processes processes;
        EXPECT_TRUE(lister.listProcesses(processes));
        const auto* const process = find(processes, id);
        return process == nullptr ? "no such process" : process->name;
    }

    ProcLister lister{"/proc"};
};

TEST_F(RealProcesses, thisOneIsListedWithItsFigures) {
    const auto own = await(getpid(), [](const ListedProcess& process) {
        volatile unsigned work = 0;
        for (unsigned i = 0; i < 1'000'000; ++i) work = work + i;
        return process.usage && process.usage->cpuTime > 0;
    });
    ASSERT_TRUE(own);
    EXPECT_GE(own->usage->threads, 1U);
    EXPECT_GT(own->usage->residentBytes, 100 * pageSize);
    EXPECT_GT(own->usage->startTime, 0U);
    EXPECT_EQ(lister.ticksPerSecond(), static_cast<double>(sysconf(_SC_CLK_TCK)));
}

TEST_F(RealProcesses, badNamesAreReadAsTheKernelHasThem) {
    for (const std::string name : {"we)ird (na\nme", ")", "(", "a\x01\x1b[2J", "two words"}) {
        const ChildProcess child = ChildProcess::sleeping([&] { prctl(PR_SET_NAME, name.c_str()); });
        ASSERT_GT(child.id(), 0);
        EXPECT_EQ(nameOf(child.id()), name);
    }
    for (const std::string name : {"\xff\xfe", "", " \n "}) {
        const ChildProcess child = ChildProcess::sleeping([&] { prctl(PR_SET_NAME, name.c_str()); });
        ASSERT_GT(child.id(), 0);
        EXPECT_EQ(nameOf(child.id()), name[0] == '\xff' ? "\xef\xbf\xbd\xef\xbf\xbd" : "");
    }
}

TEST_F(RealProcesses, longNamesOfProgramsAndScriptsAreRecovered) {
    const TempDirectory folder;
    const std::string script = folder.write("unattended-long-script-name.sh", "#!/bin/sh\nread line\n");
    const std::string program = folder.file("a-very-long-process-name-here");
    std::filesystem::copy_file("/bin/sleep", program);
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);

    std::vector<std::string> arguments(5000, "0");  // 10 KB
    arguments.front() = program;
    arguments.back() = "1000";
    const ChildProcess sleeper = ChildProcess::program(program, arguments);
    const ChildProcess unattended = ChildProcess::program(script, {script});
    const ChildProcess disguised = ChildProcess::program(program, {std::string(10240, 'x'), "1000"});
    EXPECT_TRUE(await(sleeper.id(),
                      [](const auto& process) { return process.name == "a-very-long-process-name-here"; }));
    EXPECT_TRUE(await(unattended.id(),
                      [](const auto& process) { return process.name == "unattended-long-script-name.sh"; }));
    EXPECT_TRUE(await(disguised.id(), [](const auto& process) { return process.name == "a-very-long-pro"; }));
}

TEST_F(RealProcesses, oneThatHasEndedIsGoneOnceItWasCollected) {
    ChildProcess child = ChildProcess::sleeping();
    const pid_t id = child.id();
    EXPECT_TRUE(await(id, [](const auto&) { return true; }));
    kill(id, SIGKILL);
    EXPECT_TRUE(
        await(id, [](const auto& process) { return process.usage && process.usage->residentBytes == 0; }));
    child.collect();
    Processes processes;
    ASSERT_TRUE(lister.listProcesses(processes));
    EXPECT_EQ(find(processes, id), nullptr);
}

TEST_F(RealProcesses, manyThatComeAndGoMeanwhileDoNoHarm) {
    Processes processes;
    for (int i = 0; i < 50; ++i) {
        const ChildProcess child = ChildProcess::sleeping();
        kill(child.id(), SIGKILL);
        ASSERT_TRUE(lister.listProcesses(processes));
        EXPECT_NE(find(processes, getpid()), nullptr);
    }
}

/// What a user without rights sees where other users' processes are hidden.
struct HiddenView {
    bool isMounted = false;
    bool isListed = false;
    bool seesItself = false;
    bool seesOthers = false;
    bool readsOthers = false;
};

HiddenView lookWithHidden(const char* options) {
    const TempDirectory folder;
    const pid_t other = getpid();
    int answer[2];
    if (pipe(answer) != 0) return {};
    const pid_t id = fork();
    if (id == 0) {
        HiddenView view;
        const std::string root = folder.path().string();
        view.isMounted = unshare(CLONE_NEWNS) == 0 &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         chmod(root.c_str(), 0755) == 0 &&
                         mount("proc", root.c_str(), "proc", 0, options) == 0 && setgroups(0, nullptr) == 0 &&
                         setresgid(65534, 65534, 65534) == 0 && setresuid(65534, 65534, 65534) == 0;
        ProcLister lister(root);
        Processes processes;
        view.isListed = lister.listProcesses(processes);
        const auto* const own = find(processes, getpid());
        const auto* const foreign = find(processes, other);
        view.seesItself = own != nullptr && own->usage && !own->name.empty();
        view.seesOthers = foreign != nullptr;
        view.readsOthers = foreign != nullptr && (foreign->usage || !foreign->name.empty());
        _exit(write(answer[1], &view, sizeof view) == sizeof view ? 0 : 1);
    }
    close(answer[1]);
    HiddenView view;
    const bool answered = read(answer[0], &view, sizeof view) == sizeof view;
    close(answer[0]);
    waitpid(id, nullptr, 0);
    return answered ? view : HiddenView{};
}

TEST(HiddenProcesses, areListedByTheirIDsWhereOnlyTheirFilesAreHidden) {
    const HiddenView view = lookWithHidden("hidepid=1");
    ASSERT_TRUE(view.isMounted) << "this test mounts a /proc of its own, which takes root's rights";
    EXPECT_TRUE(view.isListed);
    EXPECT_TRUE(view.seesItself);
    EXPECT_TRUE(view.seesOthers);
    EXPECT_FALSE(view.readsOthers);
}

TEST(HiddenProcesses, areMissingWhereTheyAreHiddenAltogether) {
    const HiddenView view = lookWithHidden("hidepid=2");
    ASSERT_TRUE(view.isMounted) << "this test mounts a /proc of its own, which takes root's rights";
    EXPECT_TRUE(view.isListed);
    EXPECT_TRUE(view.seesItself);
    EXPECT_FALSE(view.seesOthers);
}

// One contract for every lister: entries by rising id, replaced at each call, figures that never fall.
class ProcessListerContract : public testing::TestWithParam<bool> {
  protected:
    ProcessListerContract() {
        if (GetParam()) {
            lister = std::make_unique<ProcLister>("/proc");
            known = getpid();
        } else {
            auto fake = std::make_unique<test::FakeProcessLister>();
            fake->queue = {
                Processes{{0, "kernel_task", ProcessUsage{5, 9, 0, 0}},
                          {7, "", {}},
                          {8, "x", ProcessUsage{1, 1, 1, 1}}},
                Processes{{0, "kernel_task", ProcessUsage{6, 9, 0, 0}}, {8, "x", ProcessUsage{2, 1, 1, 1}}}};
            lister = std::move(fake);
            known = 8;
        }
    }
    std::unique_ptr<ProcessLister> lister;
    std::int64_t known = 0;
};

TEST_P(ProcessListerContract, entriesComeByRisingIDAndReplaceTheFormerOnes) {
    EXPECT_GT(lister->ticksPerSecond(), 0);
    Processes before = {{-5, "left over", {}}};
    ASSERT_TRUE(lister->listProcesses(before));
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(find(before, -5), nullptr);
    Processes after;
    ASSERT_TRUE(lister->listProcesses(after));
    for (const Processes& list : {before, after}) {
        for (std::size_t i = 1; i < list.size(); ++i) EXPECT_LT(list[i - 1].id, list[i].id);
        const auto* const own = find(list, known);
        ASSERT_NE(own, nullptr);
        ASSERT_TRUE(own->usage);
        EXPECT_FALSE(own->name.empty());
    }
    for (const ListedProcess& now : after) {
        const auto* const then = find(before, now.id);
        if (then == nullptr || !then->usage || !now.usage) continue;
        if (then->usage->startTime != now.usage->startTime) continue;
        EXPECT_GE(now.usage->cpuTime, then->usage->cpuTime) << now.name;
    }
}

INSTANTIATE_TEST_SUITE_P(All, ProcessListerContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Linux" : "Fake"; });

}  // namespace
}  // namespace corvanta
