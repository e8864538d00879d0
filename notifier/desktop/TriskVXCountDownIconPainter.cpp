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
// The size the outline is taken at, and the pen that traces it, as a share of that size: the strokes
// come out as heavy as a bold face's.
const int kOutlinePixels = 100;
const qreal kWeight = 0.06;
const qreal kDiagonal = 0.70710678;
const QPointF kAround[] { { 0, 0 },   { 1, 0 },           { kDiagonal, kDiagonal },   { 0, 1 },
                          { -kDiagonal, kDiagonal }, { -1, 0 }, { -kDiagonal, -kDiagonal }, { 0, -1 },
                          { kDiagonal, -kDiagonal } };

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
    // and running the font's hinting program for a 100-pixel outline only costs time. The characters are
    // the interface font's own, made heavier as a pen tracing their outline would: the bold face would be
    // one more font file read into memory (a quarter of a megabyte) for two or three characters.
    if (text != m_outlineText) {
        QFont font = QApplication::font();
        font.setPixelSize(kOutlinePixels);
        font.setHintingPreference(QFont::PreferNoHinting);
        m_outline = outlineOf(text, font);
        m_outlineText = text;
    }
    const QPainterPath &path = m_outline;
    const qreal weight = kWeight * kOutlinePixels;
    const QRectF ink = path.boundingRect().adjusted(-weight / 2, -weight / 2, weight / 2, weight / 2);
    if (path.isEmpty())
        return image;
    const qreal scaleY = kInkHeight * size / ink.height();
    const qreal scaleX = std::min(scaleY, kInkWidth * size / ink.width());
    QTransform transform;
    transform.translate(size / 2.0, size / 2.0);
    transform.scale(scaleX, scaleY);
    transform.translate(-ink.center().x(), -ink.center().y());
    // Heavier without a pen: the outline is filled at its place and at eight points of a small circle
    // around it, which together cover it grown by the circle's radius, as a round pen would. A pen's
    // stroker brings in the maths library's trigonometry, a few hundred kilobytes more in memory.
    painter.setBrush(m_ink);
    for (const QPointF &offset : kAround) {
        painter.setTransform(transform);
        painter.translate(offset * (weight / 2));
        painter.drawPath(path);
    }
    painter.end();
    return image;
}
