#pragma once

#include <QProcess>
#include <QString>

// A program a test ran to its end: its exit status and what it printed.
struct ProgramRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs a program and waits for it; one that does not finish, or crashes, gives -1 and the reason in err.
inline ProgramRun runProgram(const QString &program, const QStringList &arguments,
                             const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                             int timeoutMSecs = 30000)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMSecs) || process.exitStatus() != QProcess::NormalExit)
        return { -1, QString(), QStringLiteral("%1 did not finish: %2").arg(program, process.errorString()) };
    return { process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
             QString::fromUtf8(process.readAllStandardError()) };
}
