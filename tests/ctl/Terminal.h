// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>
#include <functional>
#include <string>

#include "integration/Program.h"

namespace corvanta::test {

/// A terminal with one program in it, which ends with it at the latest.
///
/// Owned by a test. Main thread only.
class Terminal {
  public:
    Terminal(const std::string& binary, const QStringList& arguments, const QProcessEnvironment& environment);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(char c);
    /// Waits until the condition holds for what has been shown so far.
    bool await(const std::function<bool(const std::string& shown)>& condition);
    /// Waits for the end; -1 when a signal caused it, or when it did not come.
    int exitCode();
    /// Everything that was written to the terminal so far, with its "\r\n" line ends.
    const std::string& shown() const { return shown_; }

  private:
    void read();

    pid_t pid_ = -1;
    int terminal_ = -1;
    bool hasEnded_ = false;
    int status_ = 0;
    std::string shown_;
};

}  // namespace corvanta::test
