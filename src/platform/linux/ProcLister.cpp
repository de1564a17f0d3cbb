// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcLister.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <utility>

namespace corvanta {
namespace {

constexpr std::size_t longestStat = 2048;
constexpr std::size_t longestArguments = 8192;  // two paths of the greatest length
constexpr const char* kernelName = "kernel_task";

bool hasEnded(int error) {
    return error == ENOENT || error == ESRCH;
}

bool lacksResources(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

std::uint64_t saturatedProduct(std::uint64_t a, std::uint64_t b) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    return b != 0 && a > most / b ? most : a * b;
}

/// Looks entries up by rising ids.
template <class Entry>
class RisingSearch {
  public:
    explicit RisingSearch(std::vector<Entry>& entries) : at_(entries.begin()), end_(entries.end()) {}

    /// The entry of that process, unless a later process has taken over the id.
    Entry* find(std::int32_t id, std::uint64_t startTicks) {
        while (at_ != end_ && at_->id < id) ++at_;
        return at_ != end_ && at_->id == id && at_->startTicks == startTicks ? &*at_ : nullptr;
    }

  private:
    typename std::vector<Entry>::iterator at_;
    typename std::vector<Entry>::iterator end_;
};

}  // namespace

std::string readProcessName(ProcFolder& folder, std::int64_t id, std::string_view comm) {
    if (!mayBeCut(comm)) return tidyName(comm);
    std::array<char, longestArguments> arguments;
    const ssize_t size = folder.read(id, "cmdline", arguments.data(), arguments.size());
    const std::string_view text(arguments.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return tidyName(recoveredName(comm, text));
}

/// One listing: what it finds becomes the lister's only when it has come to its end.
class ProcLister::Pass {
  public:
    explicit Pass(ProcLister& lister)
        : lister_(lister),
          threadSearch_(lister.kernelThreads_),
          nameSearch_(lister.longNames_),
          kernelTicks_(lister.kernelTicks_) {
        kernelThreads_.reserve(lister.kernelThreads_.size());
        longNames_.reserve(lister.longNames_.size());
    }

    void addKernelThread(std::int32_t id, const ProcessStat& stat) {
        const KernelThread* const before = threadSearch_.find(id, stat.startTicks);
        const std::uint64_t counted = before == nullptr ? 0 : before->cpuTicks;
        if (stat.cpuTicks > counted) kernelTicks_ += stat.cpuTicks - counted;
        kernelThreads_.push_back({id, stat.startTicks, std::max(stat.cpuTicks, counted)});
        threads_ += stat.threads;
    }

    std::string name(std::int32_t id, const ProcessStat& stat) {
        if (!mayBeCut(stat.comm)) return tidyName(stat.comm);
        LongName* const before = nameSearch_.find(id, stat.startTicks);
        const bool isSeen = before != nullptr && before->comm == stat.comm;
        if (isSeen && before->isSettled) {
            longNames_.push_back(*before);
            return before->name;
        }
        std::string name = readProcessName(lister_.folder_, id, stat.comm);
        // A program that is just being started has its short name before its arguments: ask once more, and
        // no more, as the kernel may make the reader of arguments wait.
        const bool isSettled = isSeen || name != tidyName(stat.comm);
        longNames_.push_back({id, stat.startTicks, std::string(stat.comm), name, isSettled});
        return name;
    }

    bool sawKernel() const { return !kernelThreads_.empty(); }
    ProcessUsage kernelUsage() const { return {.cpuTime = kernelTicks_, .threads = threads_}; }

    void commit() {
        lister_.kernelThreads_ = std::move(kernelThreads_);
        lister_.longNames_ = std::move(longNames_);
        lister_.kernelTicks_ = kernelTicks_;
    }

  private:
    ProcLister& lister_;
    RisingSearch<KernelThread> threadSearch_;
    RisingSearch<LongName> nameSearch_;
    std::vector<KernelThread> kernelThreads_;
    std::vector<LongName> longNames_;
    std::uint64_t kernelTicks_;
    std::uint64_t threads_ = 0;
};

ProcLister::ProcLister(std::string procRoot)
    : ticksPerSecond_(static_cast<double>(std::max(1L, sysconf(_SC_CLK_TCK)))),
      pageSize_(static_cast<std::uint64_t>(std::max(1L, sysconf(_SC_PAGESIZE)))),
      folder_(std::move(procRoot)) {}

bool ProcLister::listProcesses(std::vector<ListedProcess>& processes) {
    processes.clear();
    if (!folder_.listIDs(ids_)) return false;
    Pass pass(*this);
    processes.reserve(ids_.size() + 1);
    processes.push_back({.id = 0, .name = kernelName, .usage = {}});
    std::array<char, longestStat> text;
    for (const std::int32_t id : ids_) {
        const ssize_t size = folder_.read(id, "stat", text.data(), text.size());
        if (size < 0 && lacksResources(errno)) {
            processes.clear();
            return false;
        }
        if (size < 0 && hasEnded(errno)) continue;
        const auto stat =
            size < 0 ? std::nullopt : parseProcessStat({text.data(), static_cast<std::size_t>(size)});
        if (!stat) {
            processes.push_back({.id = id, .name = {}, .usage = {}});
        } else if (stat->isKernelThread) {
            pass.addKernelThread(id, *stat);
        } else {
            processes.push_back(
                {.id = id,
                 .name = pass.name(id, *stat),
                 .usage = ProcessUsage{.cpuTime = stat->cpuTicks,
                                       .threads = stat->threads,
                                       .residentBytes = saturatedProduct(stat->residentPages, pageSize_),
                                       .startTime = stat->startTicks}});
        }
    }
    if (pass.sawKernel()) {
        processes.front().usage = pass.kernelUsage();
    } else {
        processes.erase(processes.begin());
    }
    pass.commit();
    return true;
}

}  // namespace corvanta
