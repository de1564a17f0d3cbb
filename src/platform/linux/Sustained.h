// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

namespace corvanta {

/// Whether something has been so for 10 s without a break.
///
/// A value; no clock of its own. Moments are seconds on any one clock.
class Sustained {
  public:
    bool feed(double moment, bool isSo) {
        if (!isSo) {
            since_.reset();
            return false;
        }
        if (!since_) since_ = moment;
        return moment - *since_ >= duration;
    }

  private:
    static constexpr double duration = 10;

    std::optional<double> since_;
};

}  // namespace corvanta
