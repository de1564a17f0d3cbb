// SPDX-License-Identifier: Apache-2.0
#include "shell/OffscreenItem.h"

#include <QGuiApplication>
#include <QtMath>
#include <utility>

namespace corvanta {
namespace {

constexpr int itemHeight = 24;

}  // namespace

StatusCaps OffscreenItem::caps() const {
    return {.row = true, .hover = true, .anchor = true, .fade = true};
}

void OffscreenItem::setContent(const StatusRow& row) {
    ++calls_.setContent;
    calls_.row = row;
    render();
}

void OffscreenItem::setToolTip(std::function<QString()> text) {
    ++calls_.setToolTip;
    calls_.toolTip = std::move(text);
}

QString OffscreenItem::toolTip() const {
    return calls_.toolTip ? calls_.toolTip() : QString();
}

void OffscreenItem::setAlpha(double alpha) {
    ++calls_.setAlpha;
    calls_.alpha = alpha;
}

double OffscreenItem::presentWidth() const {
    return calls_.row ? calls_.row->width() : 0;
}

std::optional<QRect> OffscreenItem::anchorRect() const {
    const QRect available = screen()->availableGeometry();
    const int width = qCeil(presentWidth());
    return QRect(available.right() + 1 - width, available.top(), width, itemHeight);
}

bool OffscreenItem::pointerInside() const {
    return pointerInside_;
}

Appearance OffscreenItem::appearance() const {
    return appearance_;
}

double OffscreenItem::scale() const {
    return scale_;
}

QScreen* OffscreenItem::screen() const {
    return QGuiApplication::primaryScreen();
}

void OffscreenItem::popUpMenu(QMenu* menu) {
    ++calls_.popUpMenu;
    calls_.menu = menu;
    menu->popup(anchorRect()->bottomLeft());
}

void OffscreenItem::click(Qt::MouseButton button) {
    if (button == Qt::LeftButton) Q_EMIT primaryClicked();
    if (button == Qt::RightButton) Q_EMIT secondaryClicked();
}

void OffscreenItem::setPointerInside(bool inside) {
    if (inside == pointerInside_) return;
    pointerInside_ = inside;
    if (inside) {
        Q_EMIT entered();
    } else {
        Q_EMIT left();
    }
}

void OffscreenItem::setAppearance(Appearance appearance) {
    if (appearance == appearance_) return;
    appearance_ = appearance;
    Q_EMIT appearanceChanged();
}

void OffscreenItem::setScale(double scale) {
    if (qFuzzyCompare(scale, scale_)) return;
    scale_ = scale;
    if (calls_.row) render();
    Q_EMIT scaleChanged();
}

void OffscreenItem::render() {
    image_ = renderRow(*calls_.row, itemHeight, scale_);
}

}  // namespace corvanta
