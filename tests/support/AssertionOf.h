#pragma once

#include "TriskVXInternalInconsistencyException.h"

#include <QString>

#include <functional>

// What a call raised through the assertion handler, as "<source>|<description>"; empty when nothing.
inline QString assertionOf(const std::function<void()> &call)
{
    try {
        call();
    } catch (const TriskVXInternalInconsistencyException &exception) {
        return exception.file() + QLatin1Char('|') + exception.description();
    }
    return QString();
}
