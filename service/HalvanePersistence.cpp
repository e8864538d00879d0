#include "HalvanePersistence.h"

#include "HalvaneLimits.h"
#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneStateFile.h"
#include "HalvaneStore.h"

#include <QFileInfo>
#include <QTimer>

namespace {
// An unreadable file was moved aside (aside) or could not be (moveError): false when the service must not
// start then, or it would overwrite it.
bool reportKeptAside(const QString &what, const QString &error, const QString &aside, const QString &moveError)
{
    if (aside.isEmpty()) {
        qCCritical(lcHalvaned).noquote()
            << QStringLiteral("%1 cannot be read (%2) and %3; not starting, so as not to overwrite it")
                   .arg(what, error, moveError);
        return false;
    }
    qCCritical(lcHalvaned).noquote()
        << QStringLiteral("%1 cannot be read (%2); kept aside as %3, starting empty").arg(what, error, aside);
    return true;
}
} // namespace

HalvanePersistence::HalvanePersistence(HalvaneScheduler *scheduler, const QString &folder, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_legacyPath(folder + QStringLiteral("/store.plist"))
    , m_store(storePath(folder))
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &HalvanePersistence::schedule);
    m_gather.setSingleShot(true);
    m_gather.setTimerType(Qt::PreciseTimer);
    connect(&m_gather, &QTimer::timeout, this, &HalvanePersistence::schedule);
    connect(m_scheduler, &HalvaneScheduler::stateChanged, this, [this] {
        ++m_changes;
        schedule();
    });
}

QString HalvanePersistence::storePath(const QString &folder)
{
    return folder + QStringLiteral("/store.db");
}

bool HalvanePersistence::load()
{
    QVariantMap state;
    QString error;
    switch (m_store.load(&state, &error)) {
    case HalvaneStore::Outcome::Missing:
        return migrate();
    case HalvaneStore::Outcome::Newer:
        qCCritical(lcHalvaned).noquote() << QStringLiteral("%1; not starting, so as not to misread it").arg(error);
        return false;
    case HalvaneStore::Outcome::Busy:
        qCCritical(lcHalvaned).noquote() << QStringLiteral("%1; not starting, and leaving it as it is").arg(error);
        return false;
    case HalvaneStore::Outcome::Loaded:
        if (m_scheduler->restore(state, &error, HalvaneScheduler::Restore::FromStore)) {
            qCInfo(lcHalvaned).noquote() << QStringLiteral("state read from %1").arg(m_store.path());
            // What restoring mended is saved with the first write.
            takeChanges();
            // Left behind by a migration that stopped after its save.
            if (QFileInfo::exists(m_legacyPath))
                keepLegacyAside();
            return true;
        }
        error = QStringLiteral("%1: %2").arg(m_store.path(), error);
        break;
    case HalvaneStore::Outcome::Unreadable:
        break;
    }
    QString moveError;
    const QString aside = m_store.keepAside(QStringLiteral("corrupt"), &moveError);
    return reportKeptAside(QStringLiteral("the store"), error, aside, moveError);
}

bool HalvanePersistence::migrate()
{
    QVariantMap state;
    QString error;
    switch (HalvaneStateFile::load(m_legacyPath, &state, &error)) {
    case HalvaneStateFile::Outcome::Missing:
        qCInfo(lcHalvaned).noquote() << QStringLiteral("no store at %1; starting empty").arg(m_store.path());
        return true;
    case HalvaneStateFile::Outcome::Loaded:
        if (m_scheduler->restore(state, &error)) {
            // The file stays where it is until the store holds its contents: a crash before then
            // migrates it again.
            qCInfo(lcHalvaned).noquote()
                << QStringLiteral("state read from %1; moving it into %2").arg(m_legacyPath, m_store.path());
            m_migrating = true;
            takeChanges();
            return true;
        }
        error = QStringLiteral("%1: %2").arg(m_legacyPath, error);
        break;
    case HalvaneStateFile::Outcome::Unreadable:
        break;
    }
    QString moveError;
    const QString aside = HalvaneStateFile::keepAside(m_legacyPath, QStringLiteral("corrupt"), &moveError);
    return reportKeptAside(QStringLiteral("the state file"), error, aside, moveError);
}

