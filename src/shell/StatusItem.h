// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMenu>
#include <QObject>
#include <QRect>
#include <QScreen>
#include <QString>
#include <functional>
#include <optional>

#include "shell/RowTheme.h"
#include "shell/StatusRow.h"

namespace corvanta {

/// What a host of the status item can do.
struct StatusCaps {
    bool row = false;     ///< it draws the whole row
    bool hover = false;   ///< it tells `entered` and `left`
    bool anchor = false;  ///< `anchorRect` is a real place
    bool fade = false;    ///< `setAlpha` has an effect

    bool operator==(const StatusCaps&) const = default;
};

/// The program's place on the desktop, whatever kind of desktop it is.
///
/// Owned by the program from its start to its end. Main thread only. It does not fail: a host that cannot do
/// something says so in `caps` and ignores the call.
class StatusItem : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

    virtual StatusCaps caps() const = 0;

    /// Shows a row in place of the last one. The item appears with the first.
    virtual void setContent(const StatusRow& row) = 0;
    /// `text` is called on the main thread whenever the help text is to be shown, and at no other time.
    virtual void setToolTip(std::function<QString()> text) = 0;
    /// 0 is invisible, 1 is opaque.
    virtual void setAlpha(double alpha) = 0;

    /// The width of the row that is shown, 0 before the first.
    virtual double presentWidth() const = 0;
    /// Where the item is, in global device-independent pixels; nullopt when that cannot be known.
    virtual std::optional<QRect> anchorRect() const = 0;
    virtual bool pointerInside() const = 0;
    virtual Appearance appearance() const = 0;
    /// Device pixels per device-independent pixel.
    virtual double scale() const = 0;
    virtual QScreen* screen() const = 0;

    /// Drops the menu from the item and returns at once. The menu stays the caller's.
    virtual void popUpMenu(QMenu* menu) = 0;

  Q_SIGNALS:
    void primaryClicked();
    void secondaryClicked();
    void entered();
    void left();
    void appearanceChanged();
    void scaleChanged();
    void hostChanged(bool present);
};

}  // namespace corvanta
