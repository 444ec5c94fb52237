#pragma once

// Small measuring tools shared by the benchmarks.

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QProcess>
#include <QString>

#include <algorithm>
#include <ctime>

namespace bench {

// CPU time of the calling thread: unlike wall time, it does not grow when other processes
// take the machine's cores.
inline double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// A field of /proc/self/status in kB ("VmRSS", "VmHWM"); -1 when unknown.
inline qint64 statusKb(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

inline double median(QList<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

inline double minimum(const QList<double> &values)
{
    return values.isEmpty() ? 0 : *std::min_element(values.begin(), values.end());
}

inline double maximum(const QList<double> &values)
{
    return values.isEmpty() ? 0 : *std::max_element(values.begin(), values.end());
}

// Starts a private Xvfb of 1920x1080 on a display it picks itself; returns ":N", or an empty
// string when the server did not start within 20 s.
inline QString startXvfb(QProcess &xvfb)
{
    xvfb.start(QStringLiteral("Xvfb"),
               {QStringLiteral("-displayfd"),
                QStringLiteral("1"),
                QStringLiteral("-screen"),
                QStringLiteral("0"),
                QStringLiteral("1920x1080x24"),
                QStringLiteral("-nolisten"),
                QStringLiteral("tcp")});
    QByteArray number;
    while (!number.contains('\n') && xvfb.waitForReadyRead(20000))
        number += xvfb.readAllStandardOutput();
    if (number.trimmed().isEmpty())
        return {};
    return QStringLiteral(":") + QString::fromLatin1(number.trimmed());
}

} // namespace bench
