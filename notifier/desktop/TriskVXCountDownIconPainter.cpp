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
// The size the outline is taken at, and how much the strokes grow, as a share of that size: as heavy as
// a bold face's. The characters are laid at their place and around a circle of half that growth.
const int kOutlinePixels = 100;
const qreal kWeight = 0.06;
const qreal kDiagonal = 0.70710678;
const QPointF kAround[] { { 0, 0 },
                          { 1, 0 },
                          { kDiagonal, kDiagonal },
                          { 0, 1 },
                          { -kDiagonal, kDiagonal },
                          { -1, 0 },
                          { -kDiagonal, -kDiagonal },
                          { 0, -1 },
                          { kDiagonal, -kDiagonal } };

QImage transparentSquare(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// Shapes filled with colour, smoothed, without an outline.
void fillWith(QPainter &painter, const QColor &colour)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
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

QPainterPath TriskVXCountDownIconPainter::outlineOf(const QString &text) const
{
    // Each character's outline is taken from the font once: the font engine runs the font's hinting
    // program whenever it gives an outline, and a count-down shows the same dozen characters all along.
    QFont font = QApplication::font();
    font.setPixelSize(kOutlinePixels);
    const QFontMetricsF metrics(font);
    qsizetype digits = 0;
    while (digits < text.size() && text.at(digits).isDigit())
        ++digits;
    // Glyph contours are drawn for the winding rule. The characters stand side by side and never
    // overlap, so their outlines are added, not united (uniting turns every curve into polygons).
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    qreal x = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        auto glyph = m_glyphs.constFind(character);
        if (glyph == m_glyphs.cend()) {
            QPainterPath outline;
            outline.addText(0, 0, font, QString(character));
            glyph = m_glyphs.insert(character, outline);
        }
        const qreal width = i < digits ? 1.0 : kUnitWidth;
        QTransform place;
        place.translate(x, 0);
        place.scale(width, 1.0);
        path.addPath(place.map(*glyph));
        x += width * metrics.horizontalAdvance(character);
    }
    return path;
}

QImage TriskVXCountDownIconPainter::draw(const QString &text, int size) const
{
    QImage image = transparentSquare(size);
    QPainter painter(&image);
    fillWith(painter, m_plate);
    const QRectF plate(0, 0, size, size);
    painter.drawRoundedRect(plate, kCornerRadius * size, kCornerRadius * size);

    // The outline of the characters, scaled to the plate: their ink, not the font's line box, fills it,
    // so two digits are as tall at 16 pixels as the font allows. A wide text is narrowed, never shrunk.
    // One outline serves every size of a tick's text. The characters are the interface font's own, made
    // heavier as a pen tracing their outline would: the bold face would be one more font file read into
    // memory (a quarter of a megabyte) for two or three characters.
    if (text != m_outlineText) {
        m_outline = outlineOf(text);
        m_outlineText = text;
    }
    const QPainterPath &path = m_outline;
    if (path.isEmpty())
        return image;
    const qreal weight = kWeight * kOutlinePixels;
    const QRectF ink = path.boundingRect().adjusted(-weight / 2, -weight / 2, weight / 2, weight / 2);
    const qreal scaleY = kInkHeight * size / ink.height();
    const qreal scaleX = std::min(scaleY, kInkWidth * size / ink.width());
    QTransform transform;
    transform.translate(size / 2.0, size / 2.0);
    transform.scale(scaleX, scaleY);
    transform.translate(-ink.center().x(), -ink.center().y());
    // Heavier without a pen: the characters are drawn once, on a layer of their own, and the layer is
    // laid on the plate at its place and at eight points of a small circle around it, which together
    // cover the characters grown by the circle's radius, as a round pen would. A pen's stroker brings in
    // the maths library's trigonometry (a few hundred kilobytes more in memory), and filling the outline
    // nine times cost most of a tick.
    QImage characters = transparentSquare(size);
    QPainter layer(&characters);
    fillWith(layer, m_ink);
    layer.setTransform(transform);
    layer.drawPath(path);
    layer.end();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QPointF radius(scaleX * weight / 2, scaleY * weight / 2);
    for (const QPointF &offset : kAround)
        painter.drawImage(QPointF(offset.x() * radius.x(), offset.y() * radius.y()), characters);
    painter.end();
    return image;
}
