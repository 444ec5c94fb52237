#pragma once

#include "StoreCodec.h"

#include <QString>
#include <QThreadPool>

#include <functional>
#include <mutex>
#include <optional>

// Encodes and writes store snapshots on one worker thread, in the order they were handed
// over. When snapshots pile up behind a slow write only the newest is written, so an older
// snapshot never lands after a newer one. Writes are atomic (temporary file, then rename) and
// the file is private to the user (0600, in a 0700 folder).
class StoreWriter
{
public:
    // How one write ended: the generation it carried, and why it failed (empty when it did not).
    struct Outcome
    {
        quint64 generation = 0;
        QString failure;
    };
    // Called on the worker thread after every write.
    using Reporter = std::function<void(const Outcome &)>;

    explicit StoreWriter(const QString &filePath, Reporter reporter = {});
    ~StoreWriter();

    // Cheap for the caller: the lists are implicitly shared, not copied.
    void write(StoreCodec::Disk snapshot, quint64 generation = 0);
    void waitForIdle();
    int writesCompleted() const;

    // Writes bytes to path atomically with owner-only permissions; false on failure, with the
    // reason in words in failure. The previous file stays as it was unless every byte of the
    // new one reached the disk. A symbolic link at path is replaced, never followed.
    static bool writeFileAtomically(const QString &path,
                                    const QByteArray &bytes,
                                    QString *failure = nullptr);
    // The same, with the content handed over in pieces by produce() through the sink it gets;
    // produce() returns false when it could not make the content or the sink refused a piece.
    static bool writeFileAtomically(const QString &path,
                                    const std::function<bool(const JsonWriter::Sink &)> &produce,
                                    QString *failure = nullptr);
    // The temporary files a write leaves behind when the process dies in the middle of it.
    static QString temporaryFilePattern(const QString &path);

private:
    void drain();

    const QString m_filePath;
    const Reporter m_reporter;
    QThreadPool m_pool;
    mutable std::mutex m_mutex;
    std::optional<StoreCodec::Disk> m_pending;
    quint64 m_pendingGeneration = 0;
    bool m_draining = false;
    int m_writesCompleted = 0;
};
