// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/X11StripItem.h"

#include <QtGui/qguiapplication_platform.h>
#include <QAccessibleWidget>
#include <QCursor>
#include <QEnterEvent>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>
#include <QWidget>
#include <QtMath>
#include <algorithm>
#include <chrono>
#include <utility>

namespace corvanta {
namespace {

constexpr int stripHeight = 24;
constexpr int topMargin = 1;
constexpr int bottomMargin = 1;
constexpr int rightMargin = 4;
constexpr int menuGap = 2;

xcb_connection_t* qtConnection() {
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

// A screen's origin is in device pixels in both coordinate systems.
QRect deviceGeometry(const QScreen& screen) {
    const QRect geometry = screen.geometry();
    return {geometry.topLeft(), (QSizeF(geometry.size()) * screen.devicePixelRatio()).toSize()};
}

// A reservation reaches down from the upper edge of the whole desktop, over the screens in between.
bool isBelowAnother(const QScreen& screen) {
    const QRect own = screen.geometry();
    const QList<QScreen*> all = QGuiApplication::screens();
    return std::any_of(all.begin(), all.end(), [&](const QScreen* other) {
        const QRect that = other->geometry();
        return that.top() < own.top() && that.left() <= own.right() && that.right() >= own.left();
    });
}

}  // namespace

/// The window itself: paints the row and turns its events into the item's signals.
class X11StripItem::Window final : public QWidget {
  public:
    explicit Window(X11StripItem& item)
        : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                               Qt::NoDropShadowWindowHint),
          item_(item) {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_Hover);
        // The window is never active, and Qt shows tips on active windows only.
        setAttribute(Qt::WA_AlwaysShowToolTips);
        setMouseTracking(true);
        setWindowTitle(QStringLiteral("Corvanta status item"));
        setAccessibleName(QStringLiteral("Corvanta"));
    }

    void showRow(const QImage& image, const QColor& ground) {
        image_ = image;
        ground_ = ground;
        update();
        if (hovered_ && QToolTip::isVisible()) showTip();
    }
    void setTip(std::function<QString()> text) { tip_ = std::move(text); }
    void setAlpha(double alpha) {
        alpha_ = alpha;
        update();
    }
    void press() { Q_EMIT item_.primaryClicked(); }

  protected:
    bool event(QEvent* event) override {
        if (event->type() != QEvent::ToolTip) return QWidget::event(event);
        tipPosition_ = static_cast<QHelpEvent*>(event)->globalPos();
        showTip();
        return true;
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(rect(), ground_);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter.setOpacity(alpha_);
        painter.drawImage(QPointF(0, 0), image_);
    }
    // A move or resize under a still pointer enters anew.
    void enterEvent(QEnterEvent*) override {
        if (!std::exchange(hovered_, true)) Q_EMIT item_.entered();
    }
    void leaveEvent(QEvent*) override {
        if (std::exchange(hovered_, false)) Q_EMIT item_.left();
    }
    void mouseReleaseEvent(QMouseEvent* event) override {
        if (!rect().contains(event->position().toPoint())) return;
        if (event->button() == Qt::LeftButton) Q_EMIT item_.primaryClicked();
        if (event->button() == Qt::RightButton) Q_EMIT item_.secondaryClicked();
    }
    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::PaletteChange) Q_EMIT item_.appearanceChanged();
        QWidget::changeEvent(event);
    }

  private:
    void showTip() {
        if (tip_) QToolTip::showText(tipPosition_, tip_(), this);
    }

    X11StripItem& item_;
    std::function<QString()> tip_;
    QPoint tipPosition_;
    QImage image_;
    QColor ground_ = Qt::transparent;
    double alpha_ = 1;
    bool hovered_ = false;
};

namespace {

/// The strip to assistive programs: a button that reads the row.
template <class Strip>
class StripAccessible final : public QAccessibleWidget {
  public:
    explicit StripAccessible(Strip* strip) : QAccessibleWidget(strip, QAccessible::Button), strip_(strip) {}

    QStringList actionNames() const override { return {QAccessibleActionInterface::pressAction()}; }
    void doAction(const QString& name) override {
        if (name == QAccessibleActionInterface::pressAction()) strip_->press();
    }

  private:
    Strip* strip_;
};

}  // namespace

X11StripItem::X11StripItem(QObject* parent)
    : StatusItem(parent), window_(std::make_unique<Window>(*this)), desktop_(qtConnection()) {
    QAccessible::installFactory([](const QString&, QObject* object) -> QAccessibleInterface* {
        auto* strip = dynamic_cast<Window*>(object);
        return strip ? new StripAccessible(strip) : nullptr;
    });
    desktop_.makeDock(window_->winId());
    connect(window_->windowHandle(), &QWindow::screenChanged, this, &X11StripItem::checkScale);

    // Panels set their reservation about when their windows come, and the work area follows what has gone.
    settleSoon_.setSingleShot(true);
    settleSoon_.setInterval(std::chrono::milliseconds(100));
    connect(&settleSoon_, &QTimer::timeout, this, &X11StripItem::settle);

    follow(QGuiApplication::primaryScreen());
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &X11StripItem::follow);
    qGuiApp->installNativeEventFilter(this);
}

