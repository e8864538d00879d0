#include "TriskVXUnixSignalWatcher.h"

#include "TriskVXPlatformLogging.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
// The handler may only write to a pipe; the event loop reads the other end.
int g_signalPipe[2] = { -1, -1 };

void writeSignal(int signalNumber)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const auto written = ::write(g_signalPipe[1], &byte, 1);
    errno = savedErrno;
}
} // namespace

TriskVXUnixSignalWatcher::TriskVXUnixSignalWatcher(const QList<int> &signalNumbers, QObject *parent)
    : QObject(parent)
    , m_signals(signalNumbers)
{
    if (g_signalPipe[0] < 0 && ::pipe2(g_signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        qCWarning(lcTriskPlatform) << "cannot watch Unix signals: pipe2 failed:" << strerror(errno);
        return;
    }
    m_notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TriskVXUnixSignalWatcher::readSignal);
    for (int signalNumber : signalNumbers) {
        struct sigaction action = {};
        action.sa_handler = writeSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        if (::sigaction(signalNumber, &action, nullptr) != 0)
            qCWarning(lcTriskPlatform) << "cannot watch signal" << signalNumber << ":" << strerror(errno);
    }
}

TriskVXUnixSignalWatcher::~TriskVXUnixSignalWatcher()
{
    for (int signalNumber : std::as_const(m_signals))
        ::signal(signalNumber, SIG_DFL);
}

void TriskVXUnixSignalWatcher::readSignal()
{
    unsigned char byte = 0;
    while (::read(g_signalPipe[0], &byte, 1) == 1)
        Q_EMIT unixSignal(int(byte));
}
