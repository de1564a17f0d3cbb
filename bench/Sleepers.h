// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

/// Processes that sleep until this object ends.
class Sleepers {
  public:
    explicit Sleepers(int count) {
        for (int i = 0; i < count; ++i) {
            const pid_t id = fork();
            if (id == 0) {
                while (true) pause();
            }
            if (id < 0) {
                std::perror("fork");
                stop();
                std::exit(1);
            }
            ids_.push_back(id);
        }
    }
    ~Sleepers() { stop(); }
    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;

  private:
    void stop() {
        for (const pid_t id : ids_) kill(id, SIGKILL);
        for (const pid_t id : ids_) waitpid(id, nullptr, 0);
        ids_.clear();
    }

    std::vector<pid_t> ids_;
};
