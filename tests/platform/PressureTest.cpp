// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/LinuxThreadSetup.h"
#include "platform/linux/PressureClassifier.h"
#include "platform/linux/PressureWatch.h"
#include "platform/linux/PsiPressureSource.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Events = MemoryPressureEvents;
using test::TempDirectory;

PressureFigures figures(double some, double full, double available, double swapFree) {
    return {some, full, available, swapFree, false};
}

struct Step {
    PressureFigures figures;
    Events level;
};

TEST(PressureClassifier, risesAtOnceByItsThresholds) {
    const std::vector<Step> rows = {
        {figures(57, 55, 97, 0),
         Events::normal},  // a container that thrashes on a machine with plenty of memory
        {figures(12, 1, 30, 0), Events::warning},
        {figures(12, 1, 60, 0), Events::normal},
        {figures(45, 5, 20, 0), Events::critical},
        {figures(30, 22, 25, 50), Events::critical},
        {figures(0, 0, 9, 5), Events::warning},
        {figures(0, 0, 9, 60), Events::normal},
        {figures(0, 0, 4, 0), Events::critical},
        // critical: full from 20 or some from 40, with at most 25 available
        {figures(0, 20, 25, 50), Events::critical},
        {figures(0, 19.9, 25, 50), Events::warning},
        {figures(40, 0, 25, 50), Events::critical},
        {figures(39.9, 0, 25, 50), Events::warning},
        {figures(40, 20, 25.1, 50), Events::warning},
        // critical: at most 5 available with at most 10 of the swap free
        {figures(0, 0, 5, 10), Events::critical},
        {figures(0, 0, 5.1, 10), Events::warning},
        {figures(0, 0, 5, 10.1), Events::normal},
        // warning: full from 5 or some from 10, with at most 50 available
        {figures(0, 5, 50, 50), Events::warning},
        {figures(0, 4.9, 50, 50), Events::normal},
        {figures(10, 0, 50, 50), Events::warning},
        {figures(9.9, 0, 50, 50), Events::normal},
        {figures(10, 5, 50.1, 50), Events::normal},
        // warning: at most 10 available with at most 10 of the swap free
        {figures(0, 0, 10, 10), Events::warning},
        {figures(0, 0, 10.1, 10), Events::normal},
    };
    for (const Step& row : rows) {
        PressureClassifier classifier;
        const auto event = classifier.feed(0, row.figures);
        EXPECT_EQ(classifier.level(), row.level);
        EXPECT_EQ(event.has_value(), row.level != Events::normal);
    }
}

