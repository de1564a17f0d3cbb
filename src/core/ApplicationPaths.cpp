// SPDX-License-Identifier: Apache-2.0
#include "core/ApplicationPaths.h"

#include <cstdlib>
#include <utility>

namespace corvanta {
namespace {

ApplicationPaths& storedPaths() {
    static ApplicationPaths& paths = *new ApplicationPaths;
    return paths;
}

}  // namespace

const ApplicationPaths& applicationPaths() {
    if (storedPaths().databaseFile.empty()) std::abort();
    return storedPaths();
}

void setApplicationPaths(ApplicationPaths paths) {
    storedPaths() = std::move(paths);
}

}  // namespace corvanta
