#include "HalvaneStore.h"

#include "HalvaneStateFile.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace {
// Marks the file as halvaned's in the database header, so another program's database is never read as
// a schedule.
const int kApplicationID = 0x48616C76;
// Rows keep this stream version whatever Qt the service is built with.
const QDataStream::Version kStreamVersion = QDataStream::Qt_6_4;

const char kSchema[] = "CREATE TABLE settings(key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
                       "CREATE TABLE events(position INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,"
                       " record BLOB NOT NULL);"
                       "CREATE TABLE trigger_states(id TEXT PRIMARY KEY, state BLOB NOT NULL) WITHOUT ROWID;";

QByteArray encoded(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStreamVersion);
    stream << value;
    return bytes;
}

QVariant decoded(sqlite3_stmt *statement, int column)
{
    const QByteArray bytes = QByteArray::fromRawData(static_cast<const char *>(sqlite3_column_blob(statement, column)),
                                                     sqlite3_column_bytes(statement, column));
    QDataStream stream(bytes);
    stream.setVersion(kStreamVersion);
    QVariant value;
    stream >> value;
    return stream.status() == QDataStream::Ok && stream.atEnd() ? value : QVariant();
}

QString columnText(sqlite3_stmt *statement, int column)
{
    return QString::fromUtf8(static_cast<const char *>(sqlite3_column_blob(statement, column)),
                             sqlite3_column_bytes(statement, column));
}

// A statement that finalises itself.
class Statement
{
public:
    Statement(sqlite3 *db, const char *sql) { m_status = sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr); }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    bool isValid() const { return m_status == SQLITE_OK; }
    sqlite3_stmt *get() const { return m_statement; }

private:
    sqlite3_stmt *m_statement = nullptr;
    int m_status = SQLITE_ERROR;
};
} // namespace

HalvaneStore::HalvaneStore(const QString &path)
    : m_path(path)
{
}

HalvaneStore::~HalvaneStore()
{
    close();
}

void HalvaneStore::close()
{
    for (sqlite3_stmt *statement : std::as_const(m_statements))
        sqlite3_finalize(statement);
    m_statements.clear();
    m_hasTables = false;
    // _v2: statements still in scope finish the closing when they are finalised.
    sqlite3_close_v2(m_db);
    m_db = nullptr;
}

QString HalvaneStore::lastError() const
{
    return m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("out of memory");
}

bool HalvaneStore::execute(const char *sql, QString *error)
{
    char *message = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) == SQLITE_OK)
        return true;
    *error = QStringLiteral("%1: %2").arg(m_path, QString::fromUtf8(message ? message : "unknown error"));
    sqlite3_free(message);
    return false;
}

