#include "TriskVXCountDownIconPainter.h"

#include <QApplication>
#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

namespace {
// Share of the plate the characters' height takes: digits stay big without touching the rounded edge.
const qreal kInkHeight = 0.64;
const qreal kInkWidth = 0.86;
const qreal kCornerRadius = 0.2;
// A count-down shows a handful of texts per size at a time; the limit only stops slow growth over days.
const qsizetype kCacheLimit = 64;
// The unit after the digits ("m" in "59m") is narrowed, leaving the width to the digits at 16 pixels.
const qreal kUnitWidth = 0.7;

QPainterPath outlineOf(const QString &text, const QFont &font)
{
    qsizetype digits = 0;
    while (digits < text.size() && text.at(digits).isDigit())
        ++digits;
    QPainterPath path;
    path.addText(0, 0, font, text.left(digits));
    QPainterPath unit;
    unit.addText(0, 0, font, text.mid(digits));
    QTransform narrowed;
    narrowed.translate(QFontMetricsF(font).horizontalAdvance(text.left(digits)), 0);
    narrowed.scale(kUnitWidth, 1.0);
    // The unit stands after the digits' advance, so the two never overlap: added, not united (uniting
    // turns every curve into polygons, the dearest step of a tick). Glyph contours are drawn for the
    // winding rule.
    path.addPath(narrowed.map(unit));
    path.setFillRule(Qt::WindingFill);
    return path;
}
} // namespace

const QList<int> TriskVXCountDownIconPainter::kSizes { 16, 24, 48 };

TriskVXCountDownIconPainter::TriskVXCountDownIconPainter()
    : TriskVXCountDownIconPainter(QApplication::palette().color(QPalette::WindowText),
                                  QApplication::palette().color(QPalette::Window))
{
}

TriskVXCountDownIconPainter::TriskVXCountDownIconPainter(const QColor &plate, const QColor &ink)
    : m_plate(plate)
    , m_ink(ink)
{
}

QImage TriskVXCountDownIconPainter::imageForText(const QString &text, int size) const
{
    if (text.isEmpty() || size <= 0)
        return QImage();
    const QString key = text + QLatin1Char('@') + QString::number(size);
    const auto cached = m_cache.constFind(key);
    if (cached != m_cache.constEnd())
        return *cached;
    if (m_cache.size() >= kCacheLimit)
        m_cache.clear();
    const QImage image = draw(text, size);
    m_cache.insert(key, image);
    return image;
}

QList<QImage> TriskVXCountDownIconPainter::imagesForText(const QString &text) const
{
    QList<QImage> images;
    for (int size : kSizes)
        images.append(imageForText(text, size));
    return images;
}

QImage TriskVXCountDownIconPainter::draw(const QString &text, int size) const
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_plate);
    const QRectF plate(0, 0, size, size);
    painter.drawRoundedRect(plate, kCornerRadius * size, kCornerRadius * size);

    // The outline of the characters, scaled to the plate: their ink, not the font's line box, fills it,
    // so two digits are as tall at 16 pixels as the font allows. A wide text is narrowed, never shrunk.
    // One outline serves every size of a tick's text. It is taken unhinted: it is scaled to the plate,
    // and running the font's hinting program for a 100-pixel outline only costs time.
    if (text != m_outlineText) {
        QFont font = QApplication::font();
        font.setBold(true);
        font.setPixelSize(100);
        font.setHintingPreference(QFont::PreferNoHinting);
        m_outline = outlineOf(text, font);
        m_outlineText = text;
    }
    const QPainterPath &path = m_outline;
    const QRectF ink = path.boundingRect();
    if (ink.isEmpty())
        return image;
    const qreal scaleY = kInkHeight * size / ink.height();
    const qreal scaleX = std::min(scaleY, kInkWidth * size / ink.width());
    QTransform transform;
    transform.translate(size / 2.0, size / 2.0);
    transform.scale(scaleX, scaleY);
    transform.translate(-ink.center().x(), -ink.center().y());
    painter.setBrush(m_ink);
    painter.drawPath(transform.map(path));
    painter.end();
    return image;
}
