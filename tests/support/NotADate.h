#pragma once

#include <QDBusArgument>
#include <QMetaType>
#include <QString>

// A D-Bus struct that is not the protocol's date (x), the one value a peer can send that is no property list.
struct NotADate
{
    QString text;
    int number = 0;
};
Q_DECLARE_METATYPE(NotADate)

inline QDBusArgument &operator<<(QDBusArgument &argument, const NotADate &value)
{
    argument.beginStructure();
    argument << value.text << value.number;
    argument.endStructure();
    return argument;
}

inline const QDBusArgument &operator>>(const QDBusArgument &argument, NotADate &value)
{
    argument.beginStructure();
    argument >> value.text >> value.number;
    argument.endStructure();
    return argument;
}
