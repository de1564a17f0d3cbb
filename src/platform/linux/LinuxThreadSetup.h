// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/ThreadSetup.h"

namespace corvanta {

/// Names threads for top and ps, and gives them a nice value of 10. Any thread.
class LinuxThreadSetup final : public ThreadSetup {
  public:
    void enterUtilityThread(const std::string& label) override;
};

}  // namespace corvanta
