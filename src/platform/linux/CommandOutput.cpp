// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/CommandOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/LinuxProcessSignaller.h"

namespace corvanta {
namespace {

using Moment = std::chrono::steady_clock::time_point;

constexpr std::size_t pieceSize = std::size_t{64} * 1024;
// How often to look for the end of a program where the kernel can't tell of it.
constexpr auto lookInterval = std::chrono::milliseconds(100);

class SpawnActions {
  public:
    SpawnActions() {
        posix_spawn_file_actions_init(&files_);
        posix_spawnattr_init(&attributes_);
    }
    ~SpawnActions() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&files_);
    }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    bool prepare(int output) {
        // The output comes first: its descriptor may have one of the numbers that the others take.
        bool isDone =
            posix_spawn_file_actions_adddup2(&files_, output, STDOUT_FILENO) == 0 &&
            posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
            posix_spawn_file_actions_addopen(&files_, STDERR_FILENO, "/dev/null", O_WRONLY, 0) == 0 &&
            posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1) == 0;
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        constexpr int flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        isDone = isDone && posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
                 posix_spawnattr_setsigdefault(&attributes_, &all) == 0 &&
                 posix_spawnattr_setpgroup(&attributes_, 0) == 0 &&
                 posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)) == 0;
        return isDone;
    }

    std::optional<pid_t> start(const std::string& path, const std::vector<std::string>& arguments) {
        std::vector<std::string> words{path};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        pid_t id = -1;
        if (posix_spawn(&id, path.c_str(), &files_, &attributes_, pointers.data(), environ) != 0)
            return std::nullopt;
        return id;
    }

  private:
    posix_spawn_file_actions_t files_;
    posix_spawnattr_t attributes_;
};

/// The leader of a process group, killed with the group and collected at the end of the scope.
class Child {
  public:
    explicit Child(pid_t id) : id_(id), handle_(openProcess(id)) {}
    ~Child() { collect(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Becomes readable when the child has ended; -1 where the kernel has no such thing.
    int handle() const { return handle_.number(); }

    bool hasEnded() const {
        siginfo_t info{};
        return !isOurs(info) || info.si_pid == id_;
    }

    /// Its exit status, if it ended by itself.
    std::optional<int> collect() {
        if (id_ < 0) return std::nullopt;
        // Until it is collected the id is its own, and no other group has it. A program whose child signals
        // are ignored has its children collected by the kernel.
        siginfo_t info{};
        if (isOurs(info)) kill(-id_, SIGKILL);
        int status = 0;
        pid_t collected = -1;
        do {
            collected = waitpid(id_, &status, 0);
        } while (collected < 0 && errno == EINTR);
        const pid_t id = std::exchange(id_, -1);
        if (collected != id || !WIFEXITED(status)) return std::nullopt;
        return WEXITSTATUS(status);
    }

  private:
    bool isOurs(siginfo_t& info) const {
        return waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
    }

    pid_t id_;
    Descriptor handle_;
};

/// Reads what is there without waiting. False when it is more than is taken.
bool drain(Descriptor& pipe, std::string& output) {
    while (pipe.number() >= 0) {
        const std::size_t length = output.size();
        output.resize(length + pieceSize);
        const ssize_t got = read(pipe.number(), output.data() + length, pieceSize);
        const int error = errno;
        output.resize(length + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (output.size() > mostCommandOutput) return false;
        if (got < 0 && error == EAGAIN) return true;
        if (got == 0 || (got < 0 && error != EINTR)) pipe.reset();
    }
    return true;
}

/// Waits for any of the three, or until the deadline.
void await(int output, int child, int stop, Moment deadline) {
    std::array<pollfd, 3> waits{pollfd{output, POLLIN, 0}, pollfd{child, POLLIN, 0}, pollfd{stop, POLLIN, 0}};
    // Rounded up, so that the last wait is not followed by many of no length.
    auto time = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (child < 0) time = std::min<std::chrono::milliseconds>(time, lookInterval);
    constexpr std::chrono::milliseconds longest = std::chrono::hours(1);
    poll(waits.data(), waits.size(), static_cast<int>(std::clamp(time, {}, longest).count()));
}

bool isExecutableFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::optional<CommandOutput> runCommand(const std::string& path, const std::vector<std::string>& arguments,
                                        Moment deadline, const std::stop_token& stop) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
    Descriptor output(ends[0]);
    Descriptor input(ends[1]);
    const Descriptor stopSignal(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    // Only our end: the child would stumble over a pipe that doesn't wait.
    if (fcntl(output.number(), F_SETFL, O_NONBLOCK) != 0 || stopSignal.number() < 0) return std::nullopt;
    const std::stop_callback tellStop(stop, [&] { eventfd_write(stopSignal.number(), 1); });

    SpawnActions actions;
    if (!actions.prepare(input.number())) return std::nullopt;
    const auto id = actions.start(path, arguments);
    if (!id) return std::nullopt;
    Child child(*id);
    input.reset();

    CommandOutput result;
    while (!stop.stop_requested() && std::chrono::steady_clock::now() < deadline) {
        // Asked before the output is drained: what the child wrote is then in the pipe.
        const bool hasEnded = child.hasEnded();
        if (!drain(output, result.output)) return std::nullopt;
        if (hasEnded) {
            const auto status = child.collect();
            if (!status) return std::nullopt;
            result.exitStatus = *status;
            return result;
        }
        await(output.number(), child.handle(), stopSignal.number(), deadline);
    }
    return std::nullopt;
}

std::optional<std::string> findProgram(std::string_view name, std::string_view searchPath) {
    while (!searchPath.empty()) {
        const std::string_view folder = searchPath.substr(0, searchPath.find(':'));
        searchPath.remove_prefix(std::min(searchPath.size(), folder.size() + 1));
        if (folder.substr(0, 1) != "/") continue;
        std::string path = std::string(folder) + '/' + std::string(name);
        if (isExecutableFile(path)) return path;
    }
    return std::nullopt;
}

}  // namespace corvanta
