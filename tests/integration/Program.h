// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <functional>
#include <string>

#include "core/RefreshFrequency.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"

namespace corvanta::test {

/// The words of a command line.
QStringList words(const std::string& line);

/// For a new process: it goes on under an account that the account database does not have.
void becomeUnknownAccount();

/// A user with empty folders, no display and no session bus.
///
/// Owned by a test and removed with it. Main thread only.
class TestUser {
  public:
    TestUser();

    const std::filesystem::path& folder() const { return directory_.path(); }
    std::string dataHome() const { return directory_.file("data"); }
    std::string configHome() const { return directory_.file("config"); }
    std::string database() const { return dataHome() + "/com.corvanta.app/history.sqlite"; }
    std::string settings() const { return configHome() + "/com.corvanta.app/settings.json"; }
    void writeSettings(std::string_view content) const;
    void setRefreshFrequency(RefreshFrequency frequency) const;

    void setVariable(const char* name, const std::string& value);
    void removeVariable(const char* name);
    const QProcessEnvironment& environment() const { return environment_; }

  private:
    TempDirectory directory_;
    QProcessEnvironment environment_;
};

/// A program that runs beside the test, and ends with it at the latest.
///
/// Owned by a test. Main thread only. What does not start has the exit code -1.
class Program {
  public:
    /// `inChild` runs in the new process, just before the program does.
    Program(const std::string& binary, const QStringList& arguments, const QProcessEnvironment& environment,
            const std::function<void()>& inChild = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return static_cast<pid_t>(process_.processId()); }
    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    void signal(int number) const;
    void kill();

    /// Waits for the end; -1 when a signal caused it, or when it did not come.
    int exitCode();

    /// Writes to its standard input, which ends then.
    void answer(const std::string& text);

    // What it has written so far.
    const std::string& output();
    const std::string& errors();
    /// Waits until the output holds the text.
    bool awaitOutput(const std::string& text);

  private:
    QProcess process_;
    std::string output_;
    std::string errors_;
};

}  // namespace corvanta::test
