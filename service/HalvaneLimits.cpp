#include "HalvaneLimits.h"

#include "TriskVXConstants.h"

#include <QSet>

namespace {
// What a value costs beyond its payload: the variant's signature and the alignment of what follows.
constexpr qint64 kValueOverhead = 8;

qint64 utf8Length(const QString &text)
{
    qint64 bytes = 0;
    for (const QChar c : text) {
        const char16_t unit = c.unicode();
        bytes += unit < 0x80 ? 1 : unit < 0x800 || c.isSurrogate() ? 2 : 3;
    }
    return bytes;
}

const QSet<QString> &textKeys()
{
    static const QSet<QString> keys { kVXEventNotes, kVXEventWarningMessage, kVXActionMessage, kVXActionArguments };
    return keys;
}

bool checkValue(const QVariant &value, bool text, const QString &where, QString *error)
{
    switch (value.typeId()) {
    case QMetaType::QString: {
        const qsizetype longest = text ? HalvaneLimits::kTextLength : HalvaneLimits::kNameLength;
        if (value.toString().size() <= longest)
            return true;
        *error = QStringLiteral("%1 is longer than %2 characters").arg(where).arg(longest);
        return false;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        if (list.size() > HalvaneLimits::kListLength) {
            *error = QStringLiteral("%1 has more than %2 entries").arg(where).arg(HalvaneLimits::kListLength);
            return false;
        }
        for (const QVariant &entry : list) {
            if (!checkValue(entry, text, where, error))
                return false;
        }
        return true;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        if (map.size() > HalvaneLimits::kListLength) {
            *error = QStringLiteral("%1 has more than %2 keys").arg(where).arg(HalvaneLimits::kListLength);
            return false;
        }
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (it.key().size() > HalvaneLimits::kNameLength) {
                *error = QStringLiteral("a key in %1 is longer than %2 characters")
                             .arg(where)
                             .arg(HalvaneLimits::kNameLength);
                return false;
            }
            if (!checkValue(it.value(), textKeys().contains(it.key()), HalvaneLimits::clipped(it.key(), 40), error))
                return false;
        }
        return true;
    }
    default:
        return true;
    }
}
} // namespace

QString HalvaneLimits::clipped(const QString &text, qsizetype length)
{
    if (text.size() <= length)
        return text;
    return text.left(length - 1) + QChar(0x2026);
}

HalvaneResult HalvaneLimits::checkParameters(const QVariantMap &parameters)
{
    if (parameters.size() > kParameters)
        return HalvaneResult::failure(
            kVXStatusLimitExceeded,
            QStringLiteral("%1 parameters given, at most %2 taken").arg(parameters.size()).arg(kParameters));
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        if (it.key().size() > kNameLength)
            return HalvaneResult::failure(
                kVXStatusLimitExceeded,
                QStringLiteral("a parameter name is longer than %1 characters").arg(kNameLength));
        if (it.value().typeId() == QMetaType::QString && it.value().toString().size() > kNameLength)
            return HalvaneResult::failure(
                kVXStatusLimitExceeded,
                QStringLiteral("parameter %1 is longer than %2 characters").arg(clipped(it.key())).arg(kNameLength));
    }
    return HalvaneResult::ok();
}

qint64 HalvaneLimits::encodedSize(const QVariant &value, qint64 budget)
{
    qint64 size = kValueOverhead;
    switch (value.typeId()) {
    case QMetaType::QString:
        size += 4 + utf8Length(value.toString()) + 1;
        break;
    case QMetaType::QByteArray:
        size += 4 + value.toByteArray().size();
        break;
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        size += 8;
        for (qsizetype i = 0; i < list.size() && size <= budget; ++i)
            size += encodedSize(list.at(i), budget - size);
        break;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        size += 8;
        for (auto it = map.cbegin(); it != map.cend() && size <= budget; ++it)
            size += 8 + 4 + utf8Length(it.key()) + 1 + encodedSize(it.value(), budget - size);
        break;
    }
    default:
        // Numbers, booleans and dates are eight bytes or less.
        size += 8;
        break;
    }
    return size > budget ? budget + 1 : size;
}

bool HalvaneLimits::checkEvent(const QVariant &event, qint64 *bytes, QString *error)
{
    if (!checkValue(event, false, QStringLiteral("the event"), error))
        return false;
    *bytes = encodedSize(event, kEventBytes);
    if (*bytes > kEventBytes) {
        *error = QStringLiteral("the event takes more than %1 KiB").arg(kEventBytes / 1024);
        return false;
    }
    return true;
}
