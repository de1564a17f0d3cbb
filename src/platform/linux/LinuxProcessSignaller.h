// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/ProcessSignaller.h"

namespace corvanta {

/// Makes a descriptor that stands for a running process. Negative with errno where there is none.
int openProcess(std::int32_t id);

/// Holds processes by a descriptor that the kernel gives for them. A kernel without such descriptors has
/// signals sent by the id, after a last look at whether the process that has it started when the held one
/// did.
///
/// Owned by the platform. Any thread; immutable.
class LinuxProcessSignaller final : public ProcessSignaller {
  public:
    using OpenProcess = std::function<int(std::int32_t id)>;

    /// A held process closes what `openProcess` gives; another one is for tests only.
    explicit LinuxProcessSignaller(std::string procRoot, OpenProcess openProcess = corvanta::openProcess);

    std::int64_t ownProcessID() const override;
    std::unique_ptr<HeldProcess> hold(std::int64_t id) override;
    std::optional<ProcessFacts> facts(std::int64_t id) override;

  private:
    std::string procRoot_;
    OpenProcess openProcess_;
};

}  // namespace corvanta
