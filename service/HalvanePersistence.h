#pragma once

#include "HalvaneStateDelta.h"
#include "HalvaneStore.h"

#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QTimer>

#include <functional>

class HalvaneScheduler;

// Keeps the scheduler's state in its store (HalvaneStore): loads it at start (an unreadable store is kept
// aside and the service starts empty; the state file of earlier versions is moved into a new store), and
// saves what changed after every change, all the requests that came in while a write was under way in the
// next one (with the next requests of the callers just answered, when they come quickly). Answers to
// requests wait for the save that holds their change, so that no acknowledged change is lost.
class HalvanePersistence : public QObject
{
    Q_OBJECT

public:
    // The store is <folder>/store.db; <folder>/store.plist is the state file of earlier versions.
    HalvanePersistence(HalvaneScheduler *scheduler, const QString &folder, QObject *parent = nullptr);

    // Where the store of a state folder lies.
    static QString storePath(const QString &folder);

    // False when the store was written by a newer version, or cannot be read and cannot be moved aside
    // either: the service must not start then, or it would overwrite it.
    bool load();
    // Runs done(saved) once the changes made so far are on disk, at once when there are none.
    void whenSaved(std::function<void(bool saved)> done);
    bool isDirty() const { return m_saved < m_changes; }
    // The last save was refused and the state is being retried: the reason, clipped for a reply.
    bool isFailing() const { return !m_failure.isEmpty(); }
    QString failure() const { return m_failure; }
    // Writes now rather than after the requests waiting: for start-up and shutdown.
    void saveNow();

private:
    bool migrate();
    void keepLegacyAside();
    void takeChanges();
    // A save went through: what was unsaved is on disk.
    void savedUnsaved();
    void schedule();
    void write();
    // Writes what is unsaved and answers the callers waiting for it; the answer is how many were answered.
    qsizetype save(bool *saved);
    // Runs the callbacks waiting for that save; the answer is how many ran.
    qsizetype answer(quint64 generation, bool saved);
    void refused(const QString &error);

    HalvaneScheduler *m_scheduler;
    QString m_legacyPath;
    HalvaneStore m_store;
    // Taken from the scheduler and not yet on disk: written in order, with what comes after a refused save.
    QList<HalvaneStateDelta> m_unsaved;
    // The earlier version's state file, moved aside once its contents are saved in the store.
    bool m_migrating = false;
    quint64 m_changes = 0;
    quint64 m_saved = 0;
    bool m_scheduled = false;
    // After a refused save: 1 s, doubling up to a minute.
    static constexpr int kFirstRetryMs = 1000;
    static constexpr int kLastRetryMs = 60000;
    int m_retryDelay = 0;
    QTimer m_retry;
    QString m_failure;
    // After a save, the next write waits until as many requests wait as there were then plus those just
    // answered, or at most this long: enough for callers slowed by a busy machine, and all that a caller
    // who does not come back costs the others.
    static constexpr int kGatherMs = 3;
    QTimer m_gather;
    qsizetype m_gatherTarget = 0;
    QList<QPair<quint64, std::function<void(bool)>>> m_waiting;
};
