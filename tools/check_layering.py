#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that each part of src/ includes only what it may.

Usage: check_layering.py ROOT. Prints one line for each breach and exits 1 if there is any.
"""
import re
import sys
from pathlib import Path

CORE = {"core"}
MODEL = CORE | {"incident_model"}

# Library -> (folders that hold it, libraries it may include, Qt modules it may include).
# A folder is the longest match of a file's path.
LIBRARIES = {
    "core": ("core", set(), set()),
    "platform": ("platform", CORE, set()),
    "incident_model": ("incidents/model", CORE, set()),
    "storage": ("storage", MODEL, set()),
    "incident_rules": ("incidents/rules", MODEL, set()),
    "incident_replay": ("incidents/replay", MODEL, set()),
    "alert_rules": ("alerts/rules", MODEL | {"storage"}, set()),
    "collectors": ("monitoring/collectors", CORE | {"platform"}, set()),
    "settings": ("settings", MODEL | {"platform"}, {"Core"}),
    "incidents": ("incidents", MODEL | {"incident_rules", "storage", "settings"}, {"Core"}),
    "alerts": ("alerts", MODEL | {"alert_rules", "storage", "collectors", "platform", "settings"}, {"Core"}),
    "monitoring": ("monitoring", MODEL | {"platform", "collectors", "settings"}, {"Core"}),
    "reports": ("reports", MODEL | {"platform", "storage", "collectors", "settings", "monitoring"}, {"Core"}),
    "shell": ("shell", MODEL | {"platform", "incident_rules", "incidents", "alert_rules", "alerts", "storage", "collectors",
                                "settings", "monitoring", "reports"},
              {"Core", "Gui", "Widgets"}),
    "shell_linux": ("shell/linux", CORE | {"platform", "shell"}, {"Core", "Gui", "Widgets", "DBus"}),
    "platform_linux": ("platform/linux", CORE | {"platform", "linux_readers"}, {"Core", "DBus"}),
    "profiler_reports": ("platform/profiler", CORE | {"platform"}, set()),
    "linux_readers": (None, CORE | {"platform"}, set()),
}
BELOW_SHELL = set(LIBRARIES) - {"shell", "shell_linux"}
LIBRARIES["app"] = ("app", set(LIBRARIES), {"Core", "Gui", "Widgets", "DBus"})
LIBRARIES["ctl"] = ("ctl", BELOW_SHELL, {"Core", "DBus"})

# The part of platform/linux that runs under the thread sanitizer, and so knows no Qt.
READERS = {"BluetoothText", "CommandOutput", "Descriptor", "DiskFacts", "FileReplacement", "FolderNames", "FreedMemory", "LinuxBluetoothFallback",
           "PeripheralSupplies", "RootDisks", "Smartctl",
           "KernelFile", "LinkDump", "LinkInfo", "LinuxMemorySource", "LinuxProcessSignaller", "LinuxThreadSetup", "ProcessStat",
           "ProcFolder", "ProcLister", "NetlinkCounterSource", "ProcNetDev", "StatfsCapacitySource", "MemInfo", "PressureClassifier", "PressureWatch",
           "PowerSupply", "PowerUevent", "ProcStat", "PsiPressureSource", "SysfsPowerSource", "Terminal", "TextScan",
           "LinuxMachineFacts", "LinuxThermalSource", "MachineTexts", "Sustained", "ThermalClassifier", "ThermalFiles",
           "ThermalReading"}

QT_MODULES = {
    "Core": """QObject QString QStringList QByteArray QByteArrayView QTimer QThread QMetaObject QPointer QVariant
        QVariantMap QVariantList QJsonObject QJsonDocument QJsonValue QJsonArray QJsonParseError QSaveFile QFile
        QFileInfo QDir QLocale QCoreApplication QRect QRectF QPoint QPointF QSize QSizeF QHash QList QMap
        QSocketNotifier QElapsedTimer QtGlobal QAbstractNativeEventFilter QLatin1String QtEndian QDebug QEvent
        QLockFile QDateTime QScopedPointer QBasicTimer QTimerEvent QCborValue QSet QUrl QStringView
        QAbstractEventDispatcher QCollator QDeadlineTimer QSignalBlocker QStandardPaths QtMath QResource
        QUuid""".split(),
    "Gui": """QColor QFont QFontDatabase QFontMetricsF QImage QPainter QPixmap QIcon QScreen QWindow QPalette
        QCursor QGuiApplication QKeySequence QEnterEvent QMouseEvent QPaintEvent QAccessible QAccessibleInterface
        QPen QBrush QPainterPath QTransform QRegion QBitmap QRawFont QGlyphRun QShowEvent QMoveEvent QHelpEvent
        QtGui/qguiapplication_platform.h QExposeEvent QResizeEvent QPlatformSurfaceEvent QAction""".split(),
    "Widgets": """QApplication QWidget QMenu QToolTip QStyle QAccessibleWidget""".split(),
    "DBus": """QDBusConnection QDBusConnectionInterface QDBusMessage QDBusContext QDBusPendingCall QDBusError
        QDBusReply QDBusPendingReply QDBusInterface QDBusServiceWatcher QDBusPendingCallWatcher
        QDBusAbstractAdaptor QDBusVariant QDBusArgument QDBusObjectPath""".split(),
}
MODULE_OF = {header: module for module, headers in QT_MODULES.items() for header in headers}

STANDARD = set("""algorithm array atomic barrier bit cassert cctype cerrno cfloat charconv chrono climits clocale cmath compare
    concepts condition_variable csignal cstddef cstdint cstdio cstdlib cstring ctime deque exception filesystem
    fstream functional future initializer_list iomanip iostream iterator latch limits list locale map memory mutex
    new numbers numeric optional ostream random ratio regex semaphore set shared_mutex span sstream stdexcept
    stop_token string string_view system_error thread tuple type_traits typeindex unordered_map unordered_set
    utility variant vector version""".split())
THIRD_PARTY = {
    "storage": {"sqlite3.h"},
    "profiler_reports": {"plist/plist.h"},
    "linux_readers": {"nlohmann/json.hpp"},
    "incident_replay": {"nlohmann/json.hpp"},
    "ctl": {"CLI/CLI.hpp", "nlohmann/json.hpp"},
    "shell_linux": {"xcb/xcb.h"},
}
# Headers of the system; only its own side may include them.
SYSTEM = re.compile(r"(arpa|linux|net|netinet|sys)/\w+\.h|(dirent|fcntl|malloc|poll|pthread|pwd|signal|spawn|unistd|errno|time)\.h")
SYSTEM_SIDE = {"platform_linux", "linux_readers", "shell_linux"}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
SYSTEM_IF = re.compile(
    r"^\s*#\s*(?:if|elif|ifdef|ifndef)\b.*\b(__linux(?:__)?|linux|__APPLE__|_WIN32|__unix(?:__)?|Q_OS_\w+|__has_include)",
    re.M)
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.S)
SHARED_USE = re.compile(r"\b\w+\s*::\s*shared\b")
SHARED_BODY = re.compile(r"\w+& \w+::shared\(\) \{.*?\n\}", re.S)
SHARED_FOLDERS = ("app/", "ctl/", "shell/", "widgets/")


def library_of(path):
    """The library whose folder is the longest prefix of a path below src/."""
    best = None
    for name, (folder, _, _) in LIBRARIES.items():
        if folder and path.startswith(folder + "/") and (best is None or len(folder) > len(LIBRARIES[best][0])):
            best = name
    return "linux_readers" if best == "platform_linux" and Path(path).stem in READERS else best


def include_breach(library, kind, name):
    """What is wrong with one include, or None."""
    _, may_use, qt_modules = LIBRARIES[library]
    own = library_of(name)
    if own is not None:
        if own != library and own not in may_use:
            return f"includes {name}: {library} may not use {own}"
        return None
    if kind == '"':
        return None if name.endswith(".moc") else f'includes "{name}", which is no path below src/'
    if re.match(r"[Qq]", name):
        module = MODULE_OF.get(name)
        if module is None:
            return f"includes <{name}>, of which this check does not know the Qt module"
        return None if module in qt_modules else f"includes <{name}>: {library} may not use Qt {module}"
    if name in STANDARD or name in THIRD_PARTY.get(library, ()):
        return None
    if library in SYSTEM_SIDE and SYSTEM.fullmatch(name):
        return None
    return f"includes <{name}>, which {library} may not use"


def breaches(relative, text):
    if Path(relative).suffix not in (".h", ".cpp"):
        yield "is neither a header nor a source"
        return
    library = library_of(relative)
    if library is None:
        yield "stands in a folder of no library"
        return
    code = COMMENT.sub("", text)
    for kind, name in INCLUDE.findall(code):
        if breach := include_breach(library, kind, name):
            yield breach
    if library not in SYSTEM_SIDE and (found := SYSTEM_IF.search(code)):
        yield f"asks for the system with {found.group(1)}"
    if not relative.startswith(SHARED_FOLDERS):
        for use in SHARED_USE.findall(SHARED_BODY.sub("", code)):
            yield f"uses {use} outside a shared() body"


# Breaches that the check must find, each in a file that is fine without it. An empty text is a file that is fine.
SELF_TEST = [
    ("core/X.h", "", False),
    ("core/X.h", "#include <QString>", True),
    ("core/X.h", "#include <unistd.h>", True),
    ("core/X.h", "#ifdef __linux", True),
    ("core/X.h", "#if __has_include(<sys/epoll.h>)", True),
    ("core/X.h", '#include "platform/Platform.h"', True),
    ("core/X.hpp", "", True),
    ("nowhere/X.h", "", True),
    ("storage/X.cpp", "#include <sqlite3.h>", False),
    ("storage/X.cpp", '#include "platform/Platform.h"', True),
    ("monitoring/collectors/X.cpp", "#include <QObject>", True),
    ("monitoring/X.cpp", '#include "storage/DatabaseManager.h"', True),
    ("monitoring/X.cpp", "auto& s = AppSettings::shared();", True),
    ("monitoring/X.cpp", "auto f = &AppSettings :: shared;", True),
    ("settings/AppSettings.cpp", "AppSettings& AppSettings::shared() {\n    return Other::shared();\n}\n", False),
    ("shell/X.cpp", "DatabaseManager::shared();", False),
    ("shell/X.cpp", "#include <QDBusConnection>", True),
    ("ctl/X.cpp", '#include "shell/StatusRow.h"', True),
    ("ctl/X.cpp", "#include <shell/StatusRow.h>", True),
    ("ctl/X.cpp", "#include <QWidget>", True),
    ("ctl/X.cpp", "#include <nlohmann/json.hpp>", False),
    ("platform/linux/LinuxPlatform.cpp", "#include <poll.h>", False),
    ("platform/linux/LinuxPlatform.cpp", "#include <storage/DatabaseManager.h>", True),
    ("platform/linux/LinuxPlatform.cpp", "#include <sqlite3.h>", True),
    ("platform/linux/ProcStat.cpp", "#include <qobject.h>", True),
    ("platform/linux/ProcStat.cpp", '#include "platform/linux/JsonDefaultsStore.h"', True),
]


def self_test():
    wrong = [(path, text) for path, text, is_breach in SELF_TEST if bool(list(breaches(path, text))) != is_breach]
    for path, text in wrong:
        print(f"self-test: {path} with {text!r} is judged wrongly")
    return not wrong


def main():
    if not self_test():
        sys.exit(1)
    root = Path(sys.argv[1]) / "src"
    files = sorted(p for p in root.rglob("*") if p.is_file() and p.name != "CMakeLists.txt")
    if not files:
        sys.exit(f"no sources below {root}")
    count = 0
    for source in files:
        relative = source.relative_to(root).as_posix()
        for breach in breaches(relative, source.read_text()):
            print(f"src/{relative}: {breach}")
            count += 1
    print(f"{len(files)} files, {count} breaches")
    sys.exit(1 if count else 0)


main()