X11StripItem::~X11StripItem() {
    qGuiApp->removeNativeEventFilter(this);
}

StatusCaps X11StripItem::caps() const {
    return {.row = true, .hover = true, .anchor = true, .fade = true};
}

void X11StripItem::setContent(const StatusRow& row) {
    row_ = row;
    if (window_->accessibleDescription() != row.plainText) window_->setAccessibleDescription(row.plainText);
    render();
    place();
    window_->show();
}

void X11StripItem::setToolTip(std::function<QString()> text) {
    window_->setTip(std::move(text));
}

void X11StripItem::setAlpha(double alpha) {
    window_->setAlpha(alpha);
}

double X11StripItem::presentWidth() const {
    return row_.runs.empty() ? 0 : row_.width();
}

std::optional<QRect> X11StripItem::anchorRect() const {
    return window_->geometry();
}

bool X11StripItem::pointerInside() const {
    return window_->isVisible() && window_->geometry().contains(QCursor::pos());
}

Appearance X11StripItem::appearance() const {
    return window_->palette().window().color().lightness() < 128 ? Appearance::dark : Appearance::light;
}

double X11StripItem::scale() const {
    return window_->devicePixelRatioF();
}

QScreen* X11StripItem::screen() const {
    return screen_;
}

void X11StripItem::popUpMenu(QMenu* menu) {
    menu->popup(window_->geometry().bottomLeft() + QPoint(0, menuGap));
}

QWidget& X11StripItem::window() {
    return *window_;
}

bool X11StripItem::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    // Two panels of one height leave the work area as it was: only the list of windows tells of the second.
    if (eventType == "xcb_generic_event_t" &&
        desktop_.isClientListChange(static_cast<const xcb_generic_event_t*>(message))) {
        settleSoon_.start();
    }
    return false;
}

void X11StripItem::follow(QScreen* screen) {
    if (screen == nullptr || screen == screen_) return;
    if (screen_ != nullptr) screen_->disconnect(this);
    screen_ = screen;
    settled_ = false;
    reserved_ = {};
    desktop_.reserveTop(window_->winId(), reserved_);
    shellInset_ = measureShellInset();
    settleSoon_.start();

    const auto moved = [this] {
        checkScale();
        place();
    };
    connect(screen, &QScreen::availableGeometryChanged, this, moved);
    connect(screen, &QScreen::geometryChanged, this, moved);
    place();
}

void X11StripItem::settle() {
    if (!std::exchange(settled_, true)) shellInset_ = measureShellInset();
    place();
}

void X11StripItem::checkScale() {
    if (row_.runs.empty() || renderedScale_ == scale()) return;
    render();
    Q_EMIT scaleChanged();
}

void X11StripItem::render() {
    renderedScale_ = scale();
    QColor ground = Qt::transparent;
    if (!desktop_.hasCompositor()) {
        // Nothing shines through, and the corners would be black.
        ground = row_.chip.background;
        ground.setAlpha(255);
    }
    window_->showRow(renderRow(row_, stripHeight, renderedScale_), ground);
}

void X11StripItem::place() {
    if (row_.runs.empty()) return;
    const QRect area = freeArea();
    const int width = qCeil(row_.width());
    const QRect geometry(area.right() + 1 - rightMargin - width, area.top() + topMargin, width, stripHeight);
    if (window_->geometry() != geometry) {
        window_->setFixedSize(geometry.size());
        window_->move(geometry.topLeft());
    }
    if (settled_) reserve();
}

int X11StripItem::measureShellInset() const {
    const ScreenInsets told =
        insetsOf(desktop_.strutsExcept(window_->winId()), deviceGeometry(*screen_), desktop_.width());
    const int lacking = qRound((screen_->availableGeometry().top() - screen_->geometry().top()) *
                               screen_->devicePixelRatio());
    return lacking > told.top ? lacking : 0;
}

QRect X11StripItem::freeArea() const {
    const double ratio = screen_->devicePixelRatio();
    const ScreenInsets insets =
        insetsOf(desktop_.strutsExcept(window_->winId()), deviceGeometry(*screen_), desktop_.width());
    const int top = std::max(insets.top, shellInset_);
    return screen_->geometry().adjusted(0, qCeil(top / ratio), -qCeil(insets.right / ratio), 0);
}

void X11StripItem::reserve() {
    const QRect screen = screen_->geometry();
    const QRect device = deviceGeometry(*screen_);
    const double ratio = screen_->devicePixelRatio();
    const QRect strip = window_->geometry();
    const auto deviceX = [&](double x) { return device.left() + qRound((x - screen.left()) * ratio); };
    const int bottom = device.top() + qCeil((strip.bottom() + 1 + bottomMargin - screen.top()) * ratio);
    const Strut::Edge top{.size = isBelowAnother(*screen_) ? 0 : static_cast<std::uint32_t>(bottom),
                          .start = static_cast<std::uint32_t>(deviceX(strip.left())),
                          .end = static_cast<std::uint32_t>(deviceX(strip.right() + 1) - 1)};
    if (top == reserved_) return;
    reserved_ = top;
    desktop_.reserveTop(window_->winId(), top);
}

}  // namespace corvanta
