// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace corvanta {

/// The names of the entries of a folder, in order. None when it can't be read.
inline std::vector<std::string> folderNames(const std::string& path) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace corvanta
