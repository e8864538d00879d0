#pragma once

#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

// The records of com.canonical.dbusmenu, kept together as the protocol defines them together.

// (ia{sv}av): an item, its properties and its children (each a variant holding such a record).
struct TriskVXDBusMenuLayoutItem
{
    int id = 0;
    QVariantMap properties;
    QList<TriskVXDBusMenuLayoutItem> children;
};

// (ia{sv}): an item's properties.
struct TriskVXDBusMenuItem
{
    int id = 0;
    QVariantMap properties;
};
using TriskVXDBusMenuItemList = QList<TriskVXDBusMenuItem>;

// (ias): an item's removed property names.
struct TriskVXDBusMenuItemKeys
{
    int id = 0;
    QStringList names;
};
using TriskVXDBusMenuItemKeysList = QList<TriskVXDBusMenuItemKeys>;

// (isvu): one event of EventGroup.
struct TriskVXDBusMenuEvent
{
    int id = 0;
    QString eventId;
    QDBusVariant data;
    uint timestamp = 0;
};
using TriskVXDBusMenuEventList = QList<TriskVXDBusMenuEvent>;

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuLayoutItem &item);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuLayoutItem &item);
QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuItem &item);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuItem &item);
QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuItemKeys &keys);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuItemKeys &keys);
QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuEvent &event);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuEvent &event);

Q_DECLARE_METATYPE(TriskVXDBusMenuLayoutItem)
Q_DECLARE_METATYPE(TriskVXDBusMenuItem)
Q_DECLARE_METATYPE(TriskVXDBusMenuItemList)
Q_DECLARE_METATYPE(TriskVXDBusMenuItemKeys)
Q_DECLARE_METATYPE(TriskVXDBusMenuItemKeysList)
Q_DECLARE_METATYPE(TriskVXDBusMenuEvent)
Q_DECLARE_METATYPE(TriskVXDBusMenuEventList)

// Registers the types with QtDBus; once, before the first export.
void registerTriskVXDBusMenuTypes();
