#include "TriskUDReleasesFeed.h"

#include <QTimeZone>
#include <QXmlStreamReader>

namespace {
bool isSegmentChar(QChar c)
{
    return c.isLetterOrNumber() && c.unicode() < 128;
}

QDateTime releaseDate(const QXmlStreamAttributes &attributes)
{
    bool ok = false;
    const qint64 timestamp = attributes.value(QLatin1String("timestamp")).toLongLong(&ok);
    if (ok)
        return QDateTime::fromSecsSinceEpoch(timestamp, QTimeZone::utc());
    // Most feeds give a day alone; read as local time it would cost a zone look-up per release.
    const QString date = attributes.value(QLatin1String("date")).toString();
    const QDate day = QDate::fromString(date, Qt::ISODate);
    if (day.isValid())
        return QDateTime(day, QTime(0, 0), QTimeZone::utc());
    return QDateTime::fromString(date, Qt::ISODate);
}

// The <url> inside a <release>: the first one, preferring the type "details".
QString readReleaseUrl(QXmlStreamReader &reader)
{
    QString url;
    int depth = 1;
    while (depth > 0 && !reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            ++depth;
            if (reader.name() == QLatin1String("url")) {
                const bool details = reader.attributes().value(QLatin1String("type")) != QLatin1String("issues");
                const QString text = reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
                --depth;
                if (url.isEmpty() && details)
                    url = text;
            }
        } else if (reader.isEndElement()) {
            --depth;
        }
    }
    return url;
}
} // namespace

QList<TriskUDReleasesFeed::Release> TriskUDReleasesFeed::parse(const QByteArray &document, QString *error)
{
    QList<Release> releases;
    QXmlStreamReader reader(document);
    bool inReleases = false;
    bool sawReleases = false;
    QString problem;
    while (!reader.atEnd() && problem.isEmpty()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("releases")) {
            inReleases = true;
            sawReleases = true;
        } else if (reader.isEndElement() && reader.name() == QLatin1String("releases")) {
            inReleases = false;
        } else if (inReleases && reader.isStartElement() && reader.name() == QLatin1String("release")) {
            const QXmlStreamAttributes attributes = reader.attributes();
            Release release;
            release.version = attributes.value(QLatin1String("version")).toString().trimmed();
            release.type = attributes.value(QLatin1String("type")).toString();
            if (release.type.isEmpty())
                release.type = QStringLiteral("stable");
            release.date = releaseDate(attributes);
            if (release.version.isEmpty()) {
                problem = QStringLiteral("a release without a version at line %1").arg(reader.lineNumber());
                break;
            }
            release.url = readReleaseUrl(reader);
            releases.append(release);
        }
    }
    if (problem.isEmpty() && reader.hasError())
        problem = QStringLiteral("%1 at line %2").arg(reader.errorString()).arg(reader.lineNumber());
    if (problem.isEmpty() && !sawReleases)
        problem = QStringLiteral("no <releases> element");
    if (!problem.isEmpty()) {
        if (error)
            *error = problem;
        return {};
    }
    return releases;
}

int TriskUDReleasesFeed::compareVersions(const QString &a, const QString &b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() || j < b.size()) {
        // Separators carry no order, except the tilde and the caret.
        while (i < a.size() && !isSegmentChar(a.at(i)) && a.at(i) != u'~' && a.at(i) != u'^')
            ++i;
        while (j < b.size() && !isSegmentChar(b.at(j)) && b.at(j) != u'~' && b.at(j) != u'^')
            ++j;
        const bool tildeA = i < a.size() && a.at(i) == u'~';
        const bool tildeB = j < b.size() && b.at(j) == u'~';
        if (tildeA || tildeB) {
            if (!tildeA)
                return 1;
            if (!tildeB)
                return -1;
            ++i;
            ++j;
            continue;
        }
        const bool caretA = i < a.size() && a.at(i) == u'^';
        const bool caretB = j < b.size() && b.at(j) == u'^';
        if (caretA || caretB) {
            // A caret sorts after the end of the other string, before any further segment.
            if (i >= a.size())
                return -1;
            if (j >= b.size())
                return 1;
            if (!caretA)
                return 1;
            if (!caretB)
                return -1;
            ++i;
            ++j;
            continue;
        }
        if (i >= a.size() || j >= b.size())
            break;
        const bool numeric = a.at(i).isDigit();
        qsizetype endA = i;
        qsizetype endB = j;
        while (endA < a.size() && isSegmentChar(a.at(endA)) && a.at(endA).isDigit() == numeric)
            ++endA;
        while (endB < b.size() && isSegmentChar(b.at(endB)) && b.at(endB).isDigit() == numeric)
            ++endB;
        // A number is newer than letters in the same place.
        if (endB == j)
            return numeric ? 1 : -1;
        QStringView segmentA = QStringView(a).mid(i, endA - i);
        QStringView segmentB = QStringView(b).mid(j, endB - j);
        if (numeric) {
            while (segmentA.size() > 1 && segmentA.front() == u'0')
                segmentA = segmentA.mid(1);
            while (segmentB.size() > 1 && segmentB.front() == u'0')
                segmentB = segmentB.mid(1);
            if (segmentA.size() != segmentB.size())
                return segmentA.size() < segmentB.size() ? -1 : 1;
        }
        const int order = segmentA.compare(segmentB);
        if (order != 0)
            return order < 0 ? -1 : 1;
        i = endA;
        j = endB;
    }
    if (i >= a.size() && j >= b.size())
        return 0;
    // The one with segments left is newer.
    return i >= a.size() ? -1 : 1;
}
