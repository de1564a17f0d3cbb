// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BluetoothDeviceQuery.h"

#include <chrono>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

BluetoothListing listingOf(const BluetoothAnswer& answer) {
    BluetoothListing listing;
    listing.isCertain = answer.isCertain;
    for (const PairedBluetoothDevice& device : answer.devices) {
        if (device.isConnected && device.name && !device.name->empty())
            listing.add(*device.name, device.address);
    }
    return listing;
}

/// Where the thread that asks leaves what the waiting one takes.
class LockedBluetoothDeviceResult {
  public:
    void set(BluetoothListing listing) {
        LockGuard guard(lock_);
        devices_ = std::move(listing);
    }
    BluetoothListing take() {
        LockGuard guard(lock_);
        return std::move(devices_);
    }
    void signal() { signal_.request_stop(); }
    std::stop_token signalled() const { return signal_.get_token(); }

  private:
    Mutex lock_;
    BluetoothListing devices_ GUARDED_BY(lock_);
    std::stop_source signal_;  // ends the wait
};

}  // namespace

/// A question that is open for as long as this lives, be it asked or not.
class BluetoothDeviceQuery::Question {
  public:
    Question(std::weak_ptr<State> state, std::shared_ptr<LockedBluetoothDeviceResult> result)
        : state_(std::move(state)), result_(std::move(result)) {}
    ~Question() {
        if (const auto state = state_.lock()) {
            LockGuard guard(state->lock);
            state->isRunning = false;
        }
        result_->signal();
    }
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;

    void ask(BluetoothQuery& bluetooth) {
        if (const auto paired = bluetooth.pairedDevices()) result_->set(listingOf(*paired));
    }

  private:
    std::weak_ptr<State> state_;
    std::shared_ptr<LockedBluetoothDeviceResult> result_;
};

BluetoothDeviceQuery::BluetoothDeviceQuery(BluetoothQuery& bluetooth, Waiter& waiter,
                                           ThreadSetup& threadSetup)
    : bluetooth_(bluetooth), waiter_(waiter), queue_(threadSetup) {}

BluetoothDeviceQuery::~BluetoothDeviceQuery() {
    queue_.waitForAll();
}

std::optional<BluetoothListing> BluetoothDeviceQuery::devices(double timeout, const std::stop_token& stop) {
    {
        LockGuard guard(state_->lock);
        if (state_->isRunning) return std::nullopt;
        state_->isRunning = true;
    }
    const auto result = std::make_shared<LockedBluetoothDeviceResult>();
    auto question = std::make_shared<Question>(state_, result);
    if (const auto known = bluetooth_.knownDevices()) return listingOf(*known);

    queue_.start("com.corvanta.bluetoothmonitor.iobluetooth",
                 [question = std::move(question), &bluetooth = bluetooth_](const std::stop_token&) {
                     question->ask(bluetooth);
                 });
    const std::stop_callback callOff(stop, [&] { result->signal(); });
    const bool hasTimedOut = waiter_.wait(timeout, result->signalled());
    if (hasTimedOut || stop.stop_requested()) return std::nullopt;
    return result->take();
}

}  // namespace corvanta
