#pragma once

#include <QFile>
#include <QtGlobal>

// Resident memory of this process, from /proc/self/status, in kB; -1 when unknown.
inline qint64 residentKb(const char *field)
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

// Starts a new peak: the kernel sets VmHWM back to the current resident size.
inline bool resetPeakResident()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    return clearRefs.open(QIODevice::WriteOnly) && clearRefs.write("5") == 1;
}
