// SPDX-License-Identifier: Apache-2.0
#include "app/Arguments.h"

#include <cstdio>
#include <string_view>

#include "shell/linux/HostChoice.h"

namespace corvanta {
namespace {

constexpr const char* usage =
    "Usage: corvanta [--open-center]\n"
    "Shows this machine's load in the desktop's bar.\n"
    "  --open-center  open the main window\n"
    "  --has-display  only tell by the exit code whether there is a display to show it on\n"
    "  --version";

}  // namespace

Arguments readArguments(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--open-center") {
            arguments.openCenter = true;
        } else if (argument == "--has-display") {
            arguments.exitCode = hasDisplay() ? 0 : 1;
        } else if (argument == "--version") {
            std::puts("corvanta " CORVANTA_VERSION);
            arguments.exitCode = 0;
        } else if (argument == "--help") {
            std::puts(usage);
            arguments.exitCode = 0;
        }
    }
    return arguments;
}

}  // namespace corvanta
