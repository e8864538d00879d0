#include "TriskVXPngDecoder.h"

#include <QSysInfo>

#include <png.h>

QImage TriskVXPngDecoder::decode(const QByteArray &png)
{
    png_image reader {};
    reader.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&reader, png.constData(), png_size_t(png.size())))
        return QImage();
    // QImage's ARGB32 keeps each pixel as one 0xAARRGGBB word: BGRA bytes on a little-endian machine.
    reader.format = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;
    QImage image(int(reader.width), int(reader.height), QImage::Format_ARGB32);
    if (image.isNull()) {
        png_image_free(&reader);
        return QImage();
    }
    if (!png_image_finish_read(&reader, nullptr, image.bits(), image.bytesPerLine(), nullptr))
        return QImage();
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}
