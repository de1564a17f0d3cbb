// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace corvanta {

/// A file that the kernel renders anew at each read from its start. The descriptor is kept, which halves the
/// cost of a read.
///
/// Owned by one reader. One thread at a time. A file that is missing or can't be read gives no text, and is
/// tried again at the next read.
class KernelFile {
  public:
    explicit KernelFile(std::string path);
    ~KernelFile();
    KernelFile(KernelFile&& other) noexcept;
    KernelFile& operator=(KernelFile&&) = delete;

    /// At most the first `limit` bytes; fewer when the file is shorter. The view lasts until the next read.
    std::optional<std::string_view> read(std::size_t limit);

    /// Gives the descriptor back; the next read opens the file again.
    void close();

    const std::string& path() const { return path_; }

  private:
    std::string path_;
    int descriptor_ = -1;
    std::string buffer_;
};

/// The first line, without its newline, of a small file that is read once. Nothing for one without a whole
/// line of at most 255 bytes.
std::optional<std::string> readFirstLine(const std::string& path);

}  // namespace corvanta
