#include "HalvanePersistence.h"

#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneStateFile.h"

#include <QTimer>

HalvanePersistence::HalvanePersistence(HalvaneScheduler *scheduler, const QString &path, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_path(path)
{
    connect(m_scheduler, &HalvaneScheduler::stateChanged, this, [this] {
        m_dirty = true;
        if (m_scheduled)
            return;
        m_scheduled = true;
        QTimer::singleShot(0, this, &HalvanePersistence::saveNow);
    });
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
        qCCritical(lcHalvaned).noquote() << QStringLiteral(
                                                "the state file cannot be read (%1) and %2; not starting, so as not to "
                                                "overwrite it")
                                                .arg(error, moveError);
        return false;
    }
    qCCritical(lcHalvaned).noquote()
        << QStringLiteral("the state file cannot be read (%1); kept aside as %2, starting empty").arg(error, aside);
    return true;
}

void HalvanePersistence::whenSaved(std::function<void(bool)> done)
{
    if (!m_dirty) {
        done(true);
        return;
    }
    m_waiting.append(std::move(done));
}

void HalvanePersistence::saveNow()
{
    m_scheduled = false;
    if (!m_dirty)
        return;
    m_dirty = false;
    QString error;
    const bool saved = HalvaneStateFile::save(m_path, m_scheduler->toPropertyList(), &error);
    if (!saved)
        qCCritical(lcHalvaned).noquote() << QStringLiteral("the state was not saved: %1").arg(error);
    const QList<std::function<void(bool)>> waiting = std::exchange(m_waiting, {});
    for (const auto &done : waiting)
        done(saved);
}
