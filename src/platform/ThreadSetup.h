// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvanta {

/// What a new worker thread does first to become a background thread of the system.
///
/// Owned by the platform for the program's life. Called on the thread itself. Failure is silent: the thread
/// then simply runs as it is. This base leaves threads as they are.
class ThreadSetup {
  public:
    virtual ~ThreadSetup() = default;

    /// Names the calling thread for the system's tools and lowers its priority.
    virtual void enterUtilityThread(const std::string& /*label*/) {}
};

}  // namespace corvanta
