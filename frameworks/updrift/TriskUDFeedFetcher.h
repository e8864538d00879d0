#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

// Reads the releases feed over the network for the update checker. The network stack lives in a module
// of its own (libtrisk-updrift-network.so) that the checker loads at its first check, so that a notifier
// that never checks never maps the network libraries.
class TriskUDFeedFetcher
{
public:
    // The whole document, or an empty one with error saying what failed and why.
    using Done = std::function<void(const QByteArray &document, const QString &error)>;

    virtual ~TriskUDFeedFetcher() = default;
    // One read of url within the limits; done runs once, after fetch returned, on this thread, and never
    // once the fetcher is deleted (deleting it abandons the read).
    virtual void fetch(const QUrl &url, const QString &userAgent, int timeoutMSecs, qint64 maximumBytes,
                       const Done &done)
        = 0;
};

// Makes the fetcher when the first check needs it; nullptr with error set when it cannot.
using TriskUDFeedFetcherFactory = std::function<std::unique_ptr<TriskUDFeedFetcher>(QString *error)>;

// The name the module's factory function is exported under.
#define TRISK_UD_FEED_FETCHER_ENTRY "trisk_ud_create_feed_fetcher"
