// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "platform/MachineFacts.h"

namespace corvanta {

/// The machine as firmware, device tree, kernel and distribution describe it.
///
/// Owned by the platform. Immutable; any thread.
class LinuxMachineFacts final : public MachineFacts {
  public:
    /// `root` is where /etc and /usr are.
    LinuxMachineFacts(std::string procRoot, std::string sysRoot, std::string root);

    MachineDescription describe() const override;

  private:
    std::string name() const;
    std::string hardwareModel() const;
    std::string processorBrand() const;
    std::string systemVersion() const;
    void countProcessors(MachineDescription& machine) const;
    /// A text of the firmware, which only PCs have.
    std::string firmwareText(const char* name) const;

    std::string procRoot_;
    std::string sysRoot_;
    std::string root_;
};

}  // namespace corvanta
