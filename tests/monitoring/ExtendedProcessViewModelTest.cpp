// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ExtendedProcessViewModel.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include "monitoring/RecordingSink.h"
#include "monitoring/ScriptedCollectors.h"
#include "settings/AppSettings.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::FakeProcessSignaller;

class ExtendedProcessViewModelTest : public testing::Test {
  protected:
    void SetUp() override {
        machine.processSignaller.start(50, "Editor");
        machine.processSignaller.start(70, "systemd");
        show({{.id = 0, .name = "kernel_task", .cpuUsage = 1, .kind = "Kernel"},
              {.id = 50, .name = "Editor", .cpuUsage = 5.04, .ramUsage = 5.03, .kind = "User"},
              {.id = 60, .name = "editor", .cpuUsage = 7, .ramUsage = 7, .kind = "User"},
              {.id = 70, .name = "systemd", .cpuUsage = 2, .kind = "User"}});
    }

    /// The monitor publishes another list.
    void show(std::vector<ProcessDetail> list) {
        script->processes = std::move(list);
        if (!monitor) {
            monitor = std::make_unique<SystemMonitor>(
                machine.platform, settings, sink,
                [this](const Platform&) { return test::makeScriptedCollectors(script); });
            model = std::make_unique<ExtendedProcessViewModel>(*monitor, machine.processSignaller);
        } else {
            machine.waiter.release();
        }
        ASSERT_TRUE(machine.executor.runNext());
        ASSERT_TRUE(machine.waiter.awaitWaits(++cycles));
    }

    test::FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    std::shared_ptr<test::CollectorScript> script = std::make_shared<test::CollectorScript>();
    test::RecordingSink sink;
    std::unique_ptr<SystemMonitor> monitor;
    std::unique_ptr<ExtendedProcessViewModel> model;
    std::size_t cycles = 0;
};

}  // namespace

TEST_F(ExtendedProcessViewModelTest, startsWithTheBusiestFirstAndNothingChosen) {
    EXPECT_EQ(model->searchText(), "");
    EXPECT_EQ(model->selectedProcessID(), std::nullopt);
    EXPECT_EQ(model->selectedGroupName(), std::nullopt);
    EXPECT_EQ(model->sortOrder(), (ProcessSortOrder{{ProcessColumn::cpuUsage, SortDirection::descending}}));
    EXPECT_EQ(model->groupSortOrder(),
              (ProcessSortOrder{{ProcessColumn::cpuUsage, SortDirection::descending}}));
    EXPECT_EQ(model->viewMode(), ProcessViewMode::individual);
    EXPECT_EQ(model->pendingAction(), std::nullopt);
    EXPECT_EQ(model->notice(), std::nullopt);
    EXPECT_EQ(model->filteredProcesses().front().id, 60);
    EXPECT_EQ(model->groupedProcesses().front().samplePID, 50);
}

TEST_F(ExtendedProcessViewModelTest, theTablesFollowSearchAndOrder) {
    model->setSearchText("EDIT");
    model->setSortOrder({{ProcessColumn::pid, SortDirection::ascending}});
    ASSERT_EQ(model->filteredProcesses().size(), 2U);
    EXPECT_EQ(model->filteredProcesses().front().id, 50);
    ASSERT_EQ(model->groupedProcesses().size(), 1U);
    model->setSearchText("");
    model->setGroupSortOrder({{ProcessColumn::name, SortDirection::descending}});
    EXPECT_EQ(model->groupedProcesses().front().name, "systemd");
}

TEST_F(ExtendedProcessViewModelTest, everyChangeIsAnnounced) {
    const QSignalSpy changes(model.get(), &ExtendedProcessViewModel::changed);
    int expected = 0;
    const auto announces = [&](const char* what) { EXPECT_EQ(changes.count(), ++expected) << what; };
    model->setSearchText("x");
    announces("search");
    model->setSortOrder({});
    announces("order");
    model->setGroupSortOrder({});
    announces("order of groups");
    model->setViewMode(ProcessViewMode::combined);
    announces("mode");
    EXPECT_EQ(model->viewMode(), ProcessViewMode::combined);
    model->setSelectedProcessID(50);
    announces("selection");
    model->setSelectedGroupName("editor");
    announces("selected group");
    EXPECT_EQ(model->selectedGroupName(), "editor");
    model->requestQuit(50, false);
    announces("pending action");
    model->cancelPendingAction();
    announces("cancelled");
    model->explainRefusal(70);
    announces("notice");
    model->closeNotice();
    announces("notice closed");
    show({});
    announces("the monitor's next list");
}

