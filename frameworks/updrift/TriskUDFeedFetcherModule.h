#pragma once

#include "TriskUDFeedFetcher.h"

// Finds and loads the network module of the update check, once, when a check first needs it.
class TriskUDFeedFetcherModule
{
public:
    // Where the program's build or installation keeps the module, beside its own executable.
    static QString defaultPath();
    // A factory that loads the module at path (kept loaded for the life of the process) and makes one
    // fetcher with it per call.
    static TriskUDFeedFetcherFactory factory(const QString &path = defaultPath());
};
