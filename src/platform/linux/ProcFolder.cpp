// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t entriesSize = std::size_t{32} * 1024;

/// "`id`/`name`" in a small buffer.
class ProcPath {
  public:
    ProcPath(std::int64_t id, const char* name) {
        char* end = std::to_chars(text_.data(), text_.data() + longestID, id).ptr;
        *end++ = '/';
        *std::copy_n(name, std::min(std::strlen(name), text_.size() - longestID - 2), end) = '\0';
    }
    const char* text() const { return text_.data(); }

  private:
    static constexpr std::size_t longestID = 20;
    std::array<char, 48> text_;
};

}  // namespace

ProcFolder::ProcFolder(std::string root) : root_(std::move(root)) {}

ProcFolder::~ProcFolder() {
    close();
}

bool ProcFolder::open() {
    if (descriptor_ < 0) descriptor_ = ::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return descriptor_ >= 0;
}

void ProcFolder::close() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

bool ProcFolder::listIDs(std::vector<std::int32_t>& ids) {
    ids.clear();
    entries_.resize(entriesSize);
    ssize_t size = open() && lseek(descriptor_, 0, SEEK_SET) == 0 ? 1 : -1;
    while (size > 0) {
        size = getdents64(descriptor_, entries_.data(), entries_.size());
        for (ssize_t at = 0; at < size;) {
            const char* const entry = entries_.data() + at;
            decltype(dirent64::d_reclen) length{};
            std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
            at += length;
            const char* const name = entry + offsetof(dirent64, d_name);
            if (*name < '1' || *name > '9') continue;
            if (const auto id = parseNumber<std::int32_t>(name)) ids.push_back(*id);
        }
    }
    if (size < 0) {
        close();
        ids.clear();
        return false;
    }
    // The kernel lists them so; another file system need not.
    std::sort(ids.begin(), ids.end());
    return true;
}

ssize_t ProcFolder::read(std::int64_t id, const char* name, char* buffer, std::size_t size) {
    if (!open()) return -1;
    const int file = openat(descriptor_, ProcPath(id, name).text(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return -1;
    const ssize_t got = ::read(file, buffer, size);
    const int error = errno;
    ::close(file);
    errno = error;
    return got;
}

bool ProcFolder::readOwner(std::int64_t id, uid_t& owner) {
    struct stat status {};
    if (!open() || fstatat(descriptor_, ProcPath(id, "").text(), &status, 0) != 0) return false;
    owner = status.st_uid;
    return true;
}

}  // namespace corvanta
