#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QImage>
#include <QList>
#include <QMetaType>

// One picture as StatusNotifierItem sends it, (iiay): width, height and ARGB32 pixels in network byte
// order.
struct TriskVXDBusImage
{
    int width = 0;
    int height = 0;
    QByteArray pixels;

    // The image in the protocol's layout; a null image gives an empty picture.
    static TriskVXDBusImage fromImage(const QImage &image);
    QImage toImage() const;
};
using TriskVXDBusImageList = QList<TriskVXDBusImage>;

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusImage &image);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusImage &image);

Q_DECLARE_METATYPE(TriskVXDBusImage)
Q_DECLARE_METATYPE(TriskVXDBusImageList)

// The tool tip, (sa(iiay)ss): icon name, icon pictures, title and description.
struct TriskVXDBusToolTip
{
    QString iconName;
    TriskVXDBusImageList images;
    QString title;
    QString description;
};

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusToolTip &toolTip);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusToolTip &toolTip);

Q_DECLARE_METATYPE(TriskVXDBusToolTip)

// Registers the types with QtDBus; once, before the first export.
void registerTriskVXDBusImageTypes();
