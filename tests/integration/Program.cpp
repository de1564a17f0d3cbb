// SPDX-License-Identifier: Apache-2.0
#include "integration/Program.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>

namespace corvanta::test {

QStringList words(const std::string& line) {
    return QString::fromStdString(line).split(u' ', Qt::SkipEmptyParts);
}

void becomeUnknownAccount() {
    const uid_t user = ::geteuid();
    if (::unshare(CLONE_NEWUSER) != 0) {
        // The superuser of a container may change the account, but not make another set of them.
        if (::setuid(54321) != 0) ::_exit(125);
        return;
    }
    char map[64];
    const int size = std::snprintf(map, sizeof map, "54321 %u 1", user);
    const int file = ::open("/proc/self/uid_map", O_WRONLY | O_CLOEXEC);
    if (::write(file, map, static_cast<std::size_t>(size)) != size) ::_exit(125);
}

TestUser::TestUser() {
    std::filesystem::create_directories(directory_.file("home"));
    std::filesystem::create_directories(directory_.file("run"));
    std::filesystem::permissions(directory_.file("run"), std::filesystem::perms::owner_all);
    setVariable("PATH", qgetenv("PATH").toStdString());
    setVariable("HOME", directory_.file("home"));
    setVariable("XDG_DATA_HOME", dataHome());
    setVariable("XDG_CONFIG_HOME", configHome());
    setVariable("XDG_CONFIG_DIRS", directory_.file("no-system-settings"));
    setVariable("XDG_RUNTIME_DIR", directory_.file("run"));
    setVariable("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + directory_.file("no-bus"));
    setVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + directory_.file("no-bus"));
    setVariable("QT_QPA_PLATFORM", "offscreen");
    setVariable("LC_ALL", "C.UTF-8");
    setVariable("TZ", "UTC");
}

void TestUser::writeSettings(std::string_view content) const {
    directory_.write("config/com.corvanta.app/settings.json", content);
}

void TestUser::setRefreshFrequency(RefreshFrequency frequency) const {
    writeSettings("{\"refreshFrequency\": \"" + std::string(rawValue(frequency)) + "\"}");
}

void TestUser::setVariable(const char* name, const std::string& value) {
    environment_.insert(QString::fromUtf8(name), QString::fromStdString(value));
}

void TestUser::removeVariable(const char* name) {
    environment_.remove(QString::fromUtf8(name));
}

Program::Program(const std::string& binary, const QStringList& arguments,
                 const QProcessEnvironment& environment, const std::function<void()>& inChild) {
    process_.setProcessEnvironment(environment);
    process_.setChildProcessModifier([inChild] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (inChild) inChild();
    });
    process_.start(QString::fromStdString(binary), arguments);
    process_.waitForStarted(patience);
}

Program::~Program() {
    kill();
}

void Program::signal(int number) const {
    if (pid() > 0) ::kill(pid(), number);
}

void Program::kill() {
    process_.kill();
    process_.waitForFinished(patience);
}

int Program::exitCode() {
    if (process_.error() == QProcess::FailedToStart) return -1;
    if (!eventually([this] { return !isRunning(); })) return -1;
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

void Program::answer(const std::string& text) {
    process_.write(text.data(), static_cast<qint64>(text.size()));
    process_.closeWriteChannel();
}

const std::string& Program::output() {
    return output_ += process_.readAllStandardOutput().toStdString();
}

const std::string& Program::errors() {
    return errors_ += process_.readAllStandardError().toStdString();
}

bool Program::awaitOutput(const std::string& text) {
    return eventually([&] { return output().find(text) != std::string::npos; });
}

}  // namespace corvanta::test
