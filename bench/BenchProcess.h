#pragma once

#include <QFile>

#include <malloc.h>
#include <sys/resource.h>

// What this process uses, read from the kernel: resident memory, processor time and context switches.
namespace BenchProcess {

// VmRSS of a process as its status file (/proc/<pid>/status) has it; -1 when it cannot be read.
inline long residentKiBOf(const QString &statusFile)
{
    QFile status(statusFile);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

// VmRSS as the kernel has it, free heap pages included.
inline long residentKiBUntrimmed()
{
    return residentKiBOf(QStringLiteral("/proc/self/status"));
}

inline long residentKiB()
{
    // Freed heap returns to the system first, so that the figure is what is in use.
    malloc_trim(0);
    return residentKiBUntrimmed();
}

struct Usage
{
    double cpuMSecs = 0;
    long contextSwitches = 0;
};

inline Usage usage()
{
    rusage now {};
    getrusage(RUSAGE_SELF, &now);
    const auto msecs = [](const timeval &time) {
        return double(time.tv_sec) * 1000.0 + double(time.tv_usec) / 1000.0;
    };
    return { msecs(now.ru_utime) + msecs(now.ru_stime), now.ru_nvcsw + now.ru_nivcsw };
}

} // namespace BenchProcess
