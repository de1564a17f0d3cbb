// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/KernelFile.h"
#include "platform/linux/LinkInfo.h"

namespace corvanta {

/// Reads the lines of /proc/net/dev: names and counters, and nothing else of a link. A line without the nine
/// numbers up to the sent bytes, or with something that can be no interface's name, is left out. False when
/// the text is no such table.
bool parseNetDev(std::string_view text, std::vector<LinkInfo>& links);

/// The flags of an interface, as in "0x1003"; 0 for anything else.
unsigned parseInterfaceFlags(std::string_view text);

/// The "DEVTYPE" line of an interface's uevent file, which names the kind of most virtual interfaces. Empty
/// when there is none, and for wireless links, where it tells of hardware.
std::string_view parseDeviceType(std::string_view text);

/// The interfaces from /proc/net/dev and /sys/class/net, for a system that refuses rtnetlink. An interface
/// without a readable flags file counts as down.
///
/// Owned by one reader. One thread at a time.
class ProcNetDev {
  public:
    ProcNetDev(const std::string& procRoot, const std::string& sysRoot);

    /// Replaces `links`. False, and no links, when the table could not be read.
    bool read(std::vector<LinkInfo>& links);

  private:
    KernelFile table_;
    std::string interfaces_;  ///< the folder with one folder per interface
};

}  // namespace corvanta
