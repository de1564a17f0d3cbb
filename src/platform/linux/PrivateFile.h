// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvanta {

/// From now on, every file and folder that this process makes is for its user alone, whoever makes it.
void keepNewFilesPrivate();

/// Writes a small file that only the user may read (mode 0600), with the folders that it needs (mode 0700).
/// The file is replaced as a whole: a reader, or a machine that stops, sees the old content or the new one.
///
/// Returns nothing on success, and otherwise the reason; the old file is then as it was.
std::optional<std::string> writePrivateFile(const std::string& path, std::string_view content);

}  // namespace corvanta
