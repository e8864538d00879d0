#include "TriskUDFeedFetcherModule.h"

#include <QCoreApplication>
#include <QLibrary>

QString TriskUDFeedFetcherModule::defaultPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/" TRISK_UPDRIFT_MODULE_FROM_BINDIR);
}

TriskUDFeedFetcherFactory TriskUDFeedFetcherModule::factory(const QString &path)
{
    return [path](QString *error) -> std::unique_ptr<TriskUDFeedFetcher> {
        // Never unloaded: Qt Network keeps global state that must outlive every fetcher.
        QLibrary module(path);
        using Entry = TriskUDFeedFetcher *(*)();
        const auto entry = reinterpret_cast<Entry>(module.resolve(TRISK_UD_FEED_FETCHER_ENTRY));
        if (!entry) {
            if (error)
                *error = QStringLiteral("cannot load the network module of the update check: %1")
                             .arg(module.errorString());
            return nullptr;
        }
        return std::unique_ptr<TriskUDFeedFetcher>(entry());
    };
}
