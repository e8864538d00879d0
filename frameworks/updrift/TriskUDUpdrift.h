#pragma once

#include "TriskUDReleasesFeed.h"

#include <QDateTime>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QVariantList>

#include <functional>

class QNetworkAccessManager;
class TriskVXClock;

// Finds out whether a newer version of the program is offered: reads the releases feed at an address
// (https, or http on this machine's loopback), within a time and a size limit, and answers with the
// stable releases newer than the running version. Remembers when the last check succeeded, across runs.
class TriskUDUpdrift : public QObject
{
    Q_OBJECT

public:
    // updates: one map per newer release, newest first ("version", "date", "url"); error: empty on success,
    // otherwise what failed and why.
    using Reply = std::function<void(const QVariantList &updates, const QString &error)>;

    // The network and the clock must outlive the checker.
    TriskUDUpdrift(QNetworkAccessManager *network, const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskUDUpdrift() override;

    // When the last check that read the feed completed; invalid when none is known.
    QDateTime lastCheck() const { return m_lastCheck; }
    bool isChecking() const { return m_reply != nullptr; }

    // One check against the feed at url. An empty version means the running one (the bundle's
    // CFBundleShortVersionString, else the application's version); systemVersion is not used by this feed.
    // reply runs once, always after this call returned, on this thread.
    void checkForUpdatesWithURLVersionSystemVersionReply(const QUrl &url, const QString &version,
                                                         const QString &systemVersion, const Reply &reply);

    // Where lastCheck is kept: <config>/trisk-notifier/TriskUDUpdrift.plist unless set.
    static QString defaultStateFile();
    void setStateFile(const QString &path);
    QString stateFile() const { return m_stateFile; }
    void setTimeoutMSecs(int timeout) { m_timeoutMSecs = timeout; }
    void setMaximumBytes(qint64 bytes) { m_maximumBytes = bytes; }

    // The stable releases of the feed newer than version, newest first.
    static QVariantList updatesNewerThan(const QList<TriskUDReleasesFeed::Release> &releases, const QString &version);
    static QString runningVersion();

private:
    void finished(const QUrl &url, const QString &version);
    void complete(const QVariantList &updates, const QString &error);
    void loadState();

    QNetworkAccessManager *m_network;
    const TriskVXClock *m_clock;
    QString m_stateFile;
    QDateTime m_lastCheck;
    QPointer<QNetworkReply> m_reply;
    Reply m_pendingReply;
    bool m_oversized = false;
    int m_timeoutMSecs = 30000;
    qint64 m_maximumBytes = 1024 * 1024;
};
