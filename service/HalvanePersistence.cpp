#include "HalvanePersistence.h"

#include "HalvaneLimits.h"
#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneStateFile.h"
#include "HalvaneStateWriter.h"

#include <QCoreApplication>
#include <QTimer>

HalvanePersistence::HalvanePersistence(HalvaneScheduler *scheduler, const QString &path, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_path(path)
    , m_writer(new HalvaneStateWriter)
{
    m_thread.setObjectName(QStringLiteral("halvaned state writer"));
    m_writer->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_writer, &QObject::deleteLater);
    connect(m_writer, &HalvaneStateWriter::written, this, &HalvanePersistence::written);
    m_thread.start();
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &HalvanePersistence::schedule);
    connect(m_scheduler, &HalvaneScheduler::stateChanged, this, [this] {
        ++m_changes;
        schedule();
    });
}

HalvanePersistence::~HalvanePersistence()
{
    m_thread.quit();
    m_thread.wait();
}

bool HalvanePersistence::load()
{
    QVariantMap state;
    QString error;
    switch (HalvaneStateFile::load(m_path, &state, &error)) {
    case HalvaneStateFile::Outcome::Missing:
        qCInfo(lcHalvaned).noquote() << QStringLiteral("no state file at %1; starting empty").arg(m_path);
        return true;
    case HalvaneStateFile::Outcome::Loaded:
        if (m_scheduler->restore(state, &error)) {
            qCInfo(lcHalvaned).noquote() << QStringLiteral("state read from %1").arg(m_path);
            return true;
        }
        error = QStringLiteral("%1: %2").arg(m_path, error);
        break;
    case HalvaneStateFile::Outcome::Unreadable:
        break;
    }
    QString moveError;
    const QString aside = HalvaneStateFile::keepAside(m_path, &moveError);
    if (aside.isEmpty()) {
        qCCritical(lcHalvaned).noquote()
            << QStringLiteral("the state file cannot be read (%1) and %2; not starting, so as not to overwrite it")
                   .arg(error, moveError);
        return false;
    }
    qCCritical(lcHalvaned).noquote()
        << QStringLiteral("the state file cannot be read (%1); kept aside as %2, starting empty").arg(error, aside);
    return true;
}

void HalvanePersistence::whenSaved(std::function<void(bool)> done)
{
    if (!isDirty()) {
        done(true);
        return;
    }
    m_waiting.append({ m_changes, std::move(done) });
}

void HalvanePersistence::schedule()
{
    // One write at a time; the changes made meanwhile go into the next. After a refused save the retry
    // timer decides when: changes made while the disk refuses wait for it too.
    if (m_scheduled || m_writing || m_retry.isActive())
        return;
    m_scheduled = true;
    QTimer::singleShot(0, this, &HalvanePersistence::startWrite);
}

void HalvanePersistence::startWrite()
{
    m_scheduled = false;
    if (!isDirty() || m_writing || m_retry.isActive())
        return;
    m_writing = true;
    // The state is implicitly shared: the writer reads its own copy while the scheduler goes on.
    QMetaObject::invokeMethod(m_writer, "write", Qt::QueuedConnection, Q_ARG(QString, m_path),
                              Q_ARG(QVariantMap, m_scheduler->toPropertyList()), Q_ARG(quint64, m_changes));
}

void HalvanePersistence::written(quint64 generation, bool saved, const QString &error)
{
    m_writing = false;
    if (saved) {
        m_saved = qMax(m_saved, generation);
        m_retryDelay = 0;
        if (isFailing())
            qCInfo(lcHalvaned).noquote() << QStringLiteral("the state is saved again");
        m_failure.clear();
    } else {
        refused(error);
    }
    answer(generation, saved);
    if (isDirty())
        schedule();
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

void HalvanePersistence::answer(quint64 generation, bool saved)
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
}

void HalvanePersistence::saveNow()
{
    while (m_writing)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    m_scheduled = false;
    if (!isDirty())
        return;
    m_retry.stop();
    const quint64 generation = m_changes;
    QString error;
    const bool saved = HalvaneStateFile::save(m_path, m_scheduler->toPropertyList(), &error);
    if (saved) {
        m_saved = generation;
        m_retryDelay = 0;
        m_failure.clear();
    } else {
        refused(error);
    }
    answer(generation, saved);
}