sqlite3_stmt *HalvaneStore::prepared(const char *sql)
{
    sqlite3_stmt *&statement = m_statements[sql];
    if (!statement && sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
        m_statements.remove(sql);
    return m_statements.value(sql);
}

bool HalvaneStore::run(sqlite3_stmt *statement)
{
    if (!statement)
        return false;
    const int status = sqlite3_step(statement);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return status == SQLITE_DONE || status == SQLITE_ROW;
}

int HalvaneStore::open(bool create, QString *error)
{
    if (m_db)
        return SQLITE_OK;
    const QByteArray name = QFile::encodeName(m_path);
    if (create) {
        const QString folder = QFileInfo(m_path).absolutePath();
        if (!QDir().mkpath(folder)) {
            *error = QStringLiteral("cannot make the folder %1").arg(folder);
            return SQLITE_CANTOPEN;
        }
        // Made here so that it is readable by the service's user only; SQLite gives its log the same mode.
        const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) {
            *error = QStringLiteral("cannot create %1: %2").arg(m_path, QString::fromLocal8Bit(strerror(errno)));
            return SQLITE_CANTOPEN;
        }
        ::close(fd);
    }
    if (sqlite3_open_v2(name.constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        *error = QStringLiteral("cannot open %1: %2").arg(m_path, lastError());
        const int status = m_db ? sqlite3_errcode(m_db) & 0xff : SQLITE_NOMEM;
        close();
        return status;
    }
    sqlite3_extended_result_codes(m_db, 1);
    // FULL: the log is synced at every commit, so that a committed change survives a power cut too.
    if (!execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;", error)) {
        const int status = sqlite3_errcode(m_db) & 0xff;
        close();
        return status;
    }
    return SQLITE_OK;
}

HalvaneStore::Outcome HalvaneStore::load(QVariantMap *state, QString *error)
{
    if (!QFileInfo::exists(m_path))
        return Outcome::Missing;
    // Locked is no fault of the file: whoever holds it is using it.
    auto busy = [&](int status) {
        if (status != SQLITE_BUSY && status != SQLITE_LOCKED)
            return false;
        *error = QStringLiteral("another halvaned (or another program) uses %1").arg(m_path);
        close();
        return true;
    };
    if (const int status = open(false, error); status != SQLITE_OK)
        return busy(status) ? Outcome::Busy : Outcome::Unreadable;
    auto failed = [&] {
        if (busy(sqlite3_errcode(m_db) & 0xff))
            return Outcome::Busy;
        *error = QStringLiteral("%1: %2").arg(m_path, lastError());
        close();
        return Outcome::Unreadable;
    };
    Statement header(m_db,
                     "SELECT (SELECT user_version FROM pragma_user_version),"
                     " (SELECT application_id FROM pragma_application_id),"
                     " (SELECT count(*) FROM sqlite_schema)");
    if (!header.isValid() || sqlite3_step(header.get()) != SQLITE_ROW)
        return failed();
    const int format = sqlite3_column_int(header.get(), 0);
    const int application = sqlite3_column_int(header.get(), 1);
    const int tables = sqlite3_column_int(header.get(), 2);
    if (format == 0 && application == 0 && tables == 0)
        return Outcome::Missing; // made, but its creation never committed
    if (application != kApplicationID) {
        *error = QStringLiteral("%1 is not a halvaned store").arg(m_path);
        close();
        return Outcome::Unreadable;
    }
    if (format > kFormat) {
        *error = QStringLiteral("%1 was written by a newer halvaned (store format %2; this one reads up to %3)")
                     .arg(m_path)
                     .arg(format)
                     .arg(kFormat);
        close();
        return Outcome::Newer;
    }

    bool enabled = true;
    Statement settings(m_db, "SELECT value FROM settings WHERE key = 'enabled'");
    if (!settings.isValid())
        return failed();
    if (int status = sqlite3_step(settings.get()); status == SQLITE_ROW)
        enabled = decoded(settings.get(), 0).toBool();
    else if (status != SQLITE_DONE)
        return failed();

    auto readRows = [&](const char *sql, auto add) {
        Statement rows(m_db, sql);
        if (!rows.isValid())
            return false;
        int status;
        while ((status = sqlite3_step(rows.get())) == SQLITE_ROW) {
            const QVariant value = decoded(rows.get(), 1);
            if (value.typeId() != QMetaType::QVariantMap) {
                *error = QStringLiteral("%1: the row of %2 cannot be read").arg(m_path, columnText(rows.get(), 0));
                return false;
            }
            add(columnText(rows.get(), 0), value);
        }
        if (status != SQLITE_DONE)
            *error = QStringLiteral("%1: %2").arg(m_path, lastError());
        return status == SQLITE_DONE;
    };
    QVariantList events;
    QVariantMap triggerStates;
    const bool read = readRows("SELECT id, record FROM events ORDER BY position",
                               [&](const QString &, const QVariant &event) {
                                   events.append(event);
                               })
        && readRows("SELECT id, state FROM trigger_states", [&](const QString &id, const QVariant &triggerState) {
                          triggerStates.insert(id, triggerState);
                      });
    if (!read) {
        if (busy(sqlite3_errcode(m_db) & 0xff))
            return Outcome::Busy;
        close();
        return Outcome::Unreadable;
    }
    *state = { { QStringLiteral("Version"), qint64(1) },
               { QStringLiteral("Enabled"), enabled },
               { QStringLiteral("Events"), events },
               { QStringLiteral("TriggerStates"), triggerStates } };
    return Outcome::Loaded;
}

bool HalvaneStore::apply(const QList<HalvaneStateDelta> &deltas, QString *error)
{
    if (open(true, error) != SQLITE_OK)
        return false;
    if (!run(prepared("BEGIN IMMEDIATE"))) {
        *error = QStringLiteral("cannot write %1: %2").arg(m_path, lastError());
        return false;
    }
    bool applied = true;
    const bool tablesKnown = m_hasTables;
    if (!tablesKnown) {
        Statement format(m_db, "SELECT user_version FROM pragma_user_version");
        applied = format.isValid() && sqlite3_step(format.get()) == SQLITE_ROW;
        // A store made but never committed gets its tables in the transaction of its first change.
        if (applied && sqlite3_column_int(format.get(), 0) == 0) {
            applied = execute(kSchema, error)
                && execute(QStringLiteral("PRAGMA user_version=%1; PRAGMA application_id=%2;")
                               .arg(kFormat)
                               .arg(kApplicationID)
                               .toUtf8()
                               .constData(),
                           error);
        }
    }
    for (const HalvaneStateDelta &delta : deltas) {
        if (!applied)
            break;
        applied = applyOne(delta, error);
    }
    // The commit syncs the log (synchronous=FULL): once it returns, the change survives a crash.
    if (applied && run(prepared("COMMIT"))) {
        m_hasTables = true;
        return true;
    }
    if (error->isEmpty())
        *error = QStringLiteral("cannot write %1: %2").arg(m_path, lastError());
    // A failed commit may have ended the transaction already; then there is nothing to roll back.
    if (!sqlite3_get_autocommit(m_db))
        run(prepared("ROLLBACK"));
    m_hasTables = tablesKnown;
    return false;
}

bool HalvaneStore::applyOne(const HalvaneStateDelta &delta, QString *error)
{
    auto failed = [&] {
        *error = QStringLiteral("cannot write %1: %2").arg(m_path, lastError());
        return false;
    };
    if (delta.whole && !execute("DELETE FROM events; DELETE FROM trigger_states;", error))
        return false;
    if (delta.enabled) {
        sqlite3_stmt *enabled = prepared("INSERT OR REPLACE INTO settings(key, value) VALUES('enabled', ?1)");
        const QByteArray value = encoded(*delta.enabled);
        if (!enabled || sqlite3_bind_blob(enabled, 1, value.constData(), int(value.size()), SQLITE_STATIC) != SQLITE_OK
            || !run(enabled))
            return failed();
    }
    auto writeRows
        = [&](const QList<QPair<QString, std::optional<QVariantMap>>> &rows, const char *upsert, const char *remove) {
              for (const auto &[id, value] : rows) {
                  sqlite3_stmt *statement = prepared(value ? upsert : remove);
                  if (!statement)
                      return false;
                  // Bound as static: both stay alive until the statement has run.
                  const QByteArray utf8 = id.toUtf8();
                  const QByteArray bytes = value ? encoded(*value) : QByteArray();
                  if (sqlite3_bind_text(statement, 1, utf8.constData(), int(utf8.size()), SQLITE_STATIC) != SQLITE_OK
                      || (value
                          && sqlite3_bind_blob(statement, 2, bytes.constData(), int(bytes.size()), SQLITE_STATIC)
                              != SQLITE_OK)
                      || !run(statement))
                      return false;
              }
              return true;
          };
    if (!writeRows(
            delta.events,
            "INSERT INTO events(id, record) VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET record = excluded.record",
            "DELETE FROM events WHERE id = ?1")
        || !writeRows(delta.triggerStates, "INSERT OR REPLACE INTO trigger_states(id, state) VALUES(?1, ?2)",
                      "DELETE FROM trigger_states WHERE id = ?1"))
        return failed();
    return true;
}

QString HalvaneStore::keepAside(const QString &why, QString *error)
{
    close();
    const QString aside = HalvaneStateFile::keepAside(m_path, why, error);
    if (aside.isEmpty())
        return aside;
    // The log and its index belong to the store: a new store must never find them beside it.
    for (const QString &suffix : { QStringLiteral("-wal"), QStringLiteral("-shm") }) {
        if (QFileInfo::exists(m_path + suffix) && !QFile::rename(m_path + suffix, aside + suffix)) {
            *error = QStringLiteral("cannot move %1 aside to %2").arg(m_path + suffix, aside + suffix);
            return QString();
        }
    }
    return aside;
}
