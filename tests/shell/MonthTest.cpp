// SPDX-License-Identifier: Apache-2.0
// A month of the whole program on a machine whose clock, load and battery the test drives: everything that it
// tells the user, with the times, against a golden text. CORVANTA_WRITE_GOLDEN=1 writes that anew.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "core/NumberText.h"
#include "shell/DelegateFixture.h"
#include "support/CapturedLog.h"

namespace corvanta {
namespace {

constexpr double minute = 60;
constexpr double hour = 3600;
constexpr double day = 86400;
constexpr double quietInterval = 5 * minute;
constexpr double busyInterval = 2;

constexpr std::uint64_t idle = 12;
constexpr std::uint64_t full = 100;

/// The month begins at nine in the morning of its first day.
class MonthTest : public test::DelegateFixture {
  protected:
    MonthTest() {
        machine_.clock.setNow(midnight_ + seconds(9 * hour));
        settings_.lowBatteryThreshold.set(20);
        setProcesses(1);
        setBattery(100, true);
        machine_.volumeCapacity.capacity = {.availableForImportantUsage = 200'000'000'000,
                                            .total = 500'000'000'000};
        machine_.powerSources.registry =
            BatteryRegistry{.cycleCount = 211, .rawMaxCapacity = 91, .designCapacity = 100};
    }

    static std::chrono::duration<double> seconds(double count) {
        return std::chrono::duration<double>(count);
    }
    static double at(int dayOfMonth, double hours, double minutes = 0) {
        return (dayOfMonth - 1) * day + hours * hour + minutes * minute;
    }
    double now() const { return (machine_.clock.now() - midnight_).count(); }

    // The machine.

    void setProcesses(int compilers) {
        std::vector<ListedProcess> list;
        for (int i = 0; i < compilers; ++i)
            list.push_back({71 + i, "compiler", ProcessUsage{.residentBytes = gigabyte}});
        list.push_back({100, "editor", ProcessUsage{.residentBytes = 6 * gigabyte}});
        machine_.processes.queue = {list};
    }
    void setBattery(std::int64_t percentage, bool isPluggedIn) {
        machine_.powerSources.sources = {{.currentCapacity = percentage,
                                          .maxCapacity = 100,
                                          .isCharging = isPluggedIn,
                                          .powerSourceState = isPluggedIn ? "AC Power" : "Battery Power"}};
    }
    void setPressure(MemoryPressureEvents level) { machine_.memoryPressureEvents.subscribers.fire(level); }

    // The passing of time.

    /// Cycles of that load from now on, the first at once, up to but without the given second.
    void runUntil(double end, std::uint64_t load, double interval) {
        while (now() < end - 0.5) {
            sample(load);
            const double next = std::min(interval, end - now());
            passTime(next);
        }
    }
    void quietUntil(double end) { runUntil(end, idle, quietInterval); }
    void loadFor(double span, std::uint64_t load) { runUntil(now() + span, load, busyInterval); }

    void sample(std::uint64_t load) {
        runCycle(load);
        ASSERT_TRUE(services_.awaitTrendCheck());
        tell();
    }
    /// The daily timer and the one of the launch go by the same clock.
    void passTime(double span) {
        machine_.clock.advance(span);
        if (firstReport_ && now() - launchedAt_ >= 30) {
            firstReport_ = false;
            fire(timerOf(std::chrono::seconds(30)));
        }
        const auto days = static_cast<int>((now() - launchedAt_) / day);
        if (days > heartbeats_) {
            ++heartbeats_;
            fire(timerOf(std::chrono::hours(24)));
        }
        tell();
    }

    // The text.

    void launchProgram() {
        user("starts the program");
        launch(services_.sink);
        launchedAt_ = now();
        tell();
    }
    void user(const std::string& action) { line("the user " + action); }
    void dismiss() {
        user("dismisses the alert");
        services_.monitor.dismissAlert();
        tell();
    }

    /// Writes down what is new: notifications, and another active alert.
    void tell() {
        machine_.executor.runQueued();
        const auto requests = machine_.notifications.requests();
        for (; told_ < requests.size(); ++told_) {
            const NotificationRequest& request = requests[told_];
            line((request.interruptionLevel == InterruptionLevel::active ? "active          "
                                                                         : "time-sensitive  ") +
                 request.identifier + "\n    " + request.title + "\n    " + request.body);
        }
        const std::string alert = services_.monitor.activeAlertTitle().value_or("none");
        if (alert != alert_) line("alert shown     " + alert);
        alert_ = alert;
    }
    void line(const std::string& text) {
        const auto second = static_cast<std::int64_t>(std::lround(now()));
        const std::int64_t ofDay = second % 86400;
        text_ += "day " + twoDigits(second / 86400 + 1) + " " + twoDigits(ofDay / 3600) + ":" +
                 twoDigits(ofDay / 60 % 60) + ":" + twoDigits(ofDay % 60) + "  " + text + "\n";
    }

    const Instant midnight_ = instantFromSeconds(1'799'971'200);  // of the first day
    std::string text_;

  private:
    double launchedAt_ = 0;
    bool firstReport_ = true;
    int heartbeats_ = 0;
    std::size_t told_ = 0;
    std::string alert_ = "none";
};

TEST_F(MonthTest, everythingThatTheUserIsTold) {
    const test::CapturedLog log;
    launchProgram();

    // A load that goes on. Each alert is dismissed, and two of the next three are within the cooldown.
    quietUntil(at(1, 10));
    for (int i = 0; i < 4; ++i) {
        loadFor(100, full);
        dismiss();
    }
    // Another number of processes is another label, which cools down by itself.
    setProcesses(3);
    quietUntil(now() + 10);
    loadFor(62, 93);
    setProcesses(1);
    dismiss();

    // The first report comes with the first full day.
    quietUntil(at(2, 14));

    // During a snooze alerts are shown, and performance is not notified; what comes after it is.
    user("snoozes performance alerts for an hour");
    settings_.snoozePerformanceAlerts(hour);
    loadFor(70, full);
    dismiss();
    machine_.thermal.state = 2;
    setPressure(MemoryPressureEvents::critical);
    loadFor(4, idle);
    setPressure(MemoryPressureEvents::normal);
    machine_.thermal.state = 0;
    quietUntil(at(2, 15, 10));
    machine_.thermal.state = 2;
    setPressure(MemoryPressureEvents::critical);
    loadFor(62, idle);
    machine_.thermal.state = 3;
    loadFor(10, idle);
    machine_.thermal.state = 0;
    setPressure(MemoryPressureEvents::warning);  // which the settings leave out
    loadFor(10, idle);
    setPressure(MemoryPressureEvents::normal);
    dismiss();

    // A load across midnight.
    quietUntil(at(3, 23, 59.5));
    loadFor(80, full);
    dismiss();

    // Some hours far above what is usual. A dismissed alert comes back an hour after it was raised.
    quietUntil(at(10, 11));
    runUntil(at(10, 11, 30), 55, 20);
    dismiss();
    runUntil(at(10, 13, 30), 55, 20);
    dismiss();

    // The disk fills up, which the report of the day tells.
    quietUntil(at(11, 9));
    machine_.volumeCapacity.capacity.availableForImportantUsage = 9'000'000'000;

    // On battery down to four percent, and back to the mains.
    quietUntil(at(12, 18));
    user("pulls the plug");
    for (std::int64_t percentage = 97; percentage >= 4; percentage -= 3) {
        setBattery(percentage, false);
        runUntil(now() + 3 * minute, idle, minute);
    }
    user("plugs in at four percent");
    setBattery(4, true);
    runUntil(now() + 10 * minute, idle, minute);
    user("pulls the plug too early");
    setBattery(9, false);
    runUntil(now() + 2 * minute, idle, minute);
    user("plugs in again");
    setBattery(9, true);
    runUntil(now() + 10 * minute, idle, minute);
    setBattery(100, true);
    quietUntil(at(13, 9));
    machine_.powerSources.registry->cycleCount = 212;
    quietUntil(at(20, 9));

    // Without notifications the alert is still shown, and the report of day 25 counts as announced.
    user("switches notifications off");
    settings_.notificationsEnabled.set(false);
    quietUntil(at(22, 10));
    loadFor(70, full);
    dismiss();
    machine_.powerSources.registry->cycleCount = 213;
    quietUntil(at(27, 12));
    user("switches notifications on");
    settings_.notificationsEnabled.set(true);
    tell();

    // The battery wears out.
    machine_.powerSources.registry =
        BatteryRegistry{.cycleCount = 214, .rawMaxCapacity = 79, .designCapacity = 100};
    quietUntil(at(28, 12));
    dismiss();
    quietUntil(at(31, 24));

    EXPECT_EQ(machine_.notifications.authorizationRequests(), 2);
    const std::string path = CORVANTA_GOLDEN "/alerts/month.txt";
    const char* const writes = std::getenv("CORVANTA_WRITE_GOLDEN");
    if (writes != nullptr && std::string(writes) == "1") std::ofstream(path, std::ios::binary) << text_;
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << "There is no " << path;
    EXPECT_EQ(text_, std::string(std::istreambuf_iterator<char>(file), {}));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"Notification authorisation granted",
                                                     "Notification authorisation granted"}));
}

}  // namespace
}  // namespace corvanta
