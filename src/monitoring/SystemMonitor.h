// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/MetricTypes.h"
#include "core/SMARTStatus.h"
#include "monitoring/PublishSink.h"
#include "monitoring/SystemInfo.h"
#include "monitoring/collectors/MonitoringLoop.h"
#include "platform/Platform.h"
#include "settings/AppSettings.h"

namespace corvanta {

/// The heart of the program: samples all collectors in one repeating cycle, publishes the results as
/// observable properties, and hands each sample to alerts, incidents and the store.
///
/// Owned by the application delegate for the whole process. Main thread only; the cycles run in a
/// MonitoringLoop behind it. The loop starts with the object and ends when it is destroyed. There is no error
/// path.
class SystemMonitor final : public QObject {
    Q_OBJECT

  public:
    struct NetworkRates {
        double up = 0;    ///< bytes per second
        double down = 0;  ///< bytes per second

        bool operator==(const NetworkRates&) const = default;
    };

    static constexpr std::size_t historyLength = 60;
    static constexpr std::size_t topListLength = 5;
    static constexpr double snapshotInterval = 10.0;  ///< seconds of wall clock between stored rows

    using MakeCollectors = std::function<CollectorSet(const Platform&)>;

    /// Starts monitoring at once. `makeCollectors` is a parameter for tests only.
    SystemMonitor(const Platform& platform, AppSettings& settings, PublishSink& sink,
                  const MakeCollectors& makeCollectors = makeCollectorSet);
    ~SystemMonitor() override;

    // The published values, in the units that the collectors give. They hold their initial values until the
    // first cycle has been published.
    double cpuUsage() const { return cpuUsage_; }
    double ramFree() const { return ram_.available; }
    double ramActive() const { return ram_.active; }
    double ramWired() const { return ram_.wired; }
    double ramCompressed() const { return ram_.compressed; }
    double ramSwap() const { return ram_.swap; }
    double ramTotal() const { return ram_.total; }
    double diskFree() const { return disk_.free; }
    double diskTotal() const { return disk_.total; }
    SMARTStatus diskSmartStatus() const { return diskSmartStatus_; }
    const std::string& diskModel() const { return diskModel_; }
    std::optional<std::int64_t> batteryPercentage() const { return batteryPercentage_; }
    bool isBatteryCharging() const { return isBatteryCharging_; }
    bool isBatteryPluggedIn() const { return isBatteryPluggedIn_; }
    bool isLowPowerModeEnabled() const { return isLowPowerModeEnabled_; }
    std::optional<std::int64_t> batteryCycleCount() const { return batteryCycleCount_; }
    std::optional<std::int64_t> batteryHealth() const { return batteryHealth_; }
    std::optional<std::int64_t> batteryTimeRemaining() const { return batteryTimeRemaining_; }
    const std::vector<double>& cpuHistory() const { return cpuHistory_; }  ///< oldest first
    const std::vector<NetworkRates>& networkHistory() const { return networkHistory_; }
    double uploadSpeed() const { return network_.upload; }
    double downloadSpeed() const { return network_.download; }
    const std::optional<std::string>& requestedProcessSelection() const { return requestedProcessSelection_; }
    const std::vector<ProcessDetail>& allProcesses() const { return *allProcesses_; }
    /// The same list, never null. It is another one only where a later list was taken.
    const ProcessList& processList() const { return allProcesses_; }
    const std::vector<ProcessDetail>& topCPU() const { return topCPU_; }  ///< at most five, busiest first
    const std::vector<ProcessDetail>& topRAM() const { return topRAM_; }  ///< at most five, largest first
    const std::string& thermalState() const { return thermalState_; }
    double memoryPressurePercentage() const { return memoryPressurePercentage_; }
    MemoryPressureLevel estimatedMemoryPressureLevel() const { return estimatedMemoryPressureLevel_; }
    MemoryPressureLevel memoryPressureLevel() const { return memoryPressureLevel_; }

    /// A process that views ask to have selected. Views and navigation write and clear it; the cycle never
    /// does.
    void setRequestedProcessSelection(std::optional<std::string> name);

