// SPDX-License-Identifier: Apache-2.0
#include "shell/RowFonts.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QResource>

#include "core/Log.h"

namespace corvanta {
namespace {

// The bytes are handed over where they lie in the executable: a file name would have Qt copy them.
QString loadFamily(const QString& path) {
    const QResource resource(path);
    const int id = QFontDatabase::addApplicationFontFromData(QByteArray::fromRawData(
        reinterpret_cast<const char*>(resource.data()), static_cast<qsizetype>(resource.size())));
    const QStringList families = QFontDatabase::applicationFontFamilies(id);
    if (families.isEmpty()) {
        logLine("Shell: cannot load the font " + path.toStdString());
        return {};
    }
    return families.first();
}

QFont font(const QString& family, QFont::Weight weight, double points) {
    QFont font(family);
    font.setWeight(weight);
    font.setPointSizeF(points);
    // Hinted advances are whole pixels, with which widths would depend on the screen.
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(static_cast<QFont::StyleStrategy>(QFont::PreferAntialias | QFont::NoFontMerging));
    return font;
}

// What metrics are taken from.
const QImage& referenceCanvas() {
    static const QImage image = rowCanvas(QSizeF(1, 1), 1);
    return image;
}

}  // namespace

QFont rowFont(double points) {
    static const QString family = loadFamily(QStringLiteral(":/corvanta/Lato-Medium.ttf"));
    return font(family, QFont::Medium, points);
}

QFont symbolFont(double points) {
    static const QString family = loadFamily(QStringLiteral(":/corvanta/MaterialIcons-Regular.ttf"));
    return font(family, QFont::Normal, points);
}

double textWidth(const QFont& font, const QString& text) {
    return QFontMetricsF(font, &referenceCanvas()).horizontalAdvance(text);
}

double capHeight(const QFont& font) {
    return QFontMetricsF(font, &referenceCanvas()).capHeight();
}

QImage rowCanvas(QSizeF size, double devicePixelRatio) {
    QImage image(qCeil(size.width() * devicePixelRatio), qCeil(size.height() * devicePixelRatio),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    constexpr int seventyTwoPerInch = 2835;
    image.setDotsPerMeterX(seventyTwoPerInch);
    image.setDotsPerMeterY(seventyTwoPerInch);
    image.fill(Qt::transparent);
    return image;
}

}  // namespace corvanta