void HalvanePersistence::keepLegacyAside()
{
    m_migrating = false;
    QString error;
    const QString aside = HalvaneStateFile::keepAside(m_legacyPath, QStringLiteral("migrated"), &error);
    if (aside.isEmpty())
        qCWarning(lcHalvaned).noquote() << QStringLiteral("the store holds the state, but %1").arg(error);
    else
        qCInfo(lcHalvaned).noquote()
            << QStringLiteral("the state is in %1; the earlier state file is kept as %2").arg(m_store.path(), aside);
}

void HalvanePersistence::takeChanges()
{
    HalvaneStateDelta delta = m_scheduler->takeChanges();
    if (delta.isEmpty())
        return;
    m_unsaved.append(std::move(delta));
    // Changes made outside a request (a restore) count as one more.
    if (m_saved == m_changes)
        ++m_changes;
}

void HalvanePersistence::whenSaved(std::function<void(bool)> done)
{
    if (!isDirty()) {
        done(true);
        return;
    }
    m_waiting.append({ m_changes, std::move(done) });
    if (m_gather.isActive() && m_waiting.size() >= m_gatherTarget) {
        m_gather.stop();
        schedule();
    }
}

void HalvanePersistence::schedule()
{
    // After the requests already waiting, so that they go into the same write. After a refused save the
    // retry timer decides when: changes made while the disk refuses wait for it too.
    if (m_scheduled || m_retry.isActive())
        return;
    m_scheduled = true;
    QMetaObject::invokeMethod(this, &HalvanePersistence::write, Qt::QueuedConnection);
}

void HalvanePersistence::write()
{
    m_scheduled = false;
    if (!isDirty() || m_retry.isActive() || m_gather.isActive())
        return;
    bool saved = false;
    const qsizetype answered = save(&saved);
    // The callers just answered tend to send their next request at once. Writing the first of them alone
    // would leave the others for the write after, which settles into groups of half the callers; waiting
    // for them lets one sync serve them all.
    if (saved && answered > 0) {
        m_gatherTarget = m_waiting.size() + answered;
        m_gather.start(kGatherMs);
    }
}

void HalvanePersistence::refused(const QString &error)
{
    m_failure = HalvaneLimits::clipped(error, 1000);
    qCCritical(lcHalvaned).noquote() << QStringLiteral("cannot save the state: %1").arg(m_failure);
    // Trying again at once would spin on the failure (a full disk, a file where the folder should be):
    // wait, longer each time, and keep what is unsaved in memory meanwhile.
    m_retryDelay = m_retryDelay == 0 ? kFirstRetryMs : qMin(m_retryDelay * 2, kLastRetryMs);
    m_retry.start(m_retryDelay);
}

qsizetype HalvanePersistence::answer(quint64 generation, bool saved)
{
    QList<std::function<void(bool)>> ready;
    m_waiting.removeIf([&](const QPair<quint64, std::function<void(bool)>> &waiting) {
        if (waiting.first > generation)
            return false;
        ready.append(waiting.second);
        return true;
    });
    for (const auto &done : std::as_const(ready))
        done(saved);
    return ready.size();
}

void HalvanePersistence::saveNow()
{
    m_gather.stop();
    if (!isDirty())
        return;
    m_retry.stop();
    bool saved = false;
    save(&saved);
}

qsizetype HalvanePersistence::save(bool *saved)
{
    takeChanges();
    const quint64 generation = m_changes;
    QString error;
    // On this thread: requests that come in meanwhile queue up and go into the next write together.
    *saved = m_store.apply(m_unsaved, &error);
    if (*saved) {
        m_saved = generation;
        savedUnsaved();
        m_retryDelay = 0;
        if (isFailing())
            qCInfo(lcHalvaned).noquote() << QStringLiteral("the state is saved again");
        m_failure.clear();
    } else {
        refused(error);
    }
    return answer(generation, *saved);
}

void HalvanePersistence::savedUnsaved()
{
    m_unsaved.clear();
    if (m_migrating)
        keepLegacyAside();
}
