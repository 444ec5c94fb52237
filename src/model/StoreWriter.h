#pragma once

#include "StoreCodec.h"

#include <QString>
#include <QThreadPool>

#include <mutex>
#include <optional>

// Encodes and writes store snapshots on one worker thread, in the order they were handed
// over. When snapshots pile up behind a slow write only the newest is written, so an older
// snapshot never lands after a newer one. Writes are atomic (temporary file, then rename) and
// the file is private to the user (0600, in a 0700 folder).
class StoreWriter
{
public:
    explicit StoreWriter(const QString &filePath);
    ~StoreWriter();

    // Cheap for the caller: the lists are implicitly shared, not copied.
    void write(StoreCodec::Disk snapshot);
    void waitForIdle();
    int writesCompleted() const;

    // Writes bytes to path atomically with owner-only permissions; false on failure.
    static bool writeFileAtomically(const QString &path, const QByteArray &bytes);

private:
    void drain();

    const QString m_filePath;
    QThreadPool m_pool;
    mutable std::mutex m_mutex;
    std::optional<StoreCodec::Disk> m_pending;
    bool m_draining = false;
    int m_writesCompleted = 0;
};
