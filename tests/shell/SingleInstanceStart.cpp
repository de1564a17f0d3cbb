// SPDX-License-Identifier: Apache-2.0
// One start of the program, as far as being the only one goes:
//   single_instance_start LOCK BUS activate|open-center
// BUS is a bus address, or "none". It prints the outcome; as the primary it then prints every request until
// it is killed.
#include <QCoreApplication>
#include <cstdio>

#include "shell/linux/SingleInstance.h"

using corvanta::SingleInstance;

namespace {

void tell(const char* word) {
    std::puts(word);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) return 2;
    const QString name = QStringLiteral("start");
    const bool hasBus = arguments[2] != QStringLiteral("none");
    SingleInstance instance(
        arguments[1], hasBus ? QDBusConnection::connectToBus(arguments[2], name) : QDBusConnection(name));
    QObject::connect(&instance, &SingleInstance::activated, [] { tell("activated"); });
    QObject::connect(&instance, &SingleInstance::openCenterRequested, [] { tell("open-center"); });
    switch (instance.start(arguments[3] == QStringLiteral("open-center")
                               ? SingleInstance::Request::openCenter
                               : SingleInstance::Request::activate)) {
        case SingleInstance::Outcome::primary:
            tell("primary");
            return QCoreApplication::exec();
        case SingleInstance::Outcome::handedOver:
            tell("handed over");
            return 0;
        case SingleInstance::Outcome::refused:
            tell("refused");
            return 1;
    }
    return 2;
}
