#include "TriskVXPropertyListSerialization.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QSaveFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <cstring>
#include <limits>
#include <memory>

namespace {

// libplist 2.2 counts dates in seconds from this instant, in a signed 32-bit number.
const qint64 kPlistEpochMSecsSinceUnixEpoch = 978307200000LL;

struct PlistDeleter
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

void setError(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

// Dictionary keys repeat across records ("Name", "Triggers", ...): one shared QString per key text.
using KeyCache = QHash<QByteArray, QString>;

QVariant fromNode(plist_t node, QString *error, KeyCache &keys)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        // libplist 2.2 keeps every integer as unsigned; negative numbers come back as their two's complement.
        return QVariant(qint64(value));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant(qint64(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING:
    case PLIST_KEY: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QVariant(QString::fromUtf8(text, qsizetype(length)));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QVariant(QByteArray(bytes, qsizetype(length)));
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        // libplist 2.2 splits the stored double into seconds truncated toward zero and the magnitude of
        // the fraction, so before 2001 the fraction counts backwards. Rounding, not truncating, gives back
        // the millisecond written.
        const qint64 fraction = qRound64(microseconds / 1000.0);
        const qint64 msecs
            = kPlistEpochMSecsSinceUnixEpoch + qint64(seconds) * 1000 + (seconds < 0 ? -fraction : fraction);
        return QVariant(QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc()));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(qsizetype(count));
        for (uint32_t i = 0; i < count; ++i) {
            QVariant item = fromNode(plist_array_get_item(node, i), error, keys);
            if (!item.isValid())
                return QVariant();
            list.append(item);
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iterator = nullptr;
        plist_dict_new_iter(node, &iterator);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iterator, &key, &value);
            if (!key)
                break;
            const QByteArray text = QByteArray::fromRawData(key, qsizetype(strlen(key)));
            auto known = keys.constFind(text);
            if (known == keys.cend())
                known = keys.insert(QByteArray(key), QString::fromUtf8(text));
            // Copied before the recursion, which may grow the cache and move its entries.
            const QString name = known.value();
            free(key);
            QVariant item = fromNode(value, error, keys);
            if (!item.isValid()) {
                free(iterator);
                return QVariant();
            }
            // Keys come in the order they were written, which is sorted when we wrote them: appending
            // at the end keeps the insertion cheap.
            map.insert(map.cend(), name, item);
        }
        free(iterator);
        return QVariant(map);
    }
    case PLIST_NONE:
        break;
    }
    setError(error, QStringLiteral("unsupported property-list node"));
    return QVariant();
}

// libplist 2.2 takes strings and keys as C strings, which end at the first U+0000: the rest would be
// dropped without a word. A binary file can hold one; writing it back is refused with a message, and
// the file already there stays whole.
bool isWritableText(const QString &text, QString *error)
{
    if (!text.contains(QChar(u'\0')))
        return true;
    setError(error,
             QStringLiteral("the string \"%1\" holds a null character, which a property-list file cannot hold")
                 .arg(QString(text).replace(QChar(u'\0'), QStringLiteral("\\0"))));
    return false;
}

plist_t toNode(const QVariant &value, QString *error)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return plist_new_uint(uint64_t(value.toLongLong()));
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return plist_new_uint(uint64_t(value.toULongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QString: {
        const QString text = value.toString();
        if (!isWritableText(text, error))
            return nullptr;
        return plist_new_string(text.toUtf8().constData());
    }
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const QDateTime date = value.toDateTime();
        if (!date.isValid())
            break;
        const qint64 msecs = date.toMSecsSinceEpoch() - kPlistEpochMSecsSinceUnixEpoch;
        const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
        if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max()) {
            setError(error,
                     QStringLiteral("date %1 is outside the range a property-list file can hold")
                         .arg(date.toString(Qt::ISODateWithMs)));
            return nullptr;
        }
        return plist_new_date(int32_t(seconds), int32_t((msecs - seconds * 1000) * 1000));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        PlistPtr array(plist_new_array());
        const QVariantList list = value.toList();
        for (const QVariant &item : list) {
            plist_t node = toNode(item, error);
            if (!node)
                return nullptr;
            plist_array_append_item(array.get(), node);
        }
        return array.release();
    }
    case QMetaType::QVariantMap: {
        PlistPtr dict(plist_new_dict());
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!isWritableText(it.key(), error))
                return nullptr;
            plist_t node = toNode(it.value(), error);
            if (!node)
                return nullptr;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), node);
        }
        return dict.release();
    }
    default:
        break;
    }
    setError(error,
             QStringLiteral("a value of type %1 is not a property-list value")
                 .arg(QString::fromLatin1(value.typeName() ? value.typeName() : "invalid")));
    return nullptr;
}

