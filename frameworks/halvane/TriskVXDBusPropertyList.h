#pragma once

#include <QDBusArgument>
#include <QMetaType>
#include <QString>
#include <QVariant>

// A date on the wire: the D-Bus struct (x), milliseconds since 1970-01-01T00:00:00Z. Property lists
// have no other struct, so every struct in the protocol is a date.
struct TriskVXDBusDate
{
    qint64 msecsSinceEpoch = 0;
};
Q_DECLARE_METATYPE(TriskVXDBusDate)

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusDate &date);
const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusDate &date);

// Turns property-list values into what QtDBus marshals and back, keeping every type exact: dictionaries
// a{sv}, arrays av (record lists aa{sv}), strings s, booleans b, integers x (t above the signed range),
// reals d, data ay, dates (x).
class TriskVXDBusPropertyList
{
public:
    // Registers the D-Bus types; safe to call more than once.
    static void registerTypes();

    // A value QtDBus can marshal; dates become TriskVXDBusDate. An invalid QVariant (nil) cannot
    // travel and is answered invalid.
    static QVariant encode(const QVariant &propertyList);
    static QVariantMap encodeMap(const QVariantMap &map);
    static QList<QVariantMap> encodeRecordList(const QVariantList &records);

    // A property-list value from what QtDBus delivered (plain values, QDBusVariant, QDBusArgument);
    // invalid with a message in error when the value is not a property list.
    static QVariant decode(const QVariant &value, QString *error = nullptr);
    static QVariant decodeArgument(const QDBusArgument &argument, QString *error = nullptr);
};
