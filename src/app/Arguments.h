// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

namespace corvanta {

/// What the command line asks for.
struct Arguments {
    bool openCenter = false;      ///< open the main window at start
    std::optional<int> exitCode;  ///< the question is answered and the program ends with this code

    bool operator==(const Arguments&) const = default;
};

/// Reads the command line and answers "--help", "--version" and "--has-display" at once. What it does not
/// know it leaves to Qt.
Arguments readArguments(int argc, char** argv);

}  // namespace corvanta
