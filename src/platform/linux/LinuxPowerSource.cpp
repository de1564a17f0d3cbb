// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPowerSource.h"

#include <QObject>
#include <QSocketNotifier>
#include <atomic>
#include <utility>

namespace corvanta {

/// Hears the kernel's announcements while it is told to. Main thread only, but for `hasFailed`.
class LinuxPowerSource::KernelListener {
  public:
    KernelListener(OpenUevents open, std::shared_ptr<SysfsPowerSource> sysfs, HandlerList<> handlers)
        : open_(std::move(open)), sysfs_(std::move(sysfs)), handlers_(std::move(handlers)) {}

    void listen(bool mustListen) {
        notifier_.reset();
        socket_.reset();
        hasFailed_ = false;
        if (!mustListen) return;
        socket_ = open_();
        hasFailed_ = socket_->descriptor() < 0;
        if (hasFailed_) return;
        notifier_ = std::make_unique<QSocketNotifier>(socket_->descriptor(), QSocketNotifier::Read);
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { hear(); });
    }

    bool hasFailed() const { return hasFailed_; }

  private:
    void hear() {
        using Outcome = UeventSocket::Outcome;
        bool isChange = false;
        std::string_view message;
        Outcome outcome{};
        while ((outcome = socket_->receive(message)) == Outcome::message || outcome == Outcome::lost) {
            const auto event = outcome == Outcome::message ? parsePowerUevent(message) : std::nullopt;
            isChange = isChange || outcome == Outcome::lost;
            if (event && filter_.isChange(*event)) isChange = true;
        }
        if (outcome == Outcome::failed) {
            notifier_->setEnabled(false);
            hasFailed_ = true;
        }
        if (!isChange) return;
        sysfs_->expectChange();
        handlers_.call();
    }

    const OpenUevents open_;
    const std::shared_ptr<SysfsPowerSource> sysfs_;
    const HandlerList<> handlers_;
    PowerUeventFilter filter_;
    std::unique_ptr<UeventSocket> socket_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::atomic<bool> hasFailed_ = false;
};

LinuxPowerSource::LinuxPowerSource(BusService::Connect systemBus, const std::string& sysRoot,
                                   const Clock& clock, Executor& mainExecutor, OpenUevents openUevents)
    : service_(std::move(systemBus), UPowerSource::description()),
      clock_(clock),
      mainExecutor_(mainExecutor),
      upower_(service_),
      sysfs_(std::make_shared<SysfsPowerSource>(sysRoot, clock)),
      kernel_(std::make_shared<KernelListener>(std::move(openUevents), sysfs_, handlers_)) {}

LinuxPowerSource::~LinuxPowerSource() = default;

std::vector<PowerSourceDescription> LinuxPowerSource::readPowerSources() {
    const auto reading = upower_.read();
    reading_ = reading ? *reading : sysfs_->read();
    listenToKernel(!reading && sysfs_->hasSupplies() && !handlers_.isEmpty());
    return reading_.sources;
}

std::unique_ptr<Subscription> LinuxPowerSource::subscribe(const std::function<void()>& onChange) {
    if (!upowerSubscription_) {
        upowerSubscription_ = service_.subscribe([this](const QDBusMessage& signal) {
            if (UPowerSource::isPowerChange(signal)) handlers_.call();
        });
    }
    return handlers_.add(onChange);
}

void LinuxPowerSource::listenToKernel(bool mustListen) {
    const double uptime = clock_.systemUptime();
    const bool mustReopen = kernel_->hasFailed() && uptime - listenedAt_ >= reopenInterval;
    if (std::exchange(listensToKernel_, mustListen) == mustListen && !(mustListen && mustReopen)) return;
    listenedAt_ = uptime;
    mainExecutor_.post([weak = std::weak_ptr(kernel_), mustListen] {
        if (const auto kernel = weak.lock()) kernel->listen(mustListen);
    });
}

}  // namespace corvanta
