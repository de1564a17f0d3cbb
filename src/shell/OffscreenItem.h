// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointer>

#include "shell/StatusItem.h"

namespace corvanta {

/// The host without a display. It draws like a real one, remembers what it was given last, and can be clicked
/// and pointed at by hand.
///
/// Owned by the program or by a test. Main thread only. It never fails.
class OffscreenItem final : public StatusItem {
    Q_OBJECT

  public:
    using StatusItem::StatusItem;

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

    // What happens at the item.
    void click(Qt::MouseButton button);
    void setPointerInside(bool inside);
    void setAppearance(Appearance appearance);
    void setScale(double scale);

    /// How often each operation was called, and with what at last.
    struct Calls {
        int setContent = 0;
        int setToolTip = 0;
        int setAlpha = 0;
        int popUpMenu = 0;
        std::optional<StatusRow> row;
        std::function<QString()> toolTip;
        double alpha = 1;
        QPointer<QMenu> menu;
    };
    const Calls& calls() const { return calls_; }
    /// The help text that pointing at the item would show now.
    QString toolTip() const;
    /// The row as it was drawn; null before the first.
    const QImage& image() const { return image_; }

  private:
    void render();

    Calls calls_;
    QImage image_;
    bool pointerInside_ = false;
    Appearance appearance_ = Appearance::dark;
    double scale_ = 1;
};

}  // namespace corvanta