// A big-endian unsigned number of size bytes at offset, or -1 when it does not fit in the data.
qint64 bigEndianAt(const QByteArray &data, qint64 offset, qint64 size)
{
    if (offset < 0 || size < 1 || size > 8 || offset > data.size() - size)
        return -1;
    quint64 value = 0;
    for (qint64 i = 0; i < size; ++i)
        value = (value << 8) | quint8(data.at(offset + i));
    return value > quint64(std::numeric_limits<qint64>::max()) ? -1 : qint64(value);
}

// Whether a property list holds a string with a null character. libplist 2.2 reads a dictionary key
// through a C string and asserts that its length matches, which aborts the whole program on such a
// key: the service on its state file, the notifier on a preference domain. Values with one could not
// be written back either, so every string counts. XML may hold no null character at all, and libplist
// takes a raw one into the text, so any null byte refuses XML data. In a binary list the string
// objects are looked at, by walking the object table the way the format lays it out (a trailer, an
// offset table, typed objects); data whose tables do not add up is left to libplist, which refuses it.
bool holdsNullInString(const QByteArray &data)
{
    if (!data.startsWith("bplist"))
        return data.contains('\0');
    const qint64 kTrailerSize = 32;
    if (data.size() < 8 + kTrailerSize)
        return false;
    const qint64 trailer = data.size() - kTrailerSize;
    const qint64 offsetSize = bigEndianAt(data, trailer + 6, 1);
    const qint64 objectCount = bigEndianAt(data, trailer + 8, 8);
    const qint64 offsetTable = bigEndianAt(data, trailer + 24, 8);
    if (offsetSize < 1 || objectCount < 0 || offsetTable < 0 || objectCount > data.size())
        return false;
    for (qint64 object = 0; object < objectCount; ++object) {
        const qint64 offset = bigEndianAt(data, offsetTable + object * offsetSize, offsetSize);
        const qint64 marker = bigEndianAt(data, offset, 1);
        const qint64 type = marker >> 4;
        // 5: ASCII, 6: UTF-16 (two bytes a character), 7: UTF-8.
        if (marker < 0 || type < 5 || type > 7)
            continue;
        qint64 length = marker & 0xf;
        qint64 start = offset + 1;
        if (length == 0xf) {
            // The length follows as an integer object: 0x1N and 2^N bytes.
            const qint64 lengthMarker = bigEndianAt(data, start, 1);
            if ((lengthMarker >> 4) != 1 || (lengthMarker & 0xf) > 3)
                continue;
            const qint64 lengthSize = qint64(1) << (lengthMarker & 0xf);
            length = bigEndianAt(data, start + 1, lengthSize);
            start += 1 + lengthSize;
        }
        const qint64 unit = type == 6 ? 2 : 1;
        if (length < 0 || start > data.size() || length > (data.size() - start) / unit)
            continue;
        for (qint64 i = start; i < start + length * unit; i += unit) {
            if (data.at(i) == 0 && (unit == 1 || data.at(i + 1) == 0))
                return true;
        }
    }
    return false;
}

} // namespace

QVariant TriskVXPropertyListSerialization::propertyListWithData(const QByteArray &data, QString *error)
{
    if (data.isEmpty()) {
        setError(error, QStringLiteral("the data is empty"));
        return QVariant();
    }
    if (data.size() > std::numeric_limits<int32_t>::max()) {
        setError(error, QStringLiteral("the data is too large"));
        return QVariant();
    }
    if (holdsNullInString(data)) {
        setError(error, QStringLiteral("the data holds a string with a null character"));
        return QVariant();
    }
    plist_t root = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &root);
    if (!root) {
        setError(error, QStringLiteral("the data is not a property list"));
        return QVariant();
    }
    PlistPtr owner(root);
    KeyCache keys;
    return fromNode(root, error, keys);
}

QByteArray TriskVXPropertyListSerialization::dataWithPropertyList(const QVariant &propertyList, Format format,
                                                                  QString *error)
{
    PlistPtr root(toNode(propertyList, error));
    if (!root)
        return QByteArray();
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Binary) {
        plist_to_bin(root.get(), &bytes, &length);
        QByteArray result(bytes, qsizetype(length));
        plist_to_bin_free(bytes);
        return result;
    }
    plist_to_xml(root.get(), &bytes, &length);
    QByteArray result(bytes, qsizetype(length));
    plist_to_xml_free(bytes);
    return result;
}

QVariant TriskVXPropertyListSerialization::propertyListWithContentsOfFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return QVariant();
    }
    QString reason;
    QVariant result = propertyListWithData(file.readAll(), &reason);
    if (!result.isValid())
        setError(error, QStringLiteral("%1: %2").arg(path, reason));
    return result;
}

bool TriskVXPropertyListSerialization::writePropertyListToFile(const QVariant &propertyList, const QString &path,
                                                               Format format, QString *error)
{
    QString reason;
    const QByteArray data = dataWithPropertyList(propertyList, format, &reason);
    if (data.isEmpty()) {
        setError(error, QStringLiteral("cannot write %1: %2").arg(path, reason));
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        setError(error, QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}
