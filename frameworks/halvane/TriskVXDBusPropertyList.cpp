#include "TriskVXDBusPropertyList.h"

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusVariant>
#include <QDateTime>
#include <QMultiHash>
#include <QSet>

#include <algorithm>
#include <limits>

QDBusArgument &operator<<(QDBusArgument &argument, const TriskVXDBusDate &date)
{
    argument.beginStructure();
    argument << date.msecsSinceEpoch;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TriskVXDBusDate &date)
{
    argument.beginStructure();
    argument >> date.msecsSinceEpoch;
    argument.endStructure();
    return argument;
}

namespace {

void setError(QString *error, const QString &message)
{
    if (error && error->isEmpty())
        *error = message;
}

const QString kDateSignature = QStringLiteral("(x)");

// Strings met while decoding one value share one copy each. A published list of 10,000 records repeats
// the same few dozen keys in every record, and many short values (types, names, ids that recur across
// records): without sharing, each is a heap block of its own, kept as long as the list is.
// Dictionaries and arrays equal to one met before share that copy as well: a queued trigger repeats its
// trigger inside its event, and events often carry the same actions. Every dictionary entry is a heap
// node of its own, so a thousand pending records keep half a megabyte less.
const qsizetype kLongestShared = 64;

struct SharedValues
{
    QSet<QString> strings;
    QMultiHash<size_t, QVariant> containers;
};
thread_local SharedValues *t_shared = nullptr;

// Opens the tables for the outermost decode on this thread; nested decodes use the same ones.
class SharedValuesScope
{
public:
    SharedValuesScope()
        : m_outermost(t_shared == nullptr)
    {
        if (m_outermost)
            t_shared = &m_values;
    }
    ~SharedValuesScope()
    {
        if (m_outermost)
            t_shared = nullptr;
    }
    SharedValuesScope(const SharedValuesScope &) = delete;
    SharedValuesScope &operator=(const SharedValuesScope &) = delete;

private:
    bool m_outermost;
    SharedValues m_values;
};

QString shared(const QString &string)
{
    if (!t_shared || string.size() > kLongestShared)
        return string;
    const auto known = t_shared->strings.constFind(string);
    if (known != t_shared->strings.cend())
        return *known;
    t_shared->strings.insert(string);
    return string;
}

// A container's own level only: its keys, its scalar values, and for each container in it where that
// one's storage lies. Containers are decoded from the inside out and each equal one is shared before its
// parent is hashed, so equal parents hold the very same children and hash alike, while hashing the whole
// tree stays linear; whether two with one hash are equal is sameValue's to say.
size_t shallowHash(const QVariant &value)
{
    size_t hash = qHash(value.typeId());
    const auto mix = [&hash](const QVariant &item) {
        switch (item.typeId()) {
        case QMetaType::QString:
            hash = qHashMulti(hash, *static_cast<const QString *>(item.constData()));
            break;
        case QMetaType::LongLong:
            hash = qHashMulti(hash, item.toLongLong());
            break;
        case QMetaType::QDateTime:
            hash = qHashMulti(hash, item.toDateTime().toMSecsSinceEpoch());
            break;
        case QMetaType::QVariantMap: {
            const auto &map = *static_cast<const QVariantMap *>(item.constData());
            hash = qHashMulti(hash, map.size(), map.isEmpty() ? nullptr : &*map.cbegin());
            break;
        }
        case QMetaType::QVariantList: {
            const auto &list = *static_cast<const QVariantList *>(item.constData());
            hash = qHashMulti(hash, list.size(), list.constData());
            break;
        }
        default:
            hash = qHashMulti(hash, item.typeId());
            break;
        }
    };
    if (value.typeId() == QMetaType::QVariantMap) {
        const auto &map = *static_cast<const QVariantMap *>(value.constData());
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            hash = qHashMulti(hash, it.key());
            mix(it.value());
        }
    } else {
        for (const QVariant &item : *static_cast<const QVariantList *>(value.constData()))
            mix(item);
    }
    return hash;
}

