#include "TriskVXAssertionHandler.h"

#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXPlatformLogging.h"

#include <QFileInfo>

TriskVXAssertionHandler *TriskVXAssertionHandler::currentHandler()
{
    // One handler per process: everything here runs on the main thread.
    static TriskVXAssertionHandler handler;
    return &handler;
}

void TriskVXAssertionHandler::handleFailureInMethod(const QString &method, const QObject *object, const QString &file,
                                                    int line, const QString &description)
{
    Q_UNUSED(object)
    handleFailureInFunction(method, file, line, description);
}

void TriskVXAssertionHandler::handleFailureInFunction(const QString &function, const QString &file, int line,
                                                      const QString &description)
{
    qCCritical(lcTriskPlatform).noquote()
        << QStringLiteral("*** Assertion failure in %1, %2:%3").arg(function, file).arg(line);
    qCCritical(lcTriskPlatform).noquote() << description;
    throw TriskVXInternalInconsistencyException(function, file, line, description);
}

QString TriskVXAssertionHandler::sourceNameOfFile(const char *path)
{
    return QFileInfo(QString::fromUtf8(path)).completeBaseName();
}
