#pragma once

#include "HalvaneStateDelta.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

struct sqlite3;
struct sqlite3_stmt;

// The service's store: an SQLite database in WAL mode with one row per event and per trigger state, so
// that a save writes what changed and nothing else, in one transaction synced before it counts as done.
// Rows hold their values in Qt's binary stream format (fixed version), which keeps every type a record
// may carry exactly. Not thread-safe: one thread at a time uses it.
class HalvaneStore
{
public:
    // Busy: another process holds the store's lock (another halvaned on the same folder); the file is
    // fine and must be left alone.
    enum class Outcome { Loaded, Missing, Newer, Busy, Unreadable };

    // The format this version writes; a store with a higher one was written by a newer halvaned.
    static constexpr int kFormat = 1;

    explicit HalvaneStore(const QString &path);
    ~HalvaneStore();
    HalvaneStore(const HalvaneStore &) = delete;
    HalvaneStore &operator=(const HalvaneStore &) = delete;

    QString path() const { return m_path; }
    // Reads the whole state in the scheduler's property-list form (Version, Enabled, Events,
    // TriggerStates). Missing also for a store whose creation never committed.
    Outcome load(QVariantMap *state, QString *error);
    // Writes the deltas in order in one transaction, creating the store (and its folder) first when
    // needed; on failure nothing of them is written.
    bool apply(const QList<HalvaneStateDelta> &deltas, QString *error);
    void close();
    // Moves the store and its write-ahead log out of the way (<path>.<why>-<UTC time>), closing it first;
    // the answer is the store's new path.
    QString keepAside(const QString &why, QString *error);

private:
    // SQLITE_OK, or the (primary) code of what failed.
    int open(bool create, QString *error);
    bool execute(const char *sql, QString *error);
    // A statement of the write path, prepared once per open store and reset after each use; null when
    // SQLite refuses it.
    sqlite3_stmt *prepared(const char *sql);
    // Runs a prepared statement that answers no rows, and readies it for the next use.
    bool run(sqlite3_stmt *statement);
    bool applyOne(const HalvaneStateDelta &delta, QString *error);
    QString lastError() const;

    QString m_path;
    sqlite3 *m_db = nullptr;
    // By the address of their (literal) text.
    QHash<const char *, sqlite3_stmt *> m_statements;
    // The tables exist: known after the first write, not asked again at every one.
    bool m_hasTables = false;
};
