#include "HalvaneStateFile.h"

#include "TriskVXPropertyListSerialization.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {
const QString kWrappedDate = QStringLiteral("HalvaneDateMSecs");
// What libplist 2.2 can write: signed 32-bit seconds from 2001-01-01.
const qint64 kPlistEpoch = 978307200LL;
const qint64 kEarliestStorable = (kPlistEpoch - 2147483648LL) * 1000;
const qint64 kLatestStorable = (kPlistEpoch + 2147483647LL) * 1000;

QString errnoText()
{
    return QString::fromLocal8Bit(strerror(errno));
}

bool writeAll(int fd, const QByteArray &data)
{
    qsizetype written = 0;
    while (written < data.size()) {
        const ssize_t n = ::write(fd, data.constData() + written, size_t(data.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        written += n;
    }
    return true;
}
} // namespace

QVariant HalvaneStateFile::wrapDates(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QDateTime: {
        const qint64 msecs = value.toDateTime().toMSecsSinceEpoch();
        if (msecs < kEarliestStorable || msecs > kLatestStorable)
            return QVariantMap { { kWrappedDate, msecs } };
        return value;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = wrapDates(it.value());
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &item : list)
            item = wrapDates(item);
        return list;
    }
    default:
        return value;
    }
}

QVariant HalvaneStateFile::unwrapDates(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        if (map.size() == 1 && map.contains(kWrappedDate) && map.value(kWrappedDate).typeId() == QMetaType::LongLong)
            return QDateTime::fromMSecsSinceEpoch(map.value(kWrappedDate).toLongLong(), QTimeZone::utc());
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = unwrapDates(it.value());
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &item : list)
            item = unwrapDates(item);
        return list;
    }
    default:
        return value;
    }
}

HalvaneStateFile::Outcome HalvaneStateFile::load(const QString &path, QVariantMap *state, QString *error)
{
    if (!QFileInfo::exists(path))
        return Outcome::Missing;
    const QVariant contents = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, error);
    if (contents.typeId() != QMetaType::QVariantMap) {
        if (contents.isValid())
            *error = QStringLiteral("%1: not a dictionary").arg(path);
        return Outcome::Unreadable;
    }
    *state = unwrapDates(contents).toMap();
    return Outcome::Loaded;
}

bool HalvaneStateFile::save(const QString &path, const QVariantMap &state, QString *error)
{
    QString reason;
    // Milliseconds: binary property lists keep them, where XML would round them to the second.
    const QByteArray data = TriskVXPropertyListSerialization::dataWithPropertyList(
        wrapDates(state), TriskVXPropertyListSerialization::Format::Binary, &reason);
    if (data.isEmpty()) {
        *error = QStringLiteral("cannot encode the state: %1").arg(reason);
        return false;
    }
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        *error = QStringLiteral("cannot make the folder %1").arg(info.absolutePath());
        return false;
    }
    const QByteArray target = QFile::encodeName(path);
    const QByteArray temporary = target + ".new";
    const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(QFile::decodeName(temporary), errnoText());
        return false;
    }
    if (!writeAll(fd, data) || ::fsync(fd) != 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(QFile::decodeName(temporary), errnoText());
        ::close(fd);
        ::unlink(temporary.constData());
        return false;
    }
    ::close(fd);
    if (::rename(temporary.constData(), target.constData()) != 0) {
        *error = QStringLiteral("cannot replace %1: %2").arg(path, errnoText());
        ::unlink(temporary.constData());
        return false;
    }
    // The rename itself is durable only once the folder is.
    const int directory
        = ::open(QFile::encodeName(info.absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
    return true;
}

QString HalvaneStateFile::keepAside(const QString &path, QString *error)
{
    const QString aside = path + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    if (!QFile::rename(path, aside)) {
        *error = QStringLiteral("cannot move %1 aside to %2").arg(path, aside);
        return QString();
    }
    return aside;
}
