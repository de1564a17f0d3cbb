// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessMonitor.h"

#include <algorithm>
#include <utility>

#include "monitoring/collectors/ProcessName.h"

namespace corvanta {

ProcessMonitor::ProcessMonitor(ProcessLister& lister, const Clock& clock, std::uint64_t physicalRAM)
    : lister_(lister),
      clock_(clock),
      physicalRAM_(static_cast<double>(physicalRAM)),
      ticksPerSecond_(lister.ticksPerSecond()),
      cachedProcesses_(std::make_shared<std::vector<ProcessDetail>>()) {}

ProcessList ProcessMonitor::getAllProcesses(bool forceRefresh, double nowUptime) {
    LockGuard guard(sampleLock_);
    if (!forceRefresh && !refreshGate_.shouldRefresh(nowUptime)) return cachedProcesses_;
    const double pollTime = clock_.systemUptime();
    if (!lister_.listProcesses(listedProcesses_) || listedProcesses_.empty()) return cachedProcesses_;

    const double elapsed = lastPollTime_ ? pollTime - *lastPollTime_ : 0;
    auto processes = std::make_shared<std::vector<ProcessDetail>>();
    processes->reserve(listedProcesses_.size());
    samples_.clear();
    auto before = previousSamples_.begin();
    for (const ListedProcess& listed : listedProcesses_) {
        ProcessDetail& detail = processes->emplace_back();
        detail.id = listed.id;
        detail.name = shownProcessName(listed.id, listed.name);
        detail.kind = listed.id == 0 ? "Kernel" : "User";
        if (!listed.usage) continue;

        detail.cpuTime = static_cast<double>(listed.usage->cpuTime) / ticksPerSecond_;
        detail.threads = static_cast<std::int64_t>(listed.usage->threads);
        detail.residentBytes = listed.usage->residentBytes;
        if (physicalRAM_ > 0) {
            detail.ramUsage = static_cast<double>(detail.residentBytes) / physicalRAM_ * 100;
        }
        samples_.push_back({listed.id, listed.usage->startTime, detail.cpuTime});

        while (before != previousSamples_.end() && before->id < listed.id) ++before;
        const bool isKnown = before != previousSamples_.end() && before->id == listed.id &&
                             before->startTime == listed.usage->startTime;
        if (isKnown && elapsed > 0) {
            detail.cpuUsage = std::max(0.0, detail.cpuTime - before->cpuTime) / elapsed * 100;
        }
    }
    previousSamples_.swap(samples_);
    lastPollTime_ = pollTime;
    cachedProcesses_ = std::move(processes);
    return cachedProcesses_;
}

}  // namespace corvanta
