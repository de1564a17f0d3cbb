// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxThermalSource.h"

#include <chrono>
#include <utility>

#include "platform/linux/ThermalClassifier.h"
#include "platform/linux/ThermalFiles.h"

namespace corvanta {
namespace {

constexpr const char* workerLabel = "com.corvanta.thermal";
constexpr double readingInterval = 2;  // seconds, as all below
constexpr double longestValidity = 30;
constexpr double startInterval = 60;
constexpr std::chrono::seconds longestEnd{2};

}  // namespace

/// Reads whenever it is asked to, the first time unasked.
class LinuxThermalSource::Worker {
  public:
    Worker(const std::string& sysRoot, const Clock& clock, std::function<bool()> isPerformanceDegraded,
           double moment)
        : clock_(clock),
          isPerformanceDegraded_(std::move(isPerformanceDegraded)),
          files_(sysRoot),
          askedAt_(moment),
          readAt_(moment) {}

    /// The last reading's state. Asks for the next reading when it is time.
    int ask(double moment) {
        LockGuard guard(mutex_);
        if (moment - askedAt_ >= readingInterval) {
            askedAt_ = moment;
            isAsked_ = true;
            asked_.notifyOne();
        }
        return moment - readAt_ <= longestValidity ? state_ : ThermalClassifier::unknown;
    }

    /// The body of the worker's thread. Ends when there is nothing to read.
    void run(const std::stop_token& stop) {
        do {
            const double moment = clock_.systemUptime();
            files_.read(reading_);
            if (!files_.isAny()) return;
            publish(moment, classifier_.feed(moment, reading_, isPerformanceDegraded_()));
        } while (awaitRequest(stop));
    }

  private:
    void publish(double moment, int state) {
        LockGuard guard(mutex_);
        state_ = state;
        readAt_ = moment;
    }

    /// False when the worker is to end.
    bool awaitRequest(const std::stop_token& stop) {
        LockGuard guard(mutex_);
        while (!isAsked_ && !stop.stop_requested()) asked_.wait(mutex_, stop);
        return std::exchange(isAsked_, false) && !stop.stop_requested();
    }

    // Constant after construction.
    const Clock& clock_;
    const std::function<bool()> isPerformanceDegraded_;

    // The worker's thread only.
    ThermalFiles files_;
    ThermalReading reading_;
    ThermalClassifier classifier_;

    Mutex mutex_;
    StoppableCondition asked_;
    bool isAsked_ GUARDED_BY(mutex_) = false;
    double askedAt_ GUARDED_BY(mutex_);
    double readAt_ GUARDED_BY(mutex_);
    int state_ GUARDED_BY(mutex_) = ThermalClassifier::unknown;
};

LinuxThermalSource::LinuxThermalSource(std::string sysRoot, const Clock& clock, ThreadSetup& threadSetup,
                                       std::function<bool()> isPerformanceDegraded)
    : sysRoot_(std::move(sysRoot)),
      clock_(clock),
      isPerformanceDegraded_(std::move(isPerformanceDegraded)),
      tasks_(threadSetup) {}

LinuxThermalSource::~LinuxThermalSource() {
    tasks_.cancelAll();
    tasks_.waitForAll(longestEnd);
}

int LinuxThermalSource::thermalState() const {
    const double now = clock_.systemUptime();
    const std::shared_ptr<Worker> worker = runningWorker(now);
    if (worker) return worker->ask(now);
    return isPerformanceDegraded_() ? ThermalClassifier::serious : ThermalClassifier::unknown;
}

std::shared_ptr<LinuxThermalSource::Worker> LinuxThermalSource::runningWorker(double now) const {
    {
        LockGuard guard(mutex_);
        if (auto worker = worker_.lock()) return worker;
        if (now < nextStart_) return nullptr;
        nextStart_ = now + startInterval;  // which keeps other callers out meanwhile
    }
    if (!hasThermalFiles(sysRoot_)) return nullptr;
    auto worker = std::make_shared<Worker>(sysRoot_, clock_, isPerformanceDegraded_, now);
    {
        LockGuard guard(mutex_);
        worker_ = worker;
    }
    tasks_.start(workerLabel, [worker](const std::stop_token& stop) { worker->run(stop); });
    return worker;
}

}  // namespace corvanta
