#include "TriskVXDBusImage.h"

#include <QDBusMetaType>
#include <QtEndian>

TriskVXDBusImage TriskVXDBusImage::fromImage(const QImage &image)
{
    TriskVXDBusImage result;
    if (image.isNull())
        return result;
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    result.width = argb.width();
    result.height = argb.height();
    result.pixels.resize(qsizetype(result.width) * result.height * 4);
    auto *out = reinterpret_cast<uchar *>(result.pixels.data());
    for (int y = 0; y < result.height; ++y) {
        const auto *line = reinterpret_cast<const quint32 *>(argb.constScanLine(y));
        for (int x = 0; x < result.width; ++x, out += 4)
            qToBigEndian<quint32>(line[x], out);
    }
    return result;
}

QImage TriskVXDBusImage::toImage() const
{
    if (width <= 0 || height <= 0 || pixels.size() != qsizetype(width) * height * 4)
        return QImage();
    QImage image(width, height, QImage::Format_ARGB32);
    const auto *in = reinterpret_cast<const uchar *>(pixels.constData());
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < width; ++x, in += 4)
            line[x] = qFromBigEndian<quint32>(in);
    }
    return image;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusImage &image)
{
    argument.beginStructure();
    argument << image.width << image.height << image.pixels;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusImage &image)
{
    argument.beginStructure();
    argument >> image.width >> image.height >> image.pixels;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusToolTip &toolTip)
{
    argument.beginStructure();
    argument << toolTip.iconName << toolTip.images << toolTip.title << toolTip.description;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusToolTip &toolTip)
{
    argument.beginStructure();
    argument >> toolTip.iconName >> toolTip.images >> toolTip.title >> toolTip.description;
    argument.endStructure();
    return argument;
}

void registerTriskVXDBusImageTypes()
{
    qDBusRegisterMetaType<TriskVXDBusImage>();
    qDBusRegisterMetaType<TriskVXDBusImageList>();
    qDBusRegisterMetaType<TriskVXDBusToolTip>();
}
