// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PrivateFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/linux/FileReplacement.h"

namespace corvanta {
namespace {

std::optional<std::string> makeFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (folder.empty() || std::filesystem::is_directory(folder, ignored)) return std::nullopt;
    if (auto failure = makeFolder(folder.parent_path())) return failure;
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        return std::generic_category().message(errno) + ": " + folder.string();
    }
    return std::nullopt;
}

}  // namespace

void keepNewFilesPrivate() {
    ::umask(S_IRWXG | S_IRWXO);
}

std::optional<std::string> writePrivateFile(const std::string& path, std::string_view content) {
    if (auto failure = makeFolder(std::filesystem::path(path).parent_path())) return failure;
    return replaceFile(path, content, FileAudience::owner);
}

}  // namespace corvanta
