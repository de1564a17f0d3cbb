// SPDX-License-Identifier: Apache-2.0
#include "shell/AlertMenu.h"

#include <memory>
#include <string>
#include <utility>

#include "alerts/AlertBanner.h"
#include "core/PlainText.h"
#include "core/Utf8Text.h"

namespace corvanta {
namespace {

/// A text that may hold a process's name, which a menu must not take for a mnemonic.
QString menuText(const std::string& text) {
    QString shown = QString::fromStdString(plainText(repairedUtf8(text)));
    return shown.replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

AlertMenu::AlertMenu(QMenu& menu, SmartAlertMonitor& alerts, const SystemMonitor& monitor,
                     ProcessSignaller& signaller)
    : menu_(menu), alerts_(alerts), monitor_(monitor), signaller_(signaller) {
    connect(&menu_, &QMenu::aboutToShow, this, &AlertMenu::compose);
}

void AlertMenu::compose() {
    qDeleteAll(std::exchange(rows_, {}));
    auto banner = alertBanner(alerts_, monitor_.allProcesses(), signaller_);
    if (!banner) return;
    addRow(menuText(banner->title))->setEnabled(false);
    addRow(menuText(banner->message))->setEnabled(false);
    if (banner->stop) {
        QAction* const stop = addRow(menuText(banner->stop->help));
        connect(stop, &QAction::triggered, this,
                [this, target = std::make_shared<AlertStopTarget>(std::move(*banner->stop))] {
                    stopAlertProcess(*target, alerts_, signaller_);
                });
    }
    connect(addRow(menuText(banner->dismissHelp)), &QAction::triggered, &alerts_,
            &SmartAlertMonitor::dismissAlert);
    addRow({})->setSeparator(true);
}

QAction* AlertMenu::addRow(const QString& text) {
    auto* const row = new QAction(text, this);
    menu_.insertAction(menu_.actions().value(static_cast<int>(rows_.size())), row);
    rows_.append(row);
    return row;
}

}  // namespace corvanta
