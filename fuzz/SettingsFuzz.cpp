// SPDX-License-Identifier: Apache-2.0
#include <QJsonDocument>
#include <QJsonObject>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/linux/JsonDefaultsStore.h"
#include "settings/AppSettings.h"
#include "support/FakePlatform.h"

using namespace corvanta;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

/// All preferences of a settings file, in a store that touches no disk.
void fill(test::FakeDefaultsStore& store, const QJsonObject& object) {
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const auto value = defaultsValue(entry.value());
        if (!value) continue;
        require(defaultsValue(jsonValue(*value)) == value);
        store.values.insert_or_assign(entry.key().toStdString(), *value);
    }
}

}  // namespace

// A settings file is user input: whatever it holds, reading it must give settings that can be used and
// written.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto object = parseSettings(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (!object) return 0;
    const auto written = parseSettings(QJsonDocument(*object).toJson());
    require(written.has_value());
    require(written->keys().size() == object->keys().size());

    test::FakePlatform machine;
    fill(machine.defaults, *object);
    AppSettings settings(machine.defaults, machine.loginItem, machine.clock, machine.executor);
    require(machine.defaults.stringValue("menuBarStyle") == std::string(rawValue(settings.menuBarStyle())));
    require(!settings.performanceAlertsSnoozedUntil() || settings.performanceAlertsAreSnoozed());
    settings.lowBatteryThreshold.set(settings.lowBatteryThreshold());
    settings.menuBarOrder.set(settings.menuBarOrder());
    settings.primaryMenuBarMetric.set(settings.primaryMenuBarMetric());
    settings.menuBarExpandHoldSeconds.set(settings.menuBarExpandHoldSeconds());
    settings.performanceAlertsSnoozedUntil.set(settings.performanceAlertsSnoozedUntil());

    // A second start on what the first one left finds the same.
    const AppSettings again(machine.defaults, machine.loginItem, machine.clock, machine.executor);
    require(again.lowBatteryThreshold() == settings.lowBatteryThreshold());
    require(again.menuBarOrder() == settings.menuBarOrder());
    require(again.primaryMenuBarMetric() == settings.primaryMenuBarMetric());
    require(again.menuBarStyle() == settings.menuBarStyle());
    require(again.performanceAlertsSnoozedUntil() == settings.performanceAlertsSnoozedUntil());
    return 0;
}
