#pragma once

#include <QByteArray>
#include <QImage>

// Reads PNG bytes with libpng directly. Qt's image reader loads every image format plugin (JPEG, GIF, ICO,
// SVG and the libraries behind them) before it settles on its own PNG reader; the built-in pictures are
// PNGs, and this keeps those plugins out of the process.
class TriskVXPngDecoder
{
public:
    // The picture as premultiplied ARGB32, or a null image when png holds no readable PNG.
    static QImage decode(const QByteArray &png);
};
