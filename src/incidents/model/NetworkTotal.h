// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// Both directions together. A negative rate stands for an unknown one, so it never subtracts.
constexpr double networkTotal(double uploadSpeed, double downloadSpeed) {
    return (uploadSpeed > 0 ? uploadSpeed : 0) + (downloadSpeed > 0 ? downloadSpeed : 0);
}

}  // namespace corvanta
