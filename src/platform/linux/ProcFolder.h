// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace corvanta {

/// The folder of the processes, /proc, through one descriptor.
///
/// Owned by one reader. One thread at a time. A folder that can't be opened is tried again at the next use.
class ProcFolder {
  public:
    explicit ProcFolder(std::string root);
    ~ProcFolder();
    ProcFolder(const ProcFolder&) = delete;
    ProcFolder& operator=(const ProcFolder&) = delete;

    /// Replaces `ids` by the processes' ids, ascending. False when the folder can't be read to its end.
    bool listIDs(std::vector<std::int32_t>& ids);

    /// One read of the file /proc/`id`/`name` from its start. The bytes read, or -1 with errno.
    ssize_t read(std::int64_t id, const char* name, char* buffer, std::size_t size);

    /// The owner of the folder /proc/`id`, which is that of the process even where its files belong to root.
    bool readOwner(std::int64_t id, uid_t& owner);

  private:
    bool open();
    void close();

    std::string root_;
    int descriptor_ = -1;
    std::vector<char> entries_;  // kept for its memory
};

}  // namespace corvanta
