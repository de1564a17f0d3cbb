// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// Whether standard output is a terminal, where colours and a screen that is redrawn make sense.
bool standardOutputIsTerminal();

/// Waits that Ctrl+C and a polite kill end, so that a program can leave the terminal as it was.
///
/// Made before any other thread is started, since later threads inherit what it blocks. Main thread only.
class InterruptWait {
  public:
    InterruptWait();

    /// False when the wait was ended by SIGINT, SIGTERM or SIGHUP.
    bool wait(double seconds) const;
};

}  // namespace corvanta
