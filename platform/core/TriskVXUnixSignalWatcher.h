#pragma once

#include <QList>
#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread, so that a process stopped by
// systemd or a terminal ends through its event loop and cleans up.
class TriskVXUnixSignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXUnixSignalWatcher(const QList<int> &signalNumbers, QObject *parent = nullptr);
    ~TriskVXUnixSignalWatcher() override;

Q_SIGNALS:
    void unixSignal(int signalNumber);

private:
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
    QList<int> m_signals;
};
