// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAction>
#include <QList>
#include <QMenu>
#include <QObject>

#include "alerts/SmartAlertMonitor.h"
#include "monitoring/SystemMonitor.h"
#include "platform/ProcessSignaller.h"

namespace corvanta {

/// The active alert at the top of a menu, where it can be read, its process stopped, and itself dismissed.
///
/// Owned by the application delegate, and goes before the menu. Main thread only. It is composed whenever the
/// menu is about to show, and takes no room without an alert.
class AlertMenu final : public QObject {
    Q_OBJECT

  public:
    /// All outlive this.
    AlertMenu(QMenu& menu, SmartAlertMonitor& alerts, const SystemMonitor& monitor,
              ProcessSignaller& signaller);

  private:
    void compose();
    QAction* addRow(const QString& text);

    QMenu& menu_;
    SmartAlertMonitor& alerts_;
    const SystemMonitor& monitor_;
    ProcessSignaller& signaller_;
    QList<QAction*> rows_;
};

}  // namespace corvanta
