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
// A rename is durable only once its folder is.
void syncFolderOf(const QString &path)
{
    const int directory
        = ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
}
} // namespace

namespace {
// Rewrites the dates of a value in place, copying a container only when something inside it changed,
// so that a store without such dates is neither copied nor detached.
bool rewriteDates(QVariant &value, bool wrap)
{
    switch (value.typeId()) {
    case QMetaType::QDateTime: {
        if (!wrap)
            return false;
        const qint64 msecs = value.toDateTime().toMSecsSinceEpoch();
        if (msecs >= kEarliestStorable && msecs <= kLatestStorable)
            return false;
        value = QVariantMap { { kWrappedDate, msecs } };
        return true;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap &map = *static_cast<const QVariantMap *>(value.constData());
        if (!wrap && map.size() == 1 && map.firstKey() == kWrappedDate && map.first().typeId() == QMetaType::LongLong) {
            value = QDateTime::fromMSecsSinceEpoch(map.first().toLongLong(), QTimeZone::utc());
            return true;
        }
        QVariantMap changed;
        bool any = false;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            QVariant item = it.value();
            if (!rewriteDates(item, wrap))
                continue;
            if (!any) {
                changed = map;
                any = true;
            }
            changed.insert(it.key(), item);
        }
        if (any)
            value = changed;
        return any;
    }
    case QMetaType::QVariantList: {
        const QVariantList &list = *static_cast<const QVariantList *>(value.constData());
        QVariantList changed;
        bool any = false;
        for (qsizetype i = 0; i < list.size(); ++i) {
            QVariant item = list.at(i);
            if (!rewriteDates(item, wrap))
                continue;
            if (!any) {
                changed = list;
                any = true;
            }
            changed[i] = item;
        }
        if (any)
            value = changed;
        return any;
    }
    default:
        return false;
    }
}
} // namespace

QVariant HalvaneStateFile::wrapDates(const QVariant &value)
{
    QVariant result = value;
    rewriteDates(result, true);
    return result;
}

QVariant HalvaneStateFile::unwrapDates(const QVariant &value)
{
    QVariant result = value;
    rewriteDates(result, false);
    return result;
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
    // fdatasync: the data and the size, which is all a reader needs; the rename is made durable below.
    if (!writeAll(fd, data) || ::fdatasync(fd) != 0) {
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
    syncFolderOf(path);
    return true;
}

QString HalvaneStateFile::keepAside(const QString &path, const QString &why, QString *error)
{
    const QString aside
        = QStringLiteral("%1.%2-%3")
              .arg(path, why, QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")));
    if (!QFile::rename(path, aside)) {
        *error = QStringLiteral("cannot move %1 aside to %2").arg(path, aside);
        return QString();
    }
    syncFolderOf(path);
    return aside;
}
