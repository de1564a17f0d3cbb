// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/FileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>
#include <tuple>
#include <utility>

#include "core/NumberText.h"
#include "platform/linux/Descriptor.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t whomTheUmaskLets = ownerOnly | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

std::string reason(int error) {
    return std::generic_category().message(error);
}

/// Where a chain of links ends, whether there is anything or not; absent when it goes round.
std::optional<fs::path> endOfLinks(fs::path path) {
    constexpr int longestChain = 40;
    for (int i = 0; i < longestChain; ++i) {
        std::error_code isNoLink;
        const fs::path next = fs::read_symlink(path, isNoLink);
        if (isNoLink) return path;
        path = path.parent_path() / next;
    }
    return std::nullopt;
}

/// A file that is being written. It is removed again unless it has taken another's place. Each step is false
/// when it failed, with the reason in errno.
class UnfinishedFile {
  public:
    UnfinishedFile(const fs::path& folder, mode_t mode)
        : path_(folder / freeName()),
          file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) {}
    ~UnfinishedFile() {
        if (isOpen() && !isInPlace_) ::unlink(path_.c_str());
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    bool isOpen() const { return file_.number() >= 0; }

    bool write(std::string_view content) const {
        while (!content.empty()) {
            const ssize_t count = ::write(file_.number(), content.data(), content.size());
            if (count < 0 && errno != EINTR) return false;
            if (count > 0) content.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    bool letIn(const struct stat& those) const {
        // To give a file away is root's alone; for anybody else it stays with the one who saves it, and with
        // the old group if that is one of theirs. What ran with the old owner's rights then does so no more.
        const bool isTheirs = ::fchown(file_.number(), those.st_uid, those.st_gid) == 0;
        if (!isTheirs) std::ignore = ::fchown(file_.number(), static_cast<uid_t>(-1), those.st_gid);
        return ::fchmod(file_.number(), those.st_mode & (isTheirs ? 07777U : 0777U)) == 0;
    }

    /// All errors of writing have shown by then. A file system may have nothing to flush.
    bool flush() const { return ::fsync(file_.number()) == 0 || errno == EINVAL; }

    bool takePlaceOf(const fs::path& target) {
        isInPlace_ = std::rename(path_.c_str(), target.c_str()) == 0;
        return isInPlace_;
    }

  private:
    // The target's own name with something added could be too long.
    static std::string freeName() {
        std::random_device random;
        return ".corvanta-" + integerText(random()) + "-" + integerText(random());
    }

    const fs::path path_;
    const Descriptor file_;
    bool isInPlace_ = false;
};

}  // namespace

std::optional<std::string> replaceFile(const std::string& path, std::string_view content,
                                       FileAudience audience) {
    const auto target = endOfLinks(path);
    if (!target) return reason(ELOOP);
    struct stat old {};
    const bool exists = ::stat(target->c_str(), &old) == 0;
    if (exists && S_ISDIR(old.st_mode)) return reason(EISDIR);
    if (exists && !S_ISREG(old.st_mode)) return "it is not a regular file";
    // A rename needs no leave of the file that it replaces.
    if (exists && ::faccessat(AT_FDCWD, target->c_str(), W_OK, AT_EACCESS) != 0) return reason(errno);

    const bool isForAnybody = audience == FileAudience::asBefore && !exists;
    UnfinishedFile file(target->parent_path(), isForAnybody ? whomTheUmaskLets : ownerOnly);
    if (file.isOpen() && file.write(content) &&
        (audience == FileAudience::owner || !exists || file.letIn(old)) && file.flush() &&
        file.takePlaceOf(*target)) {
        return std::nullopt;
    }
    return reason(errno);
}

std::optional<std::string> saveFile(const std::string& path, std::string_view content) {
    const auto failure = replaceFile(path, content, FileAudience::asBefore);
    if (!failure) return std::nullopt;
    return "Could not write " + path + ": " + *failure + ".";
}

}  // namespace corvanta
