// SPDX-License-Identifier: Apache-2.0
#include "core/Clock.h"

namespace corvanta {

Instant SystemClock::now() const {
    return std::chrono::time_point_cast<Instant::duration>(std::chrono::system_clock::now());
}

double SystemClock::systemUptime() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace corvanta
