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
    "collectors": ("monitoring/collectors", CORE | {"platform"}, set()),
    "settings": ("settings", MODEL | {"platform"}, {"Core"}),
    "monitoring": ("monitoring", MODEL | {"platform", "collectors", "settings"}, {"Core"}),
    "shell": ("shell", MODEL | {"platform", "storage", "collectors", "settings", "monitoring"},
              {"Core", "Gui", "Widgets"}),
    "shell_linux": ("shell/linux", CORE | {"platform", "shell"}, {"Core", "Gui", "Widgets", "DBus"}),
    "platform_linux": ("platform/linux", CORE | {"platform"}, {"Core", "DBus"}),
    "app": ("app", None, {"Core", "Gui", "Widgets", "DBus"}),
    "ctl": ("ctl", None, {"Core", "DBus"}),
}

# The readers of platform/linux that run under the thread sanitizer, and so know no Qt.
QT_FREE_READERS = {"KernelFile", "LinuxMemorySource", "LinuxThreadSetup", "MemInfo", "PressureClassifier",
                   "ProcStat", "PsiPressureSource", "Terminal", "TextScan"}

QT_MODULES = {
    "Core": """QObject QString QStringList QByteArray QByteArrayView QTimer QThread QMetaObject QPointer QVariant
        QVariantMap QVariantList QJsonObject QJsonDocument QJsonValue QJsonArray QJsonParseError QSaveFile QFile
        QFileInfo QDir QLocale QCoreApplication QRect QRectF QPoint QPointF QSize QSizeF QHash QList QMap
        QSocketNotifier QElapsedTimer QtGlobal QAbstractNativeEventFilter QLatin1String QtEndian QDebug QEvent
        QLockFile QDateTime QScopedPointer QBasicTimer QTimerEvent QCborValue QSet QUrl QStringView
        QAbstractEventDispatcher QDeadlineTimer QSignalBlocker QStandardPaths QtMath QResource""".split(),
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

STANDARD = set("""algorithm array atomic barrier bit cctype cerrno cfloat charconv chrono climits clocale cmath compare
    concepts condition_variable csignal cstddef cstdint cstdio cstdlib cstring ctime deque exception filesystem
    fstream functional future initializer_list iomanip iostream iterator latch limits list locale map memory mutex
    new numbers numeric optional ostream random ratio regex semaphore set shared_mutex span sstream stdexcept
    stop_token string string_view system_error thread tuple type_traits typeindex unordered_map unordered_set
    utility variant vector version""".split())
THIRD_PARTY = {
    "storage": {"sqlite3.h"},
    "ctl": {"CLI/CLI.hpp", "nlohmann/json.hpp"},
    "platform_linux": {"libudev.h"},
}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
SYSTEM_IF = re.compile(r'^\s*#\s*(?:if|elif|ifdef|ifndef)\b.*\b(__linux__|__APPLE__|_WIN32|__unix__|Q_OS_\w+)', re.M)
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.S)
SHARED_CALL = re.compile(r"\b\w+::shared\(\)")
SHARED_FOLDERS = ("app/", "ctl/", "shell/", "widgets/")


def library_of(path):
    """The library whose folder is the longest prefix of a path below src/."""
    best = None
    for name, (folder, _, _) in LIBRARIES.items():
        if path.startswith(folder + "/") and (best is None or len(folder) > len(LIBRARIES[best][0])):
            best = name
    return best


def breaches(source, relative):
    library = library_of(relative)
    if library is None:
        yield "stands in a folder of no library"
        return
    _, may_use, qt_modules = LIBRARIES[library]
    is_system_side = library in ("platform_linux", "shell_linux")
    if library == "platform_linux" and Path(relative).stem in QT_FREE_READERS:
        qt_modules = set()
    text = source.read_text()
    for kind, name in INCLUDE.findall(text):
        if kind == '"':
            other = library_of(name)
            if other is None:
                if "/" in name or not name.endswith(".moc"):
                    yield f'includes "{name}", which is no path below src/'
            elif other != library and may_use is not None and other not in may_use:
                yield f"includes {name}: {library} may not use {other}"
        elif name.startswith("Q"):
            module = MODULE_OF.get(name)
            if module is None:
                yield f"includes <{name}>, of which this check does not know the Qt module"
            elif module not in qt_modules:
                yield f"includes <{name}>: {library} may not use Qt {module}"
        elif name in STANDARD or name in THIRD_PARTY.get(library, ()):
            continue
        elif not is_system_side:
            yield f"includes <{name}>, a header of the system or of a library that {library} may not use"
    code = COMMENT.sub("", text)
    if not is_system_side and (found := SYSTEM_IF.search(code)):
        yield f"asks for the system with {found.group(1)}"
    if not relative.startswith(SHARED_FOLDERS):
        outside = re.sub(r"\w+& \w+::shared\(\) \{.*?\n\}", "", code, flags=re.S)
        for call in SHARED_CALL.findall(outside):
            yield f"calls {call} outside a shared() body"


def main():
    root = Path(sys.argv[1]) / "src"
    files = sorted(p for p in root.rglob("*") if p.suffix in (".h", ".cpp"))
    if not files:
        sys.exit(f"no sources below {root}")
    count = 0
    for source in files:
        relative = source.relative_to(root).as_posix()
        for breach in breaches(source, relative):
            print(f"src/{relative}: {breach}")
            count += 1
    print(f"{len(files)} files, {count} breaches")
    sys.exit(1 if count else 0)


main()