TEST_F(ExtendedProcessViewModelTest, aSampleWithTheSameListIsNoChange) {
    const QSignalSpy samples(monitor.get(), &SystemMonitor::changed);
    const QSignalSpy changes(model.get(), &ExtendedProcessViewModel::changed);
    for (int sample = 0; sample < 5; ++sample) show(script->processes);
    monitor->setRequestedProcessSelection("Editor");
    EXPECT_EQ(samples.count(), 6);
    EXPECT_EQ(changes.count(), 0);
    show({});
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(ExtendedProcessViewModelTest, theDetailIsOfTheLargerShare) {
    EXPECT_EQ(model->detail(), std::nullopt);
    model->setSelectedProcessID(50);
    EXPECT_EQ(model->detail(), (ProcessInsight{ProcessInsight::Metric::cpu, "Editor", "5.0%"}));
    model->setSelectedProcessID(60);  // equal shares are the memory's
    EXPECT_EQ(model->detail(), (ProcessInsight{ProcessInsight::Metric::ram, "editor", "7.0%"}));
    show({});
    EXPECT_EQ(model->selectedProcessID(), 60);
    EXPECT_EQ(model->detail(), std::nullopt);
    model->setSelectedProcessID(std::nullopt);
    EXPECT_EQ(model->detail(), std::nullopt);
}

TEST_F(ExtendedProcessViewModelTest, aRequestForAProcessSelectsItOnce) {
    monitor->setRequestedProcessSelection("editor");
    model->takeRequestedSelection();
    EXPECT_EQ(model->selectedProcessID(), 60);  // the name to the letter
    EXPECT_EQ(monitor->requestedProcessSelection(), std::nullopt);
    model->setSelectedProcessID(std::nullopt);
    model->takeRequestedSelection();
    EXPECT_EQ(model->selectedProcessID(), std::nullopt);
}

TEST_F(ExtendedProcessViewModelTest, aRequestForAProcessThatIsNotThereStays) {
    monitor->setRequestedProcessSelection("gone");
    model->takeRequestedSelection();
    EXPECT_EQ(model->selectedProcessID(), std::nullopt);
    EXPECT_EQ(monitor->requestedProcessSelection(), "gone");
}

TEST_F(ExtendedProcessViewModelTest, theMenuIsOfTheFirstSelected) {
    EXPECT_EQ(model->contextMenu({50, 60}),
              (ProcessMenu{50, ProcessMenu::Quit{"Quit Editor", "Force Quit Editor"}}));
    EXPECT_EQ(model->contextMenu({}), std::nullopt);
    EXPECT_EQ(model->contextMenu({51, 50}), std::nullopt);
}

TEST_F(ExtendedProcessViewModelTest, theMenuOfAProtectedProcessOffersTheReason) {
    EXPECT_EQ(model->contextMenu({70}),
              (ProcessMenu{70, ProcessMenu::Refused{"Protected system process", "Why can't I quit this?"}}));
    EXPECT_EQ(model->contextMenu({0}),
              (ProcessMenu{0, ProcessMenu::Refused{"Protected system process", "Why can't I quit this?"}}));
    model->explainRefusal(70);
    ASSERT_TRUE(model->notice());
    EXPECT_EQ(model->notice()->title, "Protected system process");
    EXPECT_EQ(model->notice()->message,
              "systemd is a core part of macOS. Quitting it would sign you out or leave your Mac in a broken "
              "state, so Corvanta will not do it.");
    model->closeNotice();
    model->explainRefusal(50);  // which may be quit
    EXPECT_EQ(model->notice(), std::nullopt);
}

TEST_F(ExtendedProcessViewModelTest, aConfirmedQuitSendsTheSignalAndShowsNothing) {
    model->requestQuit(50, false);
    EXPECT_EQ(model->pendingAction(), (PendingProcessAction{50, "Editor", false}));
    EXPECT_EQ(model->pendingConfirmation()->title, "Quit Editor?");
    EXPECT_TRUE(machine.processSignaller.signals.empty());
    model->confirmPendingAction();
    EXPECT_EQ(model->pendingAction(), std::nullopt);
    EXPECT_EQ(model->pendingConfirmation(), std::nullopt);
    EXPECT_EQ(model->notice(), std::nullopt);
    model->requestQuit(50, true);
    EXPECT_EQ(model->pendingConfirmation()->title, "Force quit Editor?");
    model->confirmPendingAction();
    EXPECT_EQ(machine.processSignaller.signals,
              (std::vector<FakeProcessSignaller::Signal>{{50, 15}, {50, 9}}));
}

TEST_F(ExtendedProcessViewModelTest, aCancelledQuitSendsNothing) {
    model->requestQuit(50, true);
    model->cancelPendingAction();
    EXPECT_EQ(model->pendingAction(), std::nullopt);
    model->confirmPendingAction();
    EXPECT_TRUE(machine.processSignaller.signals.empty());
}

TEST_F(ExtendedProcessViewModelTest, anIdThatIsReusedBeforeTheAnswerGetsNoSignal) {
    model->requestQuit(50, true);
    machine.processSignaller.start(50, "Backup");
    show({{.id = 50, .name = "Backup", .kind = "User"}});
    model->confirmPendingAction();
    EXPECT_EQ(model->notice(),
              (ProcessNotice{"Nothing was quit", "Editor is no longer running as process 50."}));
    EXPECT_TRUE(machine.processSignaller.signals.empty());
}

TEST_F(ExtendedProcessViewModelTest, aQuitThatFailsIsTold) {
    machine.processSignaller.error = 1;
    model->requestQuit(50, false);
    model->confirmPendingAction();
    ASSERT_TRUE(model->notice());
    EXPECT_EQ(model->notice()->title, "Could not quit Editor");
}

TEST_F(ExtendedProcessViewModelTest, aProcessThatIsNotInTheListCanNotBeAskedFor) {
    model->requestQuit(51, false);
    EXPECT_EQ(model->pendingAction(), std::nullopt);
    EXPECT_EQ(machine.processSignaller.holds, 0);
}

}  // namespace corvanta
