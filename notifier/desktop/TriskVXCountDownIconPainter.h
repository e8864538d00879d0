#pragma once

#include <QColor>
#include <QHash>
#include <QImage>
#include <QList>
#include <QPainterPath>
#include <QString>

// Draws the count-down as the status item's picture for hosts that show no text beside it: a few big
// characters ("42", "5m", "2h") on a plate of their own, so that they read on dark and light panels
// alike. Each text is drawn once per size and colour, so a tick whose text did not change costs a lookup.
class TriskVXCountDownIconPainter
{
public:
    // The sizes the item sends; hosts pick the nearest and scale, so 16 to 48 pixels stay sharp.
    static const QList<int> kSizes;

    // The plate takes the text colour of the desktop's palette and the characters its window colour,
    // the pairing every theme keeps legible.
    TriskVXCountDownIconPainter();
    TriskVXCountDownIconPainter(const QColor &plate, const QColor &ink);

    // A square picture of size pixels; null for an empty text or size.
    QImage imageForText(const QString &text, int size) const;
    // The text at every size in kSizes.
    QList<QImage> imagesForText(const QString &text) const;

private:
    QImage draw(const QString &text, int size) const;
    // The characters' outline at the size of their own the pictures are scaled from.
    QPainterPath outlineOf(const QString &text) const;

    QColor m_plate;
    QColor m_ink;
    mutable QHash<QString, QImage> m_cache;
    // The outline for the last text drawn, and each character's as the font gave it.
    mutable QString m_outlineText;
    mutable QPainterPath m_outline;
    mutable QHash<QChar, QPainterPath> m_glyphs;
};