// Equal in type as well as in value all the way down: QVariant's own comparison takes 1 and 1.0 as
// equal, and a shared copy must be what the peer sent.
bool sameValue(const QVariant &left, const QVariant &right)
{
    if (left.typeId() != right.typeId())
        return false;
    if (left.typeId() == QMetaType::QVariantMap) {
        const auto &one = *static_cast<const QVariantMap *>(left.constData());
        const auto &other = *static_cast<const QVariantMap *>(right.constData());
        if (one.isSharedWith(other))
            return true;
        if (one.size() != other.size())
            return false;
        for (auto a = one.cbegin(), b = other.cbegin(); a != one.cend(); ++a, ++b) {
            if (a.key() != b.key() || !sameValue(a.value(), b.value()))
                return false;
        }
        return true;
    }
    if (left.typeId() == QMetaType::QVariantList) {
        const auto &one = *static_cast<const QVariantList *>(left.constData());
        const auto &other = *static_cast<const QVariantList *>(right.constData());
        return (one.size() == other.size() && one.constData() == other.constData())
            || std::equal(one.cbegin(), one.cend(), other.cbegin(), other.cend(), sameValue);
    }
    return left == right;
}

// The copy of an equal container met before in this decode, or the container itself from now on.
QVariant sharedContainer(const QVariant &container)
{
    if (!t_shared)
        return container;
    const size_t hash = shallowHash(container);
    for (auto it = t_shared->containers.constFind(hash); it != t_shared->containers.cend() && it.key() == hash; ++it) {
        if (sameValue(*it, container))
            return *it;
    }
    t_shared->containers.insert(hash, container);
    return container;
}

// A date as the wire gives it, in UTC. Made with Qt::UTC rather than the UTC time zone: such a
// date is kept inside the QDateTime itself, while one with a time zone takes a heap block of its own
// (and a copy of the zone's name), some 150 bytes for each trigger of a published list.
QVariant dateOf(qint64 msecsSinceEpoch)
{
    return QVariant(QDateTime::fromMSecsSinceEpoch(msecsSinceEpoch, Qt::UTC));
}

QVariant decodeBasic(const QVariant &value, QString *error)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return QVariant(shared(value.toString()));
    case QMetaType::Bool:
    case QMetaType::Double:
    case QMetaType::QByteArray:
        return value;
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return QVariant(value.toLongLong());
    case QMetaType::ULongLong: {
        const quint64 number = value.toULongLong();
        if (number <= quint64(std::numeric_limits<qint64>::max()))
            return QVariant(qint64(number));
        return QVariant(number);
    }
    case QMetaType::QStringList: {
        QVariantList list;
        const QStringList strings = value.toStringList();
        for (const QString &string : strings)
            list.append(shared(string));
        return sharedContainer(QVariant(list));
    }
    case QMetaType::QVariantList: {
        QVariantList list;
        const QVariantList items = value.toList();
        for (const QVariant &item : items) {
            QVariant decoded = TriskVXDBusPropertyList::decode(item, error);
            if (!decoded.isValid())
                return QVariant();
            list.append(decoded);
        }
        return sharedContainer(QVariant(list));
    }
    case QMetaType::QVariantMap: {
        QVariantMap map;
        const QVariantMap items = value.toMap();
        for (auto it = items.cbegin(); it != items.cend(); ++it) {
            QVariant decoded = TriskVXDBusPropertyList::decode(it.value(), error);
            if (!decoded.isValid())
                return QVariant();
            map.insert(shared(it.key()), decoded);
        }
        return sharedContainer(QVariant(map));
    }
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return QVariant(value.value<QDBusObjectPath>().path());
    if (value.metaType() == QMetaType::fromType<QDBusSignature>())
        return QVariant(value.value<QDBusSignature>().signature());
    if (value.metaType() == QMetaType::fromType<TriskVXDBusDate>())
        return dateOf(value.value<TriskVXDBusDate>().msecsSinceEpoch);
    setError(error,
             QStringLiteral("a value of D-Bus type %1 is not a property-list value")
                 .arg(QString::fromLatin1(value.typeName() ? value.typeName() : "nil")));
    return QVariant();
}

