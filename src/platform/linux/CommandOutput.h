// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta {

/// What a program said, and how it ended.
struct CommandOutput {
    int exitStatus = 0;
    std::string output;  ///< the bytes of its standard output

    bool operator==(const CommandOutput&) const = default;
};

/// More standard output than this calls the program off.
inline constexpr std::size_t mostCommandOutput = std::size_t{4} << 20;

/// Runs a program in a process group of its own, with no input and its error output discarded, and waits for
/// its end. Any thread.
///
/// `path` is no name to search for, and `arguments` come without the program's own. What a descendant would
/// write after the program's end is not waited for, and descendants that are still in the group then are
/// killed.
///
/// Nullopt when the program can't be started or ends by a signal; when it still runs at `deadline`, soon
/// after `stop` was requested, and when it writes too much, it is killed first. On every road it is collected
/// before this returns, which is late only for a process that the kernel itself holds up.
std::optional<CommandOutput> runCommand(const std::string& path, const std::vector<std::string>& arguments,
                                        std::chrono::steady_clock::time_point deadline,
                                        const std::stop_token& stop);

/// The first executable file of that name in the folders of `searchPath`, which ":" separates. Folders that
/// are not absolute don't count.
std::optional<std::string> findProgram(std::string_view name, std::string_view searchPath);

}  // namespace corvanta
