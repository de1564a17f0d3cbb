// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/CPUMonitor.h"

namespace corvanta {
namespace {

double growth(std::uint64_t now, std::uint64_t before) {
    return now > before ? static_cast<double>(now - before) : 0.0;
}

}  // namespace

CPUMonitor::CPUMonitor(CpuTickSource& source) : source_(source) {}

double CPUMonitor::getCPUUsage() {
    LockGuard guard(sampleLock_);
    if (!source_.readTicks(current_) || current_.empty()) return 0.0;

    double busy = 0;
    double total = 0;
    auto before = previous_.begin();
    for (const CpuTicks& now : current_) {
        while (before != previous_.end() && before->cpu < now.cpu) ++before;
        if (before == previous_.end()) break;
        if (before->cpu != now.cpu) continue;
        const double cpuBusy = growth(now.user, before->user) + growth(now.system, before->system) +
                               growth(now.nice, before->nice);
        busy += cpuBusy;
        total += cpuBusy + growth(now.idle, before->idle);
    }
    previous_.swap(current_);
    return total > 0 ? busy / total * 100 : 0.0;
}

}  // namespace corvanta
