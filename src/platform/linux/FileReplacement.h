// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvanta {

/// Who may use a file that was replaced.
enum class FileAudience {
    asBefore,  ///< the same as before; for a new file whom the umask lets
    owner,     ///< nobody but its owner: mode 0600
};

/// Replaces a file as a whole: a reader, or a machine that stops, sees the old content or the new one. A link
/// stays, and what it leads to is replaced. The folder has to be there.
///
/// Returns nothing on success, and otherwise the reason; the old file is then as it was, and nothing is left
/// beside it; only a program that is killed meanwhile leaves a hidden file. Only a regular file that may be
/// written is ever replaced.
std::optional<std::string> replaceFile(const std::string& path, std::string_view content,
                                       FileAudience audience);

/// Writes a file that the user asked for, where the user asked for it; see `replaceFile`.
///
/// Returns nothing on success, and otherwise a sentence that tells the user why not.
std::optional<std::string> saveFile(const std::string& path, std::string_view content);

}  // namespace corvanta
