#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// The update feed's format: the <releases> list of an AppStream metainfo document (a whole <component>
// or a bare <releases> file), read into releases, and version strings ordered as AppStream orders them.
class TriskUDReleasesFeed
{
public:
    struct Release
    {
        QString version;
        // "stable" when the feed does not say; "development" and "snapshot" are never offered.
        QString type;
        QDateTime date;
        // The release's page, when the feed gives one.
        QString url;
    };

    // The releases in the order the feed lists them; empty with *error set when the document is not
    // well-formed XML or holds no <releases> element, or a release has no version.
    static QList<Release> parse(const QByteArray &document, QString *error);
    // Negative, zero or positive as a is older than, the same as, or newer than b. Runs of digits compare as
    // numbers and beat letters, "~" sorts before anything (1.0~rc1 < 1.0) and "^" after the end
    // (1.0^git1 > 1.0); other punctuation only separates.
    static int compareVersions(const QString &a, const QString &b);
};
