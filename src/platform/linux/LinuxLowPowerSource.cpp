// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxLowPowerSource.h"

#include <utility>

#include "platform/linux/PowerSupply.h"

namespace corvanta {
namespace {

constexpr std::size_t longestProfile = 64;

bool isLowPower(KernelFile& profile) {
    const auto text = profile.read(longestProfile);
    return text && parseAttribute(*text) == "low-power";
}

}  // namespace

LinuxLowPowerSource::LinuxLowPowerSource(const BusService::Connect& systemBus, BusService::Connect sessionBus,
                                         const std::string& sysRoot, Executor& mainExecutor)
    : current_(systemBus, PowerProfileService::current),
      former_(systemBus, PowerProfileService::former),
      portal_(std::move(sessionBus), PowerProfileService::portal),
      firmwareProfile_(sysRoot + "/firmware/acpi/platform_profile"),
      mainExecutor_(mainExecutor) {}

void LinuxLowPowerSource::refresh() {
    current_.refresh();
    if (!current_.word().isSaving) former_.refresh();
    if (!profiles().isSaving) {
        portal_.refresh();
        isFirmwareSaving_ = isLowPower(firmwareProfile_);
    }
    if (hasChanged()) mainExecutor_.post([handlers = handlers_] { handlers.call(); });
}

bool LinuxLowPowerSource::isLowPowerModeEnabled() const {
    // A portal without the profiles' service behind it always says no.
    return profiles().isSaving.value_or(portal_.word().isSaving == true || isFirmwareSaving_);
}

bool LinuxLowPowerSource::isPerformanceDegraded() const {
    return profiles().isDegraded == true;
}

PowerProfileService::Word LinuxLowPowerSource::profiles() const {
    const auto word = current_.word();
    return word.isSaving ? word : former_.word();
}

std::unique_ptr<Subscription> LinuxLowPowerSource::subscribe(const std::function<void()>& handler) {
    if (subscriptions_.empty()) {
        const auto onChange = [this] {
            if (hasChanged()) handlers_.call();
        };
        for (PowerProfileService* service : {&current_, &former_, &portal_}) {
            subscriptions_.push_back(service->subscribe(onChange));
        }
    }
    return handlers_.add(handler);
}

// Two threads at once may announce a change twice, but never miss one.
bool LinuxLowPowerSource::hasChanged() {
    const bool isEnabled = isLowPowerModeEnabled();
    return announced_.exchange(isEnabled) != isEnabled;
}

}  // namespace corvanta
