// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvanta {

/// Where the program keeps its two files for this user. UTF-8 paths.
struct ApplicationPaths {
    std::string settingsFile;
    std::string databaseFile;

    bool operator==(const ApplicationPaths&) const = default;
};

/// The paths that the shared instances use. Set once by the program before the first shared instance is made;
/// reading them before that ends the program.
const ApplicationPaths& applicationPaths();
void setApplicationPaths(ApplicationPaths paths);

}  // namespace corvanta