    /// Asks for an immediate fresh sample, battery and disk included. It lapses when a cycle is running.
    void refreshRateLimitedMetrics();

    // Texts of present values, in the user's formats.
    std::string formattedCPU() const;
    double ramUsedBytes() const;
    double ramAvailableBytes() const;
    double ramUsedFraction() const;       ///< 0 to 1
    double ramAvailableFraction() const;  ///< 0 to 1
    std::string formattedRAM() const;
    std::string formattedDisk() const;  ///< always the free side
    std::string formattedBattery() const;
    /// The system's level, or the estimate while the system has not told any.
    MemoryPressureLevel displayedMemoryPressureLevel() const;
    std::string formattedMemoryPressure() const;
    std::string formattedUpload() const;
    std::string formattedDownload() const;
    /// The long help text, several lines in blocks. Composed at each call. The machine is a nameless one
    /// until the first cycle has been published.
    std::string tooltipText() const;
    static std::string formatBytes(double value);
    static std::string formatDiskBytes(double value);
    std::string formatNetworkSpeed(double bytesPerSecond) const;

  Q_SIGNALS:
    /// Some published value has changed: once a cycle, after its last call out, and when the low-power flag
    /// or the requested process changes by itself.
    void changed();

  private:
    std::string cpuTooltip() const;
    std::string memoryTooltip() const;
    std::string diskTooltip() const;
    std::string networkTooltip() const;
    std::string batteryTooltip() const;

    void publish(const CycleReadings& readings);
    void publishBattery(const BatteryDetails& details);
    void publishMachine(const std::shared_ptr<const MachineDescription>& machine);
    void publishProcesses(const ProcessList& processes);
    void observePressureLevel();
    void sendBatteryAlerts();
    void persist(const IncidentObservation& observation);
    IncidentObservation makeObservation(const CycleReadings& readings) const;
    const ProcessDetail* busiest() const { return topCPU_.empty() ? nullptr : &topCPU_.front(); }
    const ProcessDetail* largest() const { return topRAM_.empty() ? nullptr : &topRAM_.front(); }

    // Constant after construction.
    const Platform& platform_;
    AppSettings& settings_;
    PublishSink& sink_;

    // Main thread only, as all below.
    double cpuUsage_ = 0;
    RAMDetails ram_;
    DiskUsage disk_;
    SMARTStatus diskSmartStatus_ = SMARTStatus::unknown;
    std::string diskModel_ = "Unknown";
    std::optional<std::int64_t> batteryPercentage_;
    bool isBatteryCharging_ = false;
    bool isBatteryPluggedIn_ = false;
    bool isLowPowerModeEnabled_ = false;
    std::optional<std::int64_t> batteryCycleCount_;
    std::optional<std::int64_t> batteryHealth_;
    std::optional<std::int64_t> batteryTimeRemaining_;
    std::vector<double> cpuHistory_;
    std::vector<NetworkRates> networkHistory_;
    NetworkSpeed network_;
    std::optional<std::string> requestedProcessSelection_;
    ProcessList allProcesses_;
    std::vector<ProcessDetail> topCPU_;
    std::vector<ProcessDetail> topRAM_;
    std::string thermalState_ = "Nominal";
    double memoryPressurePercentage_ = 0;
    MemoryPressureLevel estimatedMemoryPressureLevel_ = MemoryPressureLevel::unavailable;
    MemoryPressureLevel memoryPressureLevel_ = MemoryPressureLevel::unavailable;

    SystemInfo systemInfo_ = makeSystemInfo({});
    std::shared_ptr<const MachineDescription> machine_;  // what `systemInfo_` tells

    MemoryPressureLevel lastObservedPressureLevel_ = MemoryPressureLevel::unavailable;
    double lastDbInsertTime_ = 0;  // seconds since 1970

    std::shared_ptr<MonitoringLoop> loop_;
    std::unique_ptr<Subscription> lowPowerSubscription_;
    std::unique_ptr<Subscription> powerChangeSubscription_;
};

}  // namespace corvanta
