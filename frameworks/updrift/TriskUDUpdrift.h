#pragma once

#include "TriskUDFeedFetcher.h"
#include "TriskUDReleasesFeed.h"

#include <QDateTime>
#include <QObject>
#include <QUrl>
#include <QVariantList>

#include <functional>
#include <memory>

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

    // The clock must outlive the checker; fetchers makes the feed's reader at the first check.
    TriskUDUpdrift(const TriskUDFeedFetcherFactory &fetchers, const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskUDUpdrift() override;

    // When the last check that read the feed completed; invalid when none is known.
    QDateTime lastCheck() const { return m_lastCheck; }
    bool isChecking() const { return m_checking; }

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
    void finished(const QByteArray &document, const QString &error, const QUrl &url, const QString &version,
                  const Reply &reply);
    void loadState();

    TriskUDFeedFetcherFactory m_fetchers;
    std::unique_ptr<TriskUDFeedFetcher> m_fetcher;
    const TriskVXClock *m_clock;
    QString m_stateFile;
    QDateTime m_lastCheck;
    bool m_checking = false;
    int m_timeoutMSecs = 30000;
    qint64 m_maximumBytes = 1024 * 1024;
};
