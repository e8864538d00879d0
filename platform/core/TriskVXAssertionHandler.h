#pragma once

#include <QString>

class QObject;

// Logs a programming error and raises TriskVXInternalInconsistencyException.
class TriskVXAssertionHandler
{
public:
    static TriskVXAssertionHandler *currentHandler();

    [[noreturn]] void handleFailureInMethod(const QString &method, const QObject *object, const QString &file, int line,
                                            const QString &description);
    [[noreturn]] void handleFailureInFunction(const QString &function, const QString &file, int line,
                                              const QString &description);

    // The source name a failed check reports: the file's base name without extension, which is the
    // class's name (or its additions') because every file is named after its class.
    static QString sourceNameOfFile(const char *path);
};

// Programming-error checks on conditions and parameters. The description is built only on
// failure. The _C variants are for static (class) operations, which have no object.
#define TRISK_ASSERT(condition, description)                                                                           \
    do {                                                                                                               \
        if (Q_UNLIKELY(!(condition)))                                                                                  \
            TriskVXAssertionHandler::currentHandler()->handleFailureInMethod(                                          \
                QString::fromLatin1(__func__), this, TriskVXAssertionHandler::sourceNameOfFile(__FILE__), __LINE__,    \
                (description));                                                                                        \
    } while (false)

#define TRISK_CASSERT(condition, description)                                                                          \
    do {                                                                                                               \
        if (Q_UNLIKELY(!(condition)))                                                                                  \
            TriskVXAssertionHandler::currentHandler()->handleFailureInFunction(                                        \
                QString::fromLatin1(__func__), TriskVXAssertionHandler::sourceNameOfFile(__FILE__), __LINE__,          \
                (description));                                                                                        \
    } while (false)

#define TRISK_PARAMETER_ASSERT(condition)                                                                              \
    TRISK_ASSERT(condition, QStringLiteral("Invalid parameter not satisfying: %1").arg(QStringLiteral(#condition)))

#define TRISK_CPARAMETER_ASSERT(condition)                                                                             \
    TRISK_CASSERT(condition, QStringLiteral("Invalid parameter not satisfying: %1").arg(QStringLiteral(#condition)))
