// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxProcessSignaller.h"

#include <pwd.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "core/NumberText.h"
#include "platform/linux/ProcFolder.h"
#include "platform/linux/ProcLister.h"
#include "platform/linux/ProcessStat.h"

namespace corvanta {
namespace {

constexpr std::size_t longestStat = 2048;
constexpr std::size_t longestUserEntry = std::size_t{1} << 20;

/// What tells a process from a later one with the same id, and from another program in it.
struct Identity {
    std::uint64_t startTicks = 0;
    std::string comm;

    bool operator==(const Identity&) const = default;
};

std::optional<Identity> readIdentity(ProcFolder& folder, std::int64_t id) {
    std::array<char, longestStat> text;
    const ssize_t size = folder.read(id, "stat", text.data(), text.size());
    if (size < 0) return std::nullopt;
    const auto stat = parseProcessStat({text.data(), static_cast<std::size_t>(size)});
    if (!stat) return std::nullopt;
    return Identity{stat->startTicks, std::string(stat->comm)};
}

bool isProcessID(std::int64_t id) {
    return id > 0 && id <= std::numeric_limits<std::int32_t>::max();
}

/// The id and the names of a held process, and nothing to send a signal by.
class NamedProcess : public HeldProcess {
  public:
    struct Names {
        std::string name;
        std::string cutName;
    };
    NamedProcess(std::int64_t id, Names names) : id_(id), names_(std::move(names)) {}

    std::int64_t id() const final { return id_; }
    const std::string& name() const final { return names_.name; }
    const std::string& cutName() const final { return names_.cutName; }

  private:
    const std::int64_t id_;
    const Names names_;
};

/// A process that could not be held.
class LostProcess final : public NamedProcess {
  public:
    LostProcess(std::int64_t id, Names names, std::int32_t error)
        : NamedProcess(id, std::move(names)), error_(error) {}

    std::int32_t send(std::int32_t /*signal*/) override { return error_; }

  private:
    const std::int32_t error_;
};

class ProcessByDescriptor final : public NamedProcess {
  public:
    ProcessByDescriptor(std::int64_t id, Names names, int descriptor)
        : NamedProcess(id, std::move(names)), descriptor_(descriptor) {}
    ~ProcessByDescriptor() override { close(descriptor_); }

    std::int32_t send(std::int32_t signal) override {
        return syscall(SYS_pidfd_send_signal, descriptor_, signal, nullptr, 0) == 0 ? 0 : errno;
    }

  private:
    const int descriptor_;
};

class ProcessByID final : public NamedProcess {
  public:
    ProcessByID(std::int64_t id, Names names, Identity identity, std::string procRoot)
        : NamedProcess(id, std::move(names)),
          identity_(std::move(identity)),
          procRoot_(std::move(procRoot)) {}

    std::int32_t send(std::int32_t signal) override {
        ProcFolder folder(procRoot_);
        if (readIdentity(folder, id()) != identity_) return ESRCH;
        return kill(static_cast<pid_t>(id()), signal) == 0 ? 0 : errno;
    }

  private:
    const Identity identity_;
    const std::string procRoot_;
};

NamedProcess::Names readNames(ProcFolder& folder, std::int64_t id, std::string_view comm) {
    return {.name = readProcessName(folder, id, comm),
            .cutName = mayBeCut(comm) ? tidyName(comm) : std::string()};
}

std::string userName(uid_t user) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(1024);
    while (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < longestUserEntry) {
        buffer.resize(2 * buffer.size());
    }
    return found == nullptr ? integerText(user) : found->pw_name;
}

double secondsSinceBoot() {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

int openProcess(std::int32_t id) {
    return static_cast<int>(syscall(SYS_pidfd_open, id, 0));
}

LinuxProcessSignaller::LinuxProcessSignaller(std::string procRoot, OpenProcess openProcess)
    : procRoot_(std::move(procRoot)), openProcess_(std::move(openProcess)) {}

std::int64_t LinuxProcessSignaller::ownProcessID() const {
    return getpid();
}

std::unique_ptr<HeldProcess> LinuxProcessSignaller::hold(std::int64_t id) {
    if (!isProcessID(id)) return std::make_unique<LostProcess>(id, NamedProcess::Names(), ESRCH);
    const int descriptor = openProcess_(static_cast<std::int32_t>(id));
    const int error = errno;
    // Read after the descriptor was made: should the id have changed hands since, the descriptor's process
    // has ended, and takes no signal.
    ProcFolder folder(procRoot_);
    auto identity = readIdentity(folder, id);
    auto names = identity ? readNames(folder, id, identity->comm) : NamedProcess::Names();
    if (descriptor >= 0) return std::make_unique<ProcessByDescriptor>(id, std::move(names), descriptor);
    if (error == ENOSYS && identity)
        return std::make_unique<ProcessByID>(id, std::move(names), std::move(*identity), procRoot_);
    return std::make_unique<LostProcess>(id, std::move(names), error == ENOSYS ? ESRCH : error);
}

std::optional<ProcessFacts> LinuxProcessSignaller::facts(std::int64_t id) {
    if (!isProcessID(id)) return std::nullopt;
    ProcFolder folder(procRoot_);
    const auto identity = readIdentity(folder, id);
    uid_t owner = 0;
    if (!identity || !folder.readOwner(id, owner)) return std::nullopt;
    const double started =
        static_cast<double>(identity->startTicks) / static_cast<double>(std::max(1L, sysconf(_SC_CLK_TCK)));
    return ProcessFacts{userName(owner), std::max(0.0, secondsSinceBoot() - started)};
}

}  // namespace corvanta
