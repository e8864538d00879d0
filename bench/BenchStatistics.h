#pragma once

#include <QList>
#include <QString>
#include <QTextStream>

#include <algorithm>
#include <vector>

// Median and 99th percentile of a series of durations in nanoseconds, printed in microseconds.
class BenchStatistics
{
public:
    // The middle value (the upper of the two middle ones for an even count); 0 for none.
    static double median(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        return values.empty() ? 0.0 : values.at(values.size() / 2);
    }

    static void report(QTextStream &out, const QString &name, QList<qint64> nanoseconds)
    {
        std::sort(nanoseconds.begin(), nanoseconds.end());
        const qsizetype n = nanoseconds.size();
        auto at = [&](double fraction) {
            return nanoseconds.at(qMin(n - 1, qsizetype(fraction * double(n)))) / 1000.0;
        };
        out << QStringLiteral("%1: n=%2 median=%3 us p99=%4 us min=%5 us max=%6 us")
                   .arg(name)
                   .arg(n)
                   .arg(at(0.5), 0, 'f', 1)
                   .arg(at(0.99), 0, 'f', 1)
                   .arg(nanoseconds.first() / 1000.0, 0, 'f', 1)
                   .arg(nanoseconds.last() / 1000.0, 0, 'f', 1)
            << Qt::endl;
    }
};
