// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PsiPressureSource.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/linux/KernelFile.h"
#include "platform/linux/PressureClassifier.h"

namespace corvanta {
namespace {

constexpr std::size_t mostText = std::size_t{64} * 1024;
constexpr int calmPollMilliseconds = 10'000;
constexpr int watchfulPollMilliseconds = 2'000;

// 0.2 s of stalls in 2 s; the kernel grants windows of whole 2 s to everybody.
constexpr std::string_view trigger = "some 200000 2000000";

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int openTrigger(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return -1;
    const std::string text(trigger);
    // The kernel wants the terminating NUL as well.
    if (write(descriptor, text.c_str(), text.size() + 1) < 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

class PsiSubscription final : public Subscription {
  public:
    PsiSubscription(const std::string& procRoot, ThreadSetup& threadSetup, const std::string& label,
                    std::function<void(MemoryPressureEvents)> handler)
        : handler_(std::move(handler)),
          pressure_(procRoot + "/pressure/memory"),
          memInfo_(procRoot + "/meminfo"),
          vmStat_(procRoot + "/vmstat"),
          trigger_(openTrigger(pressure_.path())),
          wakeUp_(eventfd(0, EFD_CLOEXEC)) {
        thread_ = std::thread([this, &threadSetup, label] {
            threadSetup.enterUtilityThread(label);
            run();
        });
    }

    ~PsiSubscription() override {
        const std::uint64_t one = 1;
        while (write(wakeUp_, &one, sizeof one) < 0 && errno == EINTR) {
        }
        thread_.join();
        if (trigger_ >= 0) close(trigger_);
        close(wakeUp_);
    }

  private:
    void run() {
        look();
        while (true) {
            std::array<pollfd, 2> descriptors = {{{wakeUp_, POLLIN, 0}, {trigger_, POLLPRI, 0}}};
            const bool isWatchful = trigger_ < 0 || classifier_.level() != MemoryPressureEvents::normal;
            poll(descriptors.data(), descriptors.size(),
                 isWatchful ? watchfulPollMilliseconds : calmPollMilliseconds);
            if (descriptors[0].revents != 0) return;
            if ((descriptors[1].revents & (POLLERR | POLLNVAL)) != 0) {
                close(trigger_);
                trigger_ = -1;
            }
            look();
        }
    }

    void look() {
        const auto infoText = memInfo_.read(mostText);
        if (!infoText) return;
        const MemInfo info = parseMemInfo(*infoText);
        const auto pressureText = pressure_.read(mostText);
        const auto totals = pressureText ? parsePressure(*pressureText) : std::nullopt;
        std::optional<std::uint64_t> swapInPages;
        if (!totals) {
            if (const auto text = vmStat_.read(mostText)) swapInPages = parseSwapInPages(*text);
        }
        const double now = monotonicSeconds();
        if (const auto event = classifier_.feed(now, window_.feed(now, info, totals, swapInPages)))
            handler_(*event);
    }

    std::function<void(MemoryPressureEvents)> handler_;
    KernelFile pressure_;
    KernelFile memInfo_;
    KernelFile vmStat_;
    int trigger_;
    int wakeUp_;
    PressureWindow window_;
    PressureClassifier classifier_;
    std::thread thread_;
};

}  // namespace

PsiPressureSource::PsiPressureSource(std::string procRoot, ThreadSetup& threadSetup)
    : procRoot_(std::move(procRoot)), threadSetup_(threadSetup) {}

std::unique_ptr<Subscription> PsiPressureSource::subscribe(
    const std::string& queueLabel, std::function<void(MemoryPressureEvents)> handler) {
    return std::make_unique<PsiSubscription>(procRoot_, threadSetup_, queueLabel, std::move(handler));
}

}  // namespace corvanta
