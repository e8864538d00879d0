#pragma once

#include <QByteArray>
#include <QImage>

// Encodes pictures as PNG straight through libpng. Qt's image writer loads every image format plugin
// before it settles on its own PNG writer (the SVG one brings Qt Svg, the JPEG one libjpeg), which a
// menu's pictures do not need.
class TriskVXPngEncoder
{
public:
    // The PNG of the picture, with its resolution and its text keys; empty when libpng fails, with the
    // reason logged.
    static QByteArray encode(const QImage &image);
};
