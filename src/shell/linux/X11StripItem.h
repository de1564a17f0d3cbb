// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractNativeEventFilter>
#include <QImage>
#include <QTimer>
#include <memory>

#include "shell/StatusItem.h"
#include "shell/linux/X11Desktop.h"

namespace corvanta {

/// The item as a small window of its own in the upper right corner of an X11 desktop, below any panel there.
/// It reserves its place, so that maximised windows leave it free, and grows to the left.
///
/// Owned by the program. Main thread only, on the xcb platform. Without a window manager, or with one that
/// ignores reservations, it floats above the other windows.
class X11StripItem final : public StatusItem, private QAbstractNativeEventFilter {
    Q_OBJECT

  public:
    explicit X11StripItem(QObject* parent = nullptr);
    ~X11StripItem() override;

    StatusCaps caps() const override;
    void setContent(const StatusRow& row) override;
    void setToolTip(std::function<QString()> text) override;
    void setAlpha(double alpha) override;
    double presentWidth() const override;
    std::optional<QRect> anchorRect() const override;
    bool pointerInside() const override;
    Appearance appearance() const override;
    double scale() const override;
    QScreen* screen() const override;
    void popUpMenu(QMenu* menu) override;

    /// The strip's window, for what talks to the window system.
    QWidget& window();

  private:
    class Window;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void follow(QScreen* screen);
    void settle();
    void checkScale();
    void render();
    void place();
    void reserve();
    int measureShellInset() const;
    /// The screen less what others reserve at its upper and right edge.
    QRect freeArea() const;

    std::unique_ptr<Window> window_;
    X11Desktop desktop_;
    QScreen* screen_ = nullptr;
    /// What a desktop shell reserves above by itself, without a window that says so. Device pixels.
    int shellInset_ = 0;
    /// Whether `shellInset_` is known for good. Until then the strip reserves nothing, since the work area
    /// could not tell the two apart.
    bool settled_ = false;
    Strut::Edge reserved_;
    StatusRow row_;
    double renderedScale_ = 0;
    QTimer settleSoon_;
};

}  // namespace corvanta
