#include "LogCapture.h"

#include <QMutex>
#include <QPair>

namespace {
QMutex g_mutex;
QList<QPair<QString, QString>> g_lines;
QtMessageHandler g_previous = nullptr;
int g_depth = 0;

void capture(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    {
        QMutexLocker locker(&g_mutex);
        g_lines.append({ QString::fromLatin1(context.category ? context.category : "default"), message });
    }
    if (g_previous)
        g_previous(type, context, message);
}
} // namespace

LogCapture::LogCapture()
{
    QMutexLocker locker(&g_mutex);
    if (g_depth++ == 0)
        g_previous = qInstallMessageHandler(capture);
    g_lines.clear();
}

LogCapture::~LogCapture()
{
    QMutexLocker locker(&g_mutex);
    if (--g_depth == 0)
        qInstallMessageHandler(g_previous);
}

QStringList LogCapture::messages(const char *category) const
{
    QMutexLocker locker(&g_mutex);
    QStringList result;
    for (const auto &[name, message] : std::as_const(g_lines)) {
        if (name == QLatin1String(category))
            result.append(message);
    }
    return result;
}

int LogCapture::count(const QString &message) const
{
    QMutexLocker locker(&g_mutex);
    int n = 0;
    for (const auto &line : std::as_const(g_lines))
        n += line.second == message ? 1 : 0;
    return n;
}
