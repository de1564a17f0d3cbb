// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <thread>

namespace corvanta {

/// Asserts, in debug builds, that an object is used on the thread that made it only.
class ThreadChecker {
  public:
    void check() const { assert(std::this_thread::get_id() == owner_); }

  private:
    const std::thread::id owner_ = std::this_thread::get_id();
};

}  // namespace corvanta
