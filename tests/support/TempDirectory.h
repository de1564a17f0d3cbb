// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace corvanta::test {

/// A folder of its own under the system's temporary folder, removed with everything in it at the end.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

    /// Writes a file, with the folders that it needs, and returns its path.
    std::string write(std::string_view name, std::string_view content) const;

  private:
    std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);

}  // namespace corvanta::test
