#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class HalvaneScheduler;

// Keeps the scheduler's state in its state file: loads it at start (an unreadable file is kept aside and
// the service starts empty), and saves after every change, several changes of one event-loop turn in one
// write. Answers to requests wait for the save, so that no acknowledged change is lost.
class HalvanePersistence : public QObject
{
    Q_OBJECT

public:
    HalvanePersistence(HalvaneScheduler *scheduler, const QString &path, QObject *parent = nullptr);

    QString path() const { return m_path; }
    // False only when the state file exists, cannot be read and cannot be moved aside either: the service
    // must not start then, or it would overwrite it.
    bool load();
    // Runs done(saved) once the changes made so far are on disk, at once when there are none.
    void whenSaved(std::function<void(bool saved)> done);
    bool isDirty() const { return m_dirty; }
    void saveNow();

private:
    HalvaneScheduler *m_scheduler;
    QString m_path;
    bool m_dirty = false;
    bool m_scheduled = false;
    QList<std::function<void(bool)>> m_waiting;
};
