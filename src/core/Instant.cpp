// SPDX-License-Identifier: Apache-2.0
#include "core/Instant.h"

#include "core/Saturate.h"

namespace corvanta {

std::int64_t storedSeconds(Instant instant) {
    return saturatedInt64(secondsSince1970(instant));
}

}  // namespace corvanta
