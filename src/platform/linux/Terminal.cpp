// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Terminal.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <ctime>
#include <initializer_list>

namespace corvanta {
namespace {

sigset_t interruptions() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, number);
    return set;
}

}  // namespace

bool standardOutputIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

InterruptWait::InterruptWait() {
    const sigset_t set = interruptions();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool InterruptWait::wait(double seconds) const {
    const sigset_t set = interruptions();
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
    // A signal outside the set only ends the call early; the whole wait then starts again, which is short
    // enough.
    int result = 0;
    do {
        result = sigtimedwait(&set, nullptr, &time);
    } while (result < 0 && errno == EINTR);
    return result < 0;
}

}  // namespace corvanta
