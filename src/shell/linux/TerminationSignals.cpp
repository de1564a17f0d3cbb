// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/TerminationSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "core/Log.h"

namespace corvanta {
namespace {

// What the handler, which may interrupt anything, writes to.
std::atomic<int> handlerDescriptor = -1;
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void wakeMainThread(int) {
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then the main thread is being woken already.
    [[maybe_unused]] const ssize_t written = ::write(handlerDescriptor, &one, sizeof one);
    errno = savedErrno;
}

}  // namespace

TerminationSignals::TerminationSignals()
    : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), notifier_(descriptor_, QSocketNotifier::Read) {
    if (descriptor_ < 0) {
        logLine("Shell: cannot watch for termination signals");
        return;
    }
    connect(&notifier_, &QSocketNotifier::activated, this, [this] {
        std::uint64_t count = 0;
        if (::read(descriptor_, &count, sizeof count) == sizeof count) Q_EMIT terminationRequested();
    });
    handlerDescriptor = descriptor_;
    for (Former& former : former_) {
        struct sigaction action {};
        action.sa_handler = wakeMainThread;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        ::sigaction(former.number, &action, &former.action);
        // Whoever started the program so wants it to outlive the terminal.
        if (former.number == SIGHUP && former.action.sa_handler == SIG_IGN) {
            ::sigaction(former.number, &former.action, nullptr);
        }
    }
}

TerminationSignals::~TerminationSignals() {
    if (descriptor_ < 0) return;
    for (const Former& former : former_) ::sigaction(former.number, &former.action, nullptr);
    handlerDescriptor = -1;
    notifier_.setEnabled(false);
    ::close(descriptor_);
}

}  // namespace corvanta
