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

/// What tells a process from a later one with the same id.
struct Identity {
    std::uint64_t startTicks = 0;
    std::string name;
};

std::optional<Identity> readIdentity(ProcFolder& folder, std::int64_t id) {
    std::array<char, longestStat> text;
    const ssize_t size = folder.read(id, "stat", text.data(), text.size());
    if (size < 0) return std::nullopt;
    const auto stat = parseProcessStat({text.data(), static_cast<std::size_t>(size)});
    if (!stat) return std::nullopt;
    return Identity{stat->startTicks, readProcessName(folder, id, stat->comm)};
}

bool isProcessID(std::int64_t id) {
    return id > 0 && id <= std::numeric_limits<std::int32_t>::max();
}

/// A process that could not be held.
class LostProcess final : public HeldProcess {
  public:
    LostProcess(std::int64_t id, std::string name, std::int32_t error)
        : id_(id), name_(std::move(name)), error_(error) {}

    std::int64_t id() const override { return id_; }
    const std::string& name() const override { return name_; }
    std::int32_t send(std::int32_t /*signal*/) override { return error_; }

  private:
    std::int64_t id_;
    std::string name_;
    std::int32_t error_;
};

class ProcessByDescriptor final : public HeldProcess {
  public:
    ProcessByDescriptor(std::int64_t id, std::string name, int descriptor)
        : id_(id), name_(std::move(name)), descriptor_(descriptor) {}
    ~ProcessByDescriptor() override { close(descriptor_); }

    std::int64_t id() const override { return id_; }
    const std::string& name() const override { return name_; }
    std::int32_t send(std::int32_t signal) override {
        return syscall(SYS_pidfd_send_signal, descriptor_, signal, nullptr, 0) == 0 ? 0 : errno;
    }

  private:
    std::int64_t id_;
    std::string name_;
    int descriptor_;
};

class ProcessByID final : public HeldProcess {
  public:
    ProcessByID(std::int64_t id, Identity identity, std::string procRoot)
        : id_(id), identity_(std::move(identity)), procRoot_(std::move(procRoot)) {}

    std::int64_t id() const override { return id_; }
    const std::string& name() const override { return identity_.name; }
    std::int32_t send(std::int32_t signal) override {
        ProcFolder folder(procRoot_);
        const auto now = readIdentity(folder, id_);
        if (!now || now->startTicks != identity_.startTicks || now->name != identity_.name) return ESRCH;
        return kill(static_cast<pid_t>(id_), signal) == 0 ? 0 : errno;
    }

  private:
    std::int64_t id_;
    Identity identity_;
    std::string procRoot_;
};

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
    if (!isProcessID(id)) return std::make_unique<LostProcess>(id, std::string(), ESRCH);
    const int descriptor = openProcess_(static_cast<std::int32_t>(id));
    const int error = errno;
    // Read after the descriptor was made: should the id have changed hands since, the descriptor's process
    // has ended, and takes no signal.
    ProcFolder folder(procRoot_);
    auto identity = readIdentity(folder, id);
    std::string name = identity ? identity->name : std::string();
    if (descriptor >= 0) return std::make_unique<ProcessByDescriptor>(id, std::move(name), descriptor);
    if (error == ENOSYS && identity)
        return std::make_unique<ProcessByID>(id, std::move(*identity), procRoot_);
    return std::make_unique<LostProcess>(id, std::move(name), error == ENOSYS ? ESRCH : error);
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
