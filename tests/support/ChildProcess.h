// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvanta::test {

/// A process of the test's own. Killed and collected at the end, if it has not been before.
class ChildProcess {
  public:
    /// Runs `work` in the child, and returns once that is done; the child then sleeps for ever.
    template <class Work>
    static ChildProcess sleeping(Work work) {
        int ready[2];
        if (pipe(ready) != 0) return ChildProcess(-1);
        const pid_t id = fork();
        if (id == 0) {
            work();
            const bool told = write(ready[1], "", 1) == 1;
            while (told) pause();
            _exit(1);
        }
        close(ready[1]);
        char byte;
        const bool isReady = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        return ChildProcess(isReady ? id : -1);
    }
    static ChildProcess sleeping() {
        return sleeping([] {});
    }

    /// Runs a program, whose standard input never ends and never gives anything. It may not have started yet
    /// on return.
    static ChildProcess program(const std::string& path, std::vector<std::string> arguments) {
        int input[2];
        if (pipe(input) != 0) return ChildProcess(-1);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        const pid_t id = fork();
        if (id == 0) {
            dup2(input[0], STDIN_FILENO);
            close(input[0]);
            execv(path.c_str(), pointers.data());  // with the writing end, so that the input does not end
            _exit(127);
        }
        close(input[0]);
        close(input[1]);
        return ChildProcess(id);
    }

    ~ChildProcess() {
        if (id_ <= 0) return;
        kill(id_, SIGKILL);
        collect();
    }
    ChildProcess(ChildProcess&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
    ChildProcess& operator=(ChildProcess&&) = delete;

    /// Above 0 when it could be started.
    pid_t id() const { return id_; }

    /// Waits for its end, after which the id is free. The signal that ended it, if it was one.
    std::optional<int> collect() {
        int status = 0;
        const pid_t id = std::exchange(id_, -1);
        if (waitpid(id, &status, 0) != id || !WIFSIGNALED(status)) return std::nullopt;
        return WTERMSIG(status);
    }

    bool isRunning() const {
        siginfo_t info{};
        return id_ > 0 && waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }

  private:
    explicit ChildProcess(pid_t id) : id_(id) {}

    pid_t id_;
};

}  // namespace corvanta::test
