// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PsiPressureSource.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "core/Log.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/PressureWatch.h"

namespace corvanta {
namespace {

constexpr int calmPollMilliseconds = 10'000;
constexpr int watchfulPollMilliseconds = 2'000;

// 0.2 s of stalls in 2 s; the kernel grants windows of whole 2 s to everybody.
constexpr std::string_view trigger = "some 200000 2000000";

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

class PsiSubscription final : public Subscription {
  public:
    /// Closes both descriptors at its end. Throws std::system_error where there is no thread to be had.
    PsiSubscription(const std::string& procRoot, ThreadSetup& threadSetup, const std::string& label,
                    int triggerNumber, int wakeUpNumber, std::function<void(MemoryPressureEvents)> handler)
        : handler_(std::move(handler)), watch_(procRoot), trigger_(triggerNumber), wakeUp_(wakeUpNumber) {
        thread_ = std::thread([this, &threadSetup, label] {
            threadSetup.enterUtilityThread(label);
            run();
        });
    }

    ~PsiSubscription() override {
        const std::uint64_t one = 1;
        while (write(wakeUp_.number(), &one, sizeof one) < 0 && errno == EINTR) {
        }
        thread_.join();
    }

  private:
    void run() {
        look();
        while (true) {
            std::array<pollfd, 2> descriptors = {
                {{wakeUp_.number(), POLLIN, 0}, {trigger_.number(), POLLPRI, 0}}};
            const bool isWatchful = trigger_.number() < 0 || watch_.level() != MemoryPressureEvents::normal;
            poll(descriptors.data(), descriptors.size(),
                 isWatchful ? watchfulPollMilliseconds : calmPollMilliseconds);
            if (descriptors[0].revents != 0) return;
            if ((descriptors[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) trigger_.reset();
            look();
        }
    }

    void look() {
        if (const auto event = watch_.look(monotonicSeconds())) handler_(*event);
    }

    std::function<void(MemoryPressureEvents)> handler_;
    PressureWatch watch_;
    Descriptor trigger_;
    Descriptor wakeUp_;
    std::thread thread_;
};

}  // namespace

int openPressureTrigger(const std::string& procRoot) {
    const int descriptor = open((procRoot + "/pressure/memory").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return -1;
    const std::string text(trigger);
    // The kernel wants the terminating NUL as well.
    if (write(descriptor, text.c_str(), text.size() + 1) < 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

PsiPressureSource::PsiPressureSource(std::string procRoot, ThreadSetup& threadSetup, OpenTrigger openTrigger)
    : procRoot_(std::move(procRoot)), threadSetup_(threadSetup), openTrigger_(std::move(openTrigger)) {}

std::unique_ptr<Subscription> PsiPressureSource::subscribe(
    const std::string& queueLabel, std::function<void(MemoryPressureEvents)> handler) {
    const auto refused = [](const std::string& reason) {
        logLine("Could not watch the memory pressure: " + reason);
        return nullptr;
    };
    const int wakeUp = eventfd(0, EFD_CLOEXEC);
    if (wakeUp < 0) return refused(std::generic_category().message(errno));
    try {
        return std::make_unique<PsiSubscription>(procRoot_, threadSetup_, queueLabel, openTrigger_(procRoot_),
                                                 wakeUp, std::move(handler));
    } catch (const std::system_error& error) {
        return refused(error.what());
    }
}

}  // namespace corvanta
