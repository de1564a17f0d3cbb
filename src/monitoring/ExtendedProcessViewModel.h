// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "monitoring/ProcessTable.h"
#include "monitoring/SystemMonitor.h"
#include "monitoring/collectors/ProcessQuit.h"
#include "platform/ProcessSignaller.h"

namespace corvanta {

/// What the context menu of a process offers.
struct ProcessMenu {
    struct Quit {
        std::string quitLabel;
        std::string forceQuitLabel;

        bool operator==(const Quit&) const = default;
    };
    struct Refused {
        std::string label;  ///< a text, which does nothing
        std::string whyLabel = "Why can't I quit this?";

        bool operator==(const Refused&) const = default;
    };
    std::int64_t pid = 0;
    std::variant<Quit, Refused> entries;

    bool operator==(const ProcessMenu&) const = default;
};

/// What the detail of a process explains: the share in which it is larger.
struct ProcessInsight {
    enum class Metric { cpu, ram };
    Metric metric = Metric::cpu;
    std::string name;
    std::string usage;

    bool operator==(const ProcessInsight&) const = default;
};

/// The process window without its widgets: two tables over the monitor's list, their sorting and filtering,
/// the detail of a process, and a quit that the user confirms.
///
/// Owned by the window, and lives as long as that is open; the monitor and the signaller outlive it. Main
/// thread only. What fails is told as a notice.
class ExtendedProcessViewModel final : public QObject {
    Q_OBJECT

  public:
    static constexpr std::string_view windowTitle = "All Processes";
    static constexpr std::string_view searchPrompt = "Search Processes";
    static constexpr std::string_view viewModeLabel = "View";
    static constexpr std::string_view noticeButton = "OK";

    ExtendedProcessViewModel(SystemMonitor& monitor, ProcessSignaller& signaller);

    // The tables, made from the present list at each call.
    std::vector<ProcessDetail> filteredProcesses() const;
    std::vector<ProcessGroup> groupedProcesses() const;

    const std::string& searchText() const { return searchText_; }
    void setSearchText(std::string text);
    const ProcessSortOrder& sortOrder() const { return sortOrder_; }
    void setSortOrder(ProcessSortOrder order);
    const ProcessSortOrder& groupSortOrder() const { return groupSortOrder_; }
    void setGroupSortOrder(ProcessSortOrder order);
    ProcessViewMode viewMode() const { return viewMode_; }
    void setViewMode(ProcessViewMode mode);

    std::optional<std::int64_t> selectedProcessID() const { return selectedProcessID_; }
    void setSelectedProcessID(std::optional<std::int64_t> pid);
    /// Opens nothing.
    const std::optional<std::string>& selectedGroupName() const { return selectedGroupName_; }
    void setSelectedGroupName(std::optional<std::string> name);

    /// Selects the process that was asked for elsewhere, when the window comes up. A request for one that is
    /// not there stays.
    void takeRequestedSelection();

    /// Of the selected process; absent without one, and when it is no longer in the list.
    std::optional<ProcessInsight> detail() const;

    /// Of the first of the selected processes; absent when there is none, or it is no longer in the list.
    std::optional<ProcessMenu> contextMenu(const std::vector<std::int64_t>& selection) const;

    // The entries of a context menu.
    void requestQuit(std::int64_t pid, bool force);
    void explainRefusal(std::int64_t pid);

    /// What waits for the user's answer, and the question for it.
    const std::optional<PendingProcessAction>& pendingAction() const { return pendingAction_; }
    std::optional<ProcessConfirmation> pendingConfirmation() const;
    void confirmPendingAction();
    void cancelPendingAction();

    const std::optional<ProcessNotice>& notice() const { return notice_; }
    void closeNotice();

  Q_SIGNALS:
    /// The state above has changed, or the monitor has another list.
    void changed();

  private:
    void takeList();
    const ProcessDetail* find(std::int64_t pid) const;
    void setNotice(std::optional<ProcessNotice> notice);

    SystemMonitor& monitor_;
    ProcessSignaller& signaller_;

    ProcessList announcedList_;  // held, so that no later list can be taken for it
    std::string searchText_;
    std::optional<std::int64_t> selectedProcessID_;
    std::optional<std::string> selectedGroupName_;
    ProcessSortOrder sortOrder_ = {{ProcessColumn::cpuUsage, SortDirection::descending}};
    ProcessSortOrder groupSortOrder_ = {{ProcessColumn::cpuUsage, SortDirection::descending}};
    ProcessViewMode viewMode_ = ProcessViewMode::individual;
    std::optional<PendingProcessAction> pendingAction_;
    std::unique_ptr<HeldProcess> heldProcess_;  // since the pending action was asked for
    std::optional<ProcessNotice> notice_;
};

}  // namespace corvanta
