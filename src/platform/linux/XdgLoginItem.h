// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/ThreadChecker.h"
#include "platform/LoginItem.h"
#include "platform/linux/XdgDirectories.h"

namespace corvanta {

/// The program's entry among the desktop's autostart entries.
///
/// Owned by the platform for the program's life. Main thread only. The files are read at each question, so a
/// change made with the desktop's own tools counts at once.
class XdgLoginItem final : public LoginItem {
  public:
    /// `currentDesktop` is the list of names in XDG_CURRENT_DESKTOP, separated by colons. `executablePath` is
    /// absolute.
    XdgLoginItem(const XdgDirectories& directories, const std::string& currentDesktop,
                 std::string executablePath);

    /// True when this desktop would start the first entry found, going from the user's folder to the
    /// system's.
    bool isEnabled() const override;

    /// Writes the user's own entry, in place of one that may be there.
    std::optional<std::string> registerItem() override;

    /// Removes the user's own entry, or hides that of the system behind one.
    std::optional<std::string> unregisterItem() override;

  private:
    std::optional<std::string> writeUserEntry(const std::string& lines) const;

    // Constant after construction.
    const ThreadChecker thread_;
    const std::optional<std::string> userEntry_;    ///< its path; absent without a home folder
    const std::vector<std::string> systemEntries_;  ///< the paths to look at, the most important first
    const std::vector<std::string> currentDesktops_;
    const std::string executablePath_;
};

}  // namespace corvanta