TEST(PressureClassifier, fallsOnlyAfterTenSecondsWithoutABreak) {
    PressureClassifier classifier;
    EXPECT_EQ(classifier.feed(0, figures(0, 0, 4, 0)), Events::critical);
    EXPECT_EQ(classifier.feed(2, figures(0, 0, 30, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(11, figures(0, 0, 30, 50)), std::nullopt);
    EXPECT_EQ(classifier.level(), Events::critical);
    EXPECT_EQ(classifier.feed(12, figures(0, 0, 30, 50)), Events::normal);

    EXPECT_EQ(classifier.feed(20, figures(0, 0, 4, 0)), Events::critical);
    EXPECT_EQ(classifier.feed(22, figures(0, 0, 30, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(30, figures(0, 0, 4, 0)), std::nullopt);  // a break: the ten seconds start anew
    EXPECT_EQ(classifier.feed(32, figures(0, 0, 30, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(41, figures(0, 0, 30, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(42, figures(0, 0, 30, 50)), Events::normal);
}

TEST(PressureClassifier, weakerConditionsHoldALevel) {
    const std::vector<Step> critical = {
        {figures(0, 10, 30, 50), Events::critical},  {figures(20, 0, 30, 50), Events::critical},
        {figures(0, 0, 7, 15), Events::critical},    {figures(0, 9.9, 30, 50), Events::warning},
        {figures(19.9, 0, 30, 50), Events::warning}, {figures(20, 10, 30.1, 50), Events::warning},
        {figures(0, 0, 7.1, 15), Events::warning},   {figures(0, 0, 7, 15.1), Events::normal},
    };
    for (const Step& row : critical) {
        PressureClassifier classifier;
        classifier.feed(0, figures(0, 0, 4, 0));
        classifier.feed(1, row.figures);
        classifier.feed(11, row.figures);
        EXPECT_EQ(classifier.level(), row.level);
    }
    const std::vector<Step> warning = {
        {figures(0, 2, 55, 50), Events::warning},  {figures(5, 0, 55, 50), Events::warning},
        {figures(0, 0, 13, 15), Events::warning},  {figures(0, 1.9, 55, 50), Events::normal},
        {figures(4.9, 0, 55, 50), Events::normal}, {figures(5, 2, 55.1, 50), Events::normal},
        {figures(0, 0, 13.1, 15), Events::normal}, {figures(0, 0, 13, 15.1), Events::normal},
    };
    for (const Step& row : warning) {
        PressureClassifier classifier;
        classifier.feed(0, figures(12, 1, 30, 0));
        classifier.feed(1, row.figures);
        classifier.feed(11, row.figures);
        EXPECT_EQ(classifier.level(), row.level);
    }
}

TEST(PressureClassifier, eachLevelFallsByItsOwnTenSeconds) {
    // Critical no longer holds from 2 on, but warning does until 11.
    PressureClassifier classifier;
    EXPECT_EQ(classifier.feed(0, figures(45, 5, 20, 0)), Events::critical);
    for (double moment = 2; moment <= 10; moment += 1) {
        EXPECT_EQ(classifier.feed(moment, figures(8, 3, 40, 50)), std::nullopt) << moment;
    }
    EXPECT_EQ(classifier.feed(11, figures(0, 0, 90, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(12, figures(0, 0, 90, 50)), Events::warning);
    EXPECT_EQ(classifier.feed(20, figures(0, 0, 90, 50)), std::nullopt);
    EXPECT_EQ(classifier.feed(21, figures(0, 0, 90, 50)), Events::normal);
}

MemInfo memInfo(std::uint64_t total, std::uint64_t available, std::uint64_t swap = 0,
                std::uint64_t swapFree = 0) {
    MemInfo info;
    info.memTotal = total;
    info.memAvailable = available;
    info.swapTotal = swap;
    info.swapFree = swapFree;
    return info;
}

TEST(PressureWindow, measuresTheGrowthOfTheLastTenSeconds) {
    PressureWindow window;
    const MemInfo info = memInfo(200, 50, 40, 10);
    const auto feed = [&](double moment, std::uint64_t some, std::uint64_t full) {
        return window.feed(moment, info, PressureTotals{some, full}, {});
    };
    EXPECT_EQ(feed(0, 1'000'000, 0).some, 0);
    EXPECT_EQ(feed(1, 2'000'000, 0).some, 0);  // less than two seconds say nothing
    const PressureFigures two = feed(2, 2'000'000, 500'000);
    EXPECT_DOUBLE_EQ(two.some, 50);
    EXPECT_DOUBLE_EQ(two.full, 25);
    EXPECT_DOUBLE_EQ(two.available, 25);
    EXPECT_DOUBLE_EQ(two.swapFree, 25);
    EXPECT_DOUBLE_EQ(feed(10, 2'000'000, 500'000).some, 10);
    EXPECT_DOUBLE_EQ(feed(12, 2'000'000, 500'000).some, 0);      // since the sample at 2
    EXPECT_DOUBLE_EQ(feed(22, 102'000'000, 500'000).some, 100);  // never more than all the time
    EXPECT_DOUBLE_EQ(feed(32, 5, 5).some, 0);                    // totals that fell
}

TEST(PressureWindow, measuresFromTheSampleNearestToTenSecondsBack) {
    PressureWindow window;
    const auto feed = [&](double moment, std::uint64_t full) {
        return window.feed(moment, memInfo(100, 20), PressureTotals{full, full}, {}).full;
    };
    feed(0, 0);
    feed(10, 0);
    EXPECT_NEAR(feed(19, 2'000'000), 100 * 2.0 / 9, 1e-9);  // since 10, not since 0
}

TEST(PressureWindow, withoutSwapNoneIsFreeAndWithoutMemoryFiguresAllSeemsWell) {
    PressureWindow window;
    EXPECT_EQ(window.feed(0, memInfo(100, 40), {}, {}).swapFree, 0);
    EXPECT_EQ(window.feed(1, MemInfo{}, {}, {}).available, 100);
}

TEST(PressureWindow, withoutAPressureFilePagesThatReturnForTenSecondsCount) {
    PressureWindow window;
    const auto feed = [&](double moment, std::uint64_t pages) {
        return window.feed(moment, MemInfo{}, {}, pages).swapsInHeavily;
    };
    EXPECT_FALSE(feed(0, 0));
    EXPECT_FALSE(feed(2, 2'500));
    EXPECT_FALSE(feed(8, 9'000));
    EXPECT_TRUE(feed(10, 12'000));   // over 1000 a second since 0
    EXPECT_FALSE(feed(12, 14'000));  // exactly 1000 a second is not
    EXPECT_FALSE(feed(14, 20'000));
    EXPECT_TRUE(feed(22, 30'000));
    PressureClassifier classifier;
    EXPECT_EQ(classifier.feed(0, {0, 0, 100, 100, true}), Events::warning);
}

TEST(PressureFile, readsTheTotals) {
    EXPECT_EQ(parsePressure("some avg10=0.00 avg60=0.12 avg300=0.05 total=123456\n"
                            "full avg10=0.00 avg60=0.10 avg300=0.04 total=98765\n"),
              (PressureTotals{123456, 98765}));
    EXPECT_EQ(parsePressure("some avg10=0.00 total=5\n"), (PressureTotals{5, 0}));
    EXPECT_EQ(parsePressure("full avg10=0.00 total=5\n"), std::nullopt);
    EXPECT_EQ(parsePressure("some avg10=0.00 total=5"), std::nullopt);
    EXPECT_EQ(parsePressure("some avg10=0.00 total=x\n"), std::nullopt);
    EXPECT_EQ(parsePressure(""), std::nullopt);
}

TEST(VmStat, addsTheTwoCounters) {
    EXPECT_EQ(parseSwapInPages("nr_free_pages 5\npswpin 7\nworkingset_refault_anon 3\npswpout 9\n"), 10U);
    EXPECT_EQ(parseSwapInPages("pswpin 7\n"), 7U);
    EXPECT_EQ(parseSwapInPages("pgfault 1\n"), std::nullopt);
}

class PressureFiles : public testing::Test {
  protected:
    void memory(int availablePercent) {
        root.write("meminfo", "MemTotal: 100000 kB\nMemAvailable: " + std::to_string(availablePercent) +
                                  "000 kB\nSwapTotal: 100 kB\nSwapFree: 90 kB\n");
    }
    void stalls(std::uint64_t some, std::uint64_t full) {
        root.write("pressure/memory",
                   "some avg10=0.00 avg60=0.00 avg300=0.00 total=" + std::to_string(some) +
                       "\nfull avg10=0.00 avg60=0.00 avg300=0.00 total=" + std::to_string(full) + "\n");
    }
    TempDirectory root;
    PressureWatch watch{root.path().string()};
};

TEST_F(PressureFiles, stallsRaiseTheLevelWhileMemoryIsShort) {
    memory(30);
    stalls(1'000'000, 0);
    EXPECT_EQ(watch.look(0), std::nullopt);
    stalls(1'300'000, 0);
    EXPECT_EQ(watch.look(2), Events::warning);  // 15 % of two seconds
    memory(20);
    stalls(2'600'000, 0);
    EXPECT_EQ(watch.look(4), Events::critical);  // 40 % of four seconds
    memory(90);
    EXPECT_EQ(watch.look(6), std::nullopt);
    EXPECT_EQ(watch.look(16), Events::normal);
}

TEST_F(PressureFiles, stallsOnAMachineWithPlentyOfMemoryAreNone) {
    memory(97);
    stalls(0, 0);
    watch.look(0);
    stalls(2'000'000, 2'000'000);
    EXPECT_EQ(watch.look(2), std::nullopt);
}

TEST_F(PressureFiles, aLookWithoutMemoryFiguresLeavesTheLevelAsItWas) {
    memory(30);
    stalls(0, 0);
    watch.look(0);
    stalls(300'000, 0);
    EXPECT_EQ(watch.look(2), Events::warning);
    for (const std::string_view broken : {"", "MemTotal: 1", "garbage\n", "MemTotal: 100000 kB\n"}) {
        root.write("meminfo", broken);
        for (double moment = 10; moment < 60; moment += 10) EXPECT_EQ(watch.look(moment), std::nullopt);
        EXPECT_EQ(watch.level(), Events::warning);
    }
}

TEST_F(PressureFiles, withoutThePressureFilePagesThatReturnRaiseTheLevel) {
    memory(90);
    for (int second = 0; second <= 10; second += 2) {
        root.write("vmstat", "pswpin " + std::to_string(second * 1001) + "\n");
        const auto event = watch.look(second);
        EXPECT_EQ(event, second == 10 ? std::optional(Events::warning) : std::nullopt) << second;
    }
}

/// Whether this process has a thread of that name.
bool hasThread(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (test::readFile(task.path() / "comm") == name + "\n") return true;
    }
    return false;
}

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

/// Two ends of a stream; urgent data at one makes poll() tell POLLPRI at the other, as the kernel's trigger
/// does.
struct UrgentPipe {
    UrgentPipe() {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(listener, reinterpret_cast<sockaddr*>(&address), size);
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        sender = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        connect(sender, reinterpret_cast<sockaddr*>(&address), size);
        receiver = accept(listener, nullptr, nullptr);
        close(listener);
    }
    ~UrgentPipe() { close(sender); }
    void fire() const { send(sender, "!", 1, MSG_OOB); }

    int sender;
    int receiver;  // the subscription's
};

/// Collects events and waits for them.
class Received {
  public:
    void add(Events events) {
        {
            const std::lock_guard guard(mutex_);
            all_.push_back(events);
        }
        changed_.notify_all();
    }
    bool await(std::size_t count, std::chrono::seconds deadline = std::chrono::seconds(30)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return all_.size() >= count; });
    }
    std::vector<Events> all() {
        const std::lock_guard guard(mutex_);
        return all_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Events> all_;
};

TEST(PsiPressureSource, announcesALevelThatIsReachedByMemoryAlone) {
    const TempDirectory root;
    root.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 40 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
    LinuxThreadSetup threads;
    PsiPressureSource source(root.path().string(), threads);
    Received received;
    const auto subscription =
        source.subscribe("com.corvanta.memory-pressure", [&](Events e) { received.add(e); });
    ASSERT_NE(subscription, nullptr);
    ASSERT_TRUE(received.await(1));
    EXPECT_EQ(received.all(), (std::vector<Events>{Events::critical}));
}

TEST(PsiPressureSource, theTriggerWakesItBeforeItsTime) {
    const TempDirectory root;
    root.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 900 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
    const UrgentPipe pipe;
    ASSERT_GE(pipe.receiver, 0);
    test::FakeThreadSetup threads;
    PsiPressureSource source(root.path().string(), threads,
                             [&](const std::string&) { return pipe.receiver; });
    Received received;
    const auto subscription = source.subscribe("label", [&](Events e) { received.add(e); });
    while (threads.labels().empty()) std::this_thread::yield();
    root.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 40 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
    pipe.fire();
    // A calm machine is looked at only every ten seconds.
    EXPECT_TRUE(received.await(1, std::chrono::seconds(8)));
    EXPECT_EQ(received.all(), (std::vector<Events>{Events::critical}));
}

TEST(PsiPressureSource, theKernelsTriggerCanBeOpenedWhereThereIsOne) {
    if (!std::filesystem::exists("/proc/pressure/memory")) {
        EXPECT_LT(openPressureTrigger("/proc"), 0);
        return;
    }
    const int trigger = openPressureTrigger("/proc");
    ASSERT_GE(trigger, 0);
    pollfd descriptor{trigger, POLLPRI, 0};
    EXPECT_GE(poll(&descriptor, 1, 0), 0);
    EXPECT_EQ(descriptor.revents & (POLLERR | POLLNVAL), 0);
    close(trigger);
    EXPECT_LT(openPressureTrigger("/nowhere"), 0);
}

TEST(PsiPressureSource, withoutADescriptorToSpareThereIsNoSubscription) {
    const test::CapturedLog log;
    LinuxThreadSetup threads;
    PsiPressureSource source("/proc", threads);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{3, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const auto subscription = source.subscribe("label", [](Events) {});
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(subscription, nullptr);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].rfind("Could not watch the memory pressure: ", 0), 0U) << log.lines()[0];
}

TEST(PsiPressureSource, aMachineWithoutAnyOfTheFilesStaysSilent) {
    const TempDirectory root;
    LinuxThreadSetup threads;
    PsiPressureSource source(root.path().string(), threads);
    Received received;
    {
        const auto subscription = source.subscribe("label", [&](Events e) { received.add(e); });
    }
    EXPECT_TRUE(received.all().empty());
}

TEST(PsiPressureSource, manySubscriptionsComeAndGoOnTheRealFiles) {
    LinuxThreadSetup threads;
    PsiPressureSource source("/proc", threads);
    for (int i = 0; i < 20; ++i) {
        const auto subscription = source.subscribe("label", [](Events) {});
        ASSERT_NE(subscription, nullptr);
    }
}

// One contract for every event source: dropping the subscription ends it.
class PressureSourceContract : public testing::TestWithParam<bool> {};

TEST_P(PressureSourceContract, anEndedSubscriptionIsSilent) {
    const TempDirectory root;
    root.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 900 kB\n");
    LinuxThreadSetup threads;
    test::FakeMemoryPressureEventSource fake;
    PsiPressureSource real(root.path().string(), threads);
    MemoryPressureEventSource& source = GetParam() ? static_cast<MemoryPressureEventSource&>(real) : fake;
    Received received;
    auto subscription = source.subscribe("label", [&](Events e) { received.add(e); });
    ASSERT_NE(subscription, nullptr);
    if (GetParam()) {
        EXPECT_TRUE(eventually([] { return hasThread("label"); }));
    }
    subscription.reset();
    EXPECT_TRUE(eventually([] { return !hasThread("label"); }));  // nobody is left to call the handler
    root.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 10 kB\n");
    fake.subscribers.fire(Events::critical);
    EXPECT_TRUE(received.all().empty());
}

INSTANTIATE_TEST_SUITE_P(All, PressureSourceContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Linux" : "Fake"; });

}  // namespace
}  // namespace corvanta
