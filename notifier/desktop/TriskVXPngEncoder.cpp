#include "TriskVXPngEncoder.h"

#include "TriskVXDesktopLogging.h"

#include <png.h>

#include <csetjmp>
#include <vector>

namespace {
// Values this long go compressed, as the shared PNG writers do.
const qsizetype kLongestPlainText = 40;

void append(png_structp png, png_bytep data, png_size_t length)
{
    static_cast<QByteArray *>(png_get_io_ptr(png))->append(reinterpret_cast<const char *>(data), qsizetype(length));
}

void flush(png_structp) { }

void fail(png_structp png, png_const_charp message)
{
    qCWarning(lcTriskDesktop).noquote()
        << QStringLiteral("cannot encode a menu picture as PNG: %1").arg(QString::fromUtf8(message));
    png_longjmp(png, 1);
}

void warn(png_structp, png_const_charp) { }
// Kept apart from everything with a destructor: libpng reports an error by jumping back here.
bool write(QByteArray *png, const QImage &rows, png_text *chunks, int chunkCount)
{
    png_structp writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, warn);
    if (!writer) {
        qCWarning(lcTriskDesktop) << "cannot encode a menu picture as PNG: libpng has no memory";
        return false;
    }
    png_infop info = png_create_info_struct(writer);
    if (!info || setjmp(png_jmpbuf(writer))) {
        png_destroy_write_struct(&writer, &info);
        return false;
    }
    png_set_write_fn(writer, png, append, flush);
    png_set_IHDR(writer, info, png_uint_32(rows.width()), png_uint_32(rows.height()), 8,
                 rows.hasAlphaChannel() ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (rows.dotsPerMeterX() > 0 && rows.dotsPerMeterY() > 0)
        png_set_pHYs(writer, info, png_uint_32(rows.dotsPerMeterX()), png_uint_32(rows.dotsPerMeterY()),
                     PNG_RESOLUTION_METER);
    if (chunkCount > 0)
        png_set_text(writer, info, chunks, chunkCount);
    png_write_info(writer, info);
    for (int y = 0; y < rows.height(); ++y)
        png_write_row(writer, rows.constScanLine(y));
    png_write_end(writer, info);
    png_destroy_write_struct(&writer, &info);
    return true;
}
} // namespace

QByteArray TriskVXPngEncoder::encode(const QImage &image)
{
    if (image.isNull())
        return QByteArray();
    const bool opaque = !image.hasAlphaChannel();
    // Rows as libpng takes them: R, G, B(, A) bytes, alpha not premultiplied.
    const QImage rows = image.convertToFormat(opaque ? QImage::Format_RGB888 : QImage::Format_RGBA8888);
    const QStringList keys = rows.textKeys();
    std::vector<QByteArray> texts;
    texts.reserve(std::size_t(keys.size()) * 2);
    std::vector<png_text> chunks(std::size_t(keys.size()));
    for (qsizetype index = 0; index < keys.size(); ++index) {
        texts.push_back(keys.at(index).toLatin1());
        texts.push_back(rows.text(keys.at(index)).toUtf8());
        png_text &chunk = chunks[std::size_t(index)];
        chunk = {};
        chunk.key = texts[texts.size() - 2].data();
        chunk.text = texts.back().data();
        chunk.text_length = png_size_t(texts.back().size());
        chunk.compression
            = texts.back().size() < kLongestPlainText ? PNG_TEXT_COMPRESSION_NONE : PNG_TEXT_COMPRESSION_zTXt;
    }

    QByteArray png;
    if (!write(&png, rows, chunks.data(), int(chunks.size())))
        return QByteArray();
    return png;
}