QVariant decodeElement(const QDBusArgument &argument, QString *error)
{
    switch (argument.currentType()) {
    case QDBusArgument::BasicType:
        return decodeBasic(argument.asVariant(), error);
    case QDBusArgument::VariantType: {
        QDBusVariant inner;
        argument >> inner;
        return TriskVXDBusPropertyList::decode(inner.variant(), error);
    }
    case QDBusArgument::ArrayType: {
        if (argument.currentSignature() == QLatin1String("ay")) {
            QByteArray bytes;
            argument >> bytes;
            return QVariant(bytes);
        }
        // A container is closed after a refusal too: QDBusArgument frees the reader of the enclosing value
        // only when the inner one is closed, so each malformed value a peer sent used to leak a reader
        // and its message.
        QVariantList list;
        bool wellFormed = true;
        argument.beginArray();
        while (wellFormed && !argument.atEnd()) {
            QVariant item = decodeElement(argument, error);
            wellFormed = item.isValid();
            list.append(item);
        }
        argument.endArray();
        return wellFormed ? sharedContainer(QVariant(list)) : QVariant();
    }
    case QDBusArgument::MapType: {
        QVariantMap map;
        bool wellFormed = true;
        argument.beginMap();
        while (wellFormed && !argument.atEnd()) {
            argument.beginMapEntry();
            const QVariant key = argument.asVariant();
            if (key.typeId() != QMetaType::QString) {
                setError(error, QStringLiteral("a dictionary key is not a string"));
                wellFormed = false;
            } else {
                QVariant value = decodeElement(argument, error);
                wellFormed = value.isValid();
                map.insert(shared(key.toString()), value);
            }
            argument.endMapEntry();
        }
        argument.endMap();
        return wellFormed ? sharedContainer(QVariant(map)) : QVariant();
    }
    case QDBusArgument::StructureType: {
        if (argument.currentSignature() != kDateSignature) {
            setError(error,
                     QStringLiteral("a struct of signature %1 is not a date (x)").arg(argument.currentSignature()));
            return QVariant();
        }
        TriskVXDBusDate date;
        argument >> date;
        return dateOf(date.msecsSinceEpoch);
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    setError(
        error,
        QStringLiteral("a D-Bus value of signature %1 is not a property-list value").arg(argument.currentSignature()));
    return QVariant();
}

} // namespace

void TriskVXDBusPropertyList::registerTypes()
{
    static const bool registered = [] {
        qDBusRegisterMetaType<TriskVXDBusDate>();
        qDBusRegisterMetaType<QList<QVariantMap>>();
        return true;
    }();
    Q_UNUSED(registered)
}

QVariant TriskVXDBusPropertyList::encode(const QVariant &propertyList)
{
    switch (propertyList.typeId()) {
    case QMetaType::QDateTime: {
        const QDateTime date = propertyList.toDateTime();
        if (!date.isValid())
            return QVariant();
        return QVariant::fromValue(TriskVXDBusDate { date.toMSecsSinceEpoch() });
    }
    case QMetaType::QVariantMap:
        return QVariant(encodeMap(propertyList.toMap()));
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QVariantList list;
        const QVariantList items = propertyList.toList();
        list.reserve(items.size());
        for (const QVariant &item : items)
            list.append(encode(item));
        return QVariant(list);
    }
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return QVariant(propertyList.toLongLong());
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const quint64 number = propertyList.toULongLong();
        if (number <= quint64(std::numeric_limits<qint64>::max()))
            return QVariant(qint64(number));
        return QVariant(number);
    }
    case QMetaType::Float:
        return QVariant(propertyList.toDouble());
    default:
        return propertyList;
    }
}

QVariantMap TriskVXDBusPropertyList::encodeMap(const QVariantMap &map)
{
    QVariantMap encoded;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        // nil has no wire form; a dictionary simply lacks the key, which readers take as nil.
        QVariant value = encode(it.value());
        if (value.isValid())
            encoded.insert(it.key(), value);
    }
    return encoded;
}

QList<QVariantMap> TriskVXDBusPropertyList::encodeRecordList(const QVariantList &records)
{
    QList<QVariantMap> encoded;
    encoded.reserve(records.size());
    for (const QVariant &record : records)
        encoded.append(encodeMap(record.toMap()));
    return encoded;
}

QVariant TriskVXDBusPropertyList::decode(const QVariant &value, QString *error)
{
    const SharedValuesScope sharing;
    if (value.metaType() == QMetaType::fromType<QDBusArgument>())
        return decodeArgument(value.value<QDBusArgument>(), error);
    if (value.metaType() == QMetaType::fromType<QDBusVariant>())
        return decode(value.value<QDBusVariant>().variant(), error);
    if (value.metaType() == QMetaType::fromType<QList<QVariantMap>>()) {
        QVariantList list;
        const auto maps = value.value<QList<QVariantMap>>();
        for (const QVariantMap &map : maps) {
            QVariant decoded = decode(QVariant(map), error);
            if (!decoded.isValid())
                return QVariant();
            list.append(decoded);
        }
        return QVariant(list);
    }
    return decodeBasic(value, error);
}

QVariant TriskVXDBusPropertyList::decodeArgument(const QDBusArgument &argument, QString *error)
{
    const SharedValuesScope sharing;
    return decodeElement(argument, error);
}
