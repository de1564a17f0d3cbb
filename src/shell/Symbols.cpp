// SPDX-License-Identifier: Apache-2.0
#include "shell/Symbols.h"

#include <QFile>
#include <QFontMetricsF>
#include <QHash>

#include "shell/RowFonts.h"

namespace corvanta {
namespace {

// Lines of "name<TAB>icon<TAB>U+XXXX" under one heading line.
QHash<QString, QString> readGlyphs() {
    QHash<QString, QString> glyphs;
    QFile file(QStringLiteral(":/corvanta/icons.tsv"));
    if (!file.open(QIODevice::ReadOnly)) return glyphs;
    file.readLine();
    while (!file.atEnd()) {
        const QStringList fields = QString::fromUtf8(file.readLine()).trimmed().split(u'\t');
        if (fields.size() != 3) continue;
        const char32_t codePoint = fields[2].mid(2).toUInt(nullptr, 16);
        glyphs.insert(fields[0], QString::fromUcs4(&codePoint, 1));
    }
    return glyphs;
}

}  // namespace

QString symbolGlyph(const QString& name) {
    static const QHash<QString, QString> glyphs = readGlyphs();
    return glyphs.value(name);
}

void drawSymbol(QPainter& painter, QPointF center, const QString& name, double size, const QColor& color) {
    const QString glyph = symbolGlyph(name);
    if (glyph.isEmpty()) return;
    const QFont font = symbolFont(size);
    const QFontMetricsF metrics(font, painter.device());
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(
        center + QPointF(-metrics.horizontalAdvance(glyph) / 2, (metrics.ascent() - metrics.descent()) / 2),
        glyph);
}

QImage symbolImage(const QString& name, double size, const QColor& color, double devicePixelRatio) {
    if (symbolGlyph(name).isEmpty()) return {};
    QImage image = rowCanvas(QSizeF(size, size), devicePixelRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    drawSymbol(painter, QPointF(size / 2, size / 2), name, size, color);
    return image;
}

}  // namespace corvanta
