// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/ApplicationPaths.h"

namespace corvanta {

/// The user's and the system's base folders, by the XDG base directory standard. A home is absent when the
/// user has no home folder and no variable names another.
struct XdgDirectories {
    std::optional<std::string> configHome;
    std::optional<std::string> dataHome;
    std::vector<std::string> configDirs;  ///< without configHome, the most important first

    bool operator==(const XdgDirectories&) const = default;
};

/// The value of an environment variable; nullopt when it is not set.
using EnvironmentLookup = std::function<std::optional<std::string>(const char* name)>;

/// Empty variables and relative paths in them count as not set. `accountHome` is asked only when "HOME" does
/// not serve.
XdgDirectories xdgDirectories(const EnvironmentLookup& environment,
                              const std::function<std::optional<std::string>()>& accountHome);

/// The program's own two files below the homes; nullopt when one of these is absent.
std::optional<ApplicationPaths> applicationPathsBelow(const XdgDirectories& directories);

/// This process's environment. Not while another thread changes it.
std::optional<std::string> processEnvironment(const char* name);
/// The home folder of the process's user as the account database has it.
std::optional<std::string> accountHome();

}  // namespace corvanta
