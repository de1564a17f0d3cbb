// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ProcessLister.h"
#include "platform/linux/ProcFolder.h"
#include "platform/linux/ProcessStat.h"

namespace corvanta {

/// The processes in /proc, at one open, one read and one close for each.
///
/// Owned by the platform. One caller at a time. The kernel's threads are one entry, "kernel_task", whose
/// processor time never falls: it counts what ended threads have used as well. Without kernel threads in
/// sight, as inside a container, there is no such entry. A process that ends between the listing and its
/// reading is left out; one that may not be read is listed by its id alone. Where the program lacks
/// descriptors or memory, the whole list fails.
class ProcLister final : public ProcessLister {
  public:
    explicit ProcLister(std::string procRoot);

    bool listProcesses(std::vector<ListedProcess>& processes) override;
    double ticksPerSecond() const override { return ticksPerSecond_; }

  private:
    struct KernelThread {
        std::int32_t id = 0;
        std::uint64_t startTicks = 0;
        std::uint64_t cpuTicks = 0;
    };
    /// A name that may not have fit, as far as it was recovered. A process that starts another program keeps
    /// its id and its start, so the short name belongs to the key.
    struct LongName {
        std::int32_t id = 0;
        std::uint64_t startTicks = 0;
        std::string comm;
        std::string name;
        bool isSettled = false;  // asking again would not help
    };
    class Pass;

    const double ticksPerSecond_;
    const std::uint64_t pageSize_;
    ProcFolder folder_;
    std::vector<KernelThread> kernelThreads_;  // of the last list, by ascending id
    std::vector<LongName> longNames_;          // of the last list, by ascending id
    std::uint64_t kernelTicks_ = 0;
    std::vector<std::int32_t> ids_;  // kept for its memory
};

/// The name of a process in the form in which the list has it. Reads the process's arguments when the kernel
/// may have cut the name.
std::string readProcessName(ProcFolder& folder, std::int64_t id, std::string_view comm);

}  // namespace corvanta
