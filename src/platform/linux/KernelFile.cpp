// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/KernelFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t firstBuffer = 4096;
constexpr std::size_t mostLine = 256;

}  // namespace

KernelFile::KernelFile(std::string path) : path_(std::move(path)) {}

KernelFile::~KernelFile() {
    close();
}

KernelFile::KernelFile(KernelFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)) {}

std::optional<std::string_view> KernelFile::read(std::size_t limit) {
    if (descriptor_ < 0) descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) return std::nullopt;
    std::size_t length = 0;
    while (length < limit) {
        // Most files are short; the buffer grows to what they need, and stays.
        if (length == buffer_.size()) buffer_.resize(std::min(limit, std::max(firstBuffer, 2 * length)));
        const std::size_t room = std::min(limit, buffer_.size()) - length;
        const ssize_t got = pread(descriptor_, buffer_.data() + length, room, static_cast<off_t>(length));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            close();
            return std::nullopt;
        }
        if (got == 0) break;
        length += static_cast<std::size_t>(got);
    }
    return std::string_view(buffer_).substr(0, length);
}

void KernelFile::close() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

std::optional<std::string> readFirstLine(const std::string& path) {
    KernelFile file(path);
    auto text = file.read(mostLine);
    const auto line = text ? takeLine(*text) : std::nullopt;
    return line ? std::optional<std::string>(*line) : std::nullopt;
}

}  // namespace corvanta
