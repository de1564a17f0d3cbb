// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <QObject>
#include <QSocketNotifier>
#include <array>

namespace corvanta {

/// Turns SIGTERM, SIGINT and SIGHUP into a signal of the main thread.
///
/// Owned by main(), one at a time; the former handlers return at its end. Main thread only. Without a
/// descriptor to spare it logs one line, and the signals keep their former effect.
class TerminationSignals final : public QObject {
    Q_OBJECT

  public:
    TerminationSignals();
    ~TerminationSignals() override;

  Q_SIGNALS:
    /// Signals that arrive before the event loop turns are told once.
    void terminationRequested();

  private:
    struct Former {
        int number;
        struct sigaction action;
    };

    int descriptor_;
    std::array<Former, 3> former_{{{SIGTERM, {}}, {SIGINT, {}}, {SIGHUP, {}}}};
    QSocketNotifier notifier_;
};

}  // namespace corvanta
