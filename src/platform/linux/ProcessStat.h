// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvanta {

/// The fields of /proc/PID/stat that are used.
struct ProcessStat {
    std::string_view comm;  ///< the kernel's name for it, at most 15 bytes of anything; points into the text
    bool isKernelThread = false;
    std::uint64_t cpuTicks = 0;    ///< user and system time of all its threads
    std::uint64_t threads = 0;     ///< 0 for a process that has ended and waits to be collected
    std::uint64_t startTicks = 0;  ///< since the machine started
    std::uint64_t residentPages = 0;

    bool operator==(const ProcessStat&) const = default;
};

/// The name can hold anything, a ")" and a newline included, so it ends at the last ")" of the text. Absent
/// when a field is missing, cut short or no number.
std::optional<ProcessStat> parseProcessStat(std::string_view text);

/// Whether the kernel may have cut the name.
bool mayBeCut(std::string_view comm);

/// The whole of a name that may be cut, from the arguments that the process was started with: the file name
/// of the first or the second that begins with `comm`. Scripts stand second, after their interpreter. Else
/// `comm` itself. `cmdline` is the beginning of /proc/PID/cmdline; an argument that it does not hold to its
/// end does not count.
std::string_view recoveredName(std::string_view comm, std::string_view cmdline);

/// A name in the form in which it is handed on: valid UTF-8, trimmed.
std::string tidyName(std::string_view name);

}  // namespace corvanta
