// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/XdgDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <sstream>

namespace corvanta {
namespace {

bool isAbsolute(const std::string& path) {
    return !path.empty() && path.front() == '/';
}

std::optional<std::string> absoluteVariable(const EnvironmentLookup& environment, const char* name) {
    auto value = environment(name);
    return value && isAbsolute(*value) ? value : std::nullopt;
}

}  // namespace

XdgDirectories xdgDirectories(const EnvironmentLookup& environment,
                              const std::function<std::optional<std::string>()>& accountHome) {
    auto home = absoluteVariable(environment, "HOME");
    if (!home) home = accountHome();
    const auto folder = [&](const char* variable, const char* below) {
        auto named = absoluteVariable(environment, variable);
        return named || !home ? named : *home + below;
    };

    XdgDirectories directories{
        folder("XDG_CONFIG_HOME", "/.config"), folder("XDG_DATA_HOME", "/.local/share"), {}};
    auto list = environment("XDG_CONFIG_DIRS").value_or("");
    std::istringstream parts(list.empty() ? "/etc/xdg" : list);
    for (std::string part; std::getline(parts, part, ':');) {
        if (isAbsolute(part)) directories.configDirs.push_back(part);
    }
    return directories;
}

std::optional<ApplicationPaths> applicationPathsBelow(const XdgDirectories& directories) {
    if (!directories.configHome || !directories.dataHome) return std::nullopt;
    return ApplicationPaths{.settingsFile = *directories.configHome + "/com.corvanta.app/settings.json",
                            .databaseFile = *directories.dataHome + "/com.corvanta.app/history.sqlite"};
}

std::optional<std::string> processEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::optional<std::string> accountHome() {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> buffer{};
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    const std::string home = entry.pw_dir == nullptr ? "" : entry.pw_dir;
    return isAbsolute(home) ? std::optional(home) : std::nullopt;
}

}  // namespace corvanta
