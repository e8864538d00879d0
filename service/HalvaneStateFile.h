#pragma once

#include <QString>
#include <QVariant>

// The service's state file: a binary property list written atomically (a temporary file, fsync, rename,
// fsync of the folder), so that a crash at any moment leaves either the old or the new state whole.
// Dates a property-list file cannot hold (libplist 2.2 writes 1932 to 2069 only) are kept as
// { HalvaneDateMSecs: milliseconds since 1970 }.
class HalvaneStateFile
{
public:
    enum class Outcome { Loaded, Missing, Unreadable };

    static Outcome load(const QString &path, QVariantMap *state, QString *error);
    static bool save(const QString &path, const QVariantMap &state, QString *error);
    // Moves a file out of the way (<path>.<why>-<UTC time>, durably); the answer is its new path.
    static QString keepAside(const QString &path, const QString &why, QString *error);

    static QVariant wrapDates(const QVariant &value);
    static QVariant unwrapDates(const QVariant &value);
};
