#include "TriskVXDBusMenuTypes.h"

#include <QDBusMetaType>

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuLayoutItem &item)
{
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.beginArray(qMetaTypeId<QDBusVariant>());
    for (const TriskVXDBusMenuLayoutItem &child : item.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuLayoutItem &item)
{
    argument.beginStructure();
    argument >> item.id >> item.properties;
    item.children.clear();
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        const QVariant value = child.variant();
        TriskVXDBusMenuLayoutItem childItem;
        if (value.canConvert<QDBusArgument>())
            value.value<QDBusArgument>() >> childItem;
        else
            childItem = value.value<TriskVXDBusMenuLayoutItem>();
        item.children.append(childItem);
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuItem &item)
{
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuItem &item)
{
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuItemKeys &keys)
{
    argument.beginStructure();
    argument << keys.id << keys.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuItemKeys &keys)
{
    argument.beginStructure();
    argument >> keys.id >> keys.names;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusMenuEvent &event)
{
    argument.beginStructure();
    argument << event.id << event.eventId << event.data << event.timestamp;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusMenuEvent &event)
{
    argument.beginStructure();
    argument >> event.id >> event.eventId >> event.data >> event.timestamp;
    argument.endStructure();
    return argument;
}

void registerTriskVXDBusMenuTypes()
{
    qDBusRegisterMetaType<TriskVXDBusMenuLayoutItem>();
    qDBusRegisterMetaType<TriskVXDBusMenuItem>();
    qDBusRegisterMetaType<TriskVXDBusMenuItemList>();
    qDBusRegisterMetaType<TriskVXDBusMenuItemKeys>();
    qDBusRegisterMetaType<TriskVXDBusMenuItemKeysList>();
    qDBusRegisterMetaType<TriskVXDBusMenuEvent>();
    qDBusRegisterMetaType<TriskVXDBusMenuEventList>();
    qDBusRegisterMetaType<QList<int>>();
}
