#pragma once

#include <QCoreApplication>
#include <QLoggingCategory>

// What every fuzz target sets up once: an application object, for the timers and the bus, and silent
// logging, since refusals are logged and a fuzzer produces millions of them. qFatal still aborts, so a
// fatal message counts as a crash.
inline void triskFuzzSetUp(int *argc, char ***argv)
{
    static QCoreApplication *application = nullptr;
    if (application)
        return;
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtFatalMsg) {
            fprintf(stderr, "qFatal: %s\n", qPrintable(message));
            abort();
        }
    });
    application = new QCoreApplication(*argc, *argv);
}
