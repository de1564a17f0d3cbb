// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "core/NumberText.h"

namespace corvanta {

/// The name that a process is shown by, of its id and of what the system calls it.
inline std::string shownProcessName(std::int64_t id, const std::string& systemName) {
    if (id == 0) return "kernel_task";
    return systemName.empty() ? "pid-" + integerText(id) : systemName;
}

}  // namespace corvanta
