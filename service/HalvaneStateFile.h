#pragma once

#include <QString>
#include <QVariant>

// The state file of earlier versions, read once to move it into the store: a binary property list written
// atomically (a temporary file, fsync, rename, fsync of the folder). Its date wrapping also serves exports.
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
