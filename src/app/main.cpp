// SPDX-License-Identifier: Apache-2.0
#include <QApplication>
#include <QLocale>
#include <csignal>
#include <cstdio>
#include <optional>

#include "app/Arguments.h"
#include "core/ApplicationPaths.h"
#include "core/Log.h"
#include "core/NumberText.h"
#include "monitoring/QtExecutor.h"
#include "platform/linux/Buses.h"
#include "platform/linux/FreedMemory.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/PrivateFile.h"
#include "platform/linux/XdgDirectories.h"
#include "shell/AppDelegate.h"
#include "shell/ProgramSink.h"
#include "shell/linux/HostChoice.h"
#include "shell/linux/SingleInstance.h"
#include "shell/linux/TerminationSignals.h"
#include "storage/DatabaseManager.h"

using namespace corvanta;

namespace {

void useNumberSymbolsOf(const QLocale& locale) {
    setUserNumberSymbols({locale.decimalPoint().toStdString(), locale.groupSeparator().toStdString()});
}

}  // namespace

int main(int argc, char** argv) {
    keepNewFilesPrivate();
    returnLargeBlocksAtOnce();
    std::signal(SIGPIPE, SIG_IGN);  // a log that nobody reads any more must not end the program
    const Arguments arguments = readArguments(argc, argv);
    if (arguments.exitCode) return *arguments.exitCode;

    const XdgDirectories directories = xdgDirectories(processEnvironment, accountHome);
    const auto paths = applicationPathsBelow(directories);
    if (!paths) {
        std::fputs("Corvanta found no home folder to keep its files in.\n", stderr);
        return 1;
    }
    setApplicationPaths(*paths);

    std::optional<PlatformBoot> boot(std::in_place);
    QApplication application(argc, argv);
    boot.reset();
    QApplication::setApplicationName(QStringLiteral("corvanta"));
    QApplication::setQuitOnLastWindowClosed(false);
    useNumberSymbolsOf(QLocale::system());

    SingleInstance instance(QString::fromStdString(paths->databaseFile + ".lock"), sessionBusIfThere());
    const auto request =
        arguments.openCenter ? SingleInstance::Request::openCenter : SingleInstance::Request::activate;
    const SingleInstance::Outcome outcome = instance.start(request);
    if (outcome != SingleInstance::Outcome::primary)
        return outcome == SingleInstance::Outcome::handedOver ? 0 : 1;

    // Never destroyed: a thread that hangs in the kernel at the end may still use them.
    auto& executor = *new QtExecutor;
    const auto& platform = *new LinuxPlatform(executor, directories, paths->settingsFile,
                                              QCoreApplication::applicationFilePath().toStdString(),
                                              JsonDefaultsStore::Access::readWrite);
    installPlatform(platform.ports());

    const Platform& ports = platform.ports();
    AppSettings& settings = AppSettings::shared();
    DatabaseManager& database = DatabaseManager::shared();
    NotificationManager notifications(ports.notifications, settings, ports.clock);
    SmartAlertMonitor alerts(notifications, AnomalyDetector::shared(), ports.clock, executor,
                             ports.threadSetup);
    ProgramSink sink(database, IncidentDetector::shared(), notifications, alerts);
    AppDelegate delegate(ports, settings, database, notifications, alerts, sink, makeStatusItem());
    TerminationSignals signals;
    QObject::connect(&signals, &TerminationSignals::terminationRequested, &delegate, &AppDelegate::quitApp);
    QObject::connect(&instance, &SingleInstance::activated, &delegate, &AppDelegate::activate);
    QObject::connect(&instance, &SingleInstance::openCenterRequested, &delegate, &AppDelegate::activate);
    delegate.applicationDidFinishLaunching();
    return QApplication::exec();
}
