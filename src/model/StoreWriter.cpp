#include "StoreWriter.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

Q_LOGGING_CATEGORY(lcStoreWriter, "cliphaven.store")

StoreWriter::StoreWriter(const QString &filePath)
    : m_filePath(filePath)
{
    m_pool.setMaxThreadCount(1);
    m_pool.setObjectName(QStringLiteral("StoreWriter"));
}

StoreWriter::~StoreWriter()
{
    waitForIdle();
}

void StoreWriter::write(StoreCodec::Disk snapshot)
{
    std::lock_guard lock(m_mutex);
    m_pending = std::move(snapshot);
    if (m_draining)
        return;
    m_draining = true;
    m_pool.start([this] { drain(); });
}

void StoreWriter::drain()
{
    while (true) {
        std::optional<StoreCodec::Disk> snapshot;
        {
            std::lock_guard lock(m_mutex);
            if (!m_pending) {
                m_draining = false;
                return;
            }
            snapshot = std::exchange(m_pending, std::nullopt);
        }
        const QByteArray bytes = StoreCodec::encode(*snapshot);
        // Drop the lists here, on the worker, so the main thread never frees image buffers.
        snapshot.reset();
        if (!writeFileAtomically(m_filePath, bytes))
            qCWarning(lcStoreWriter) << "could not write" << m_filePath;
        std::lock_guard lock(m_mutex);
        ++m_writesCompleted;
    }
}

void StoreWriter::waitForIdle()
{
    m_pool.waitForDone();
}

int StoreWriter::writesCompleted() const
{
    std::lock_guard lock(m_mutex);
    return m_writesCompleted;
}

bool StoreWriter::writeFileAtomically(const QString &path, const QByteArray &bytes)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (!QFileInfo::exists(folder)) {
        if (!QDir().mkpath(folder))
            return false;
        QFile::setPermissions(folder,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                  | QFileDevice::ExeOwner);
    }
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // Set on the temporary file before it replaces the old one, so the data is never readable
    // by others, not even for a moment.
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    if (file.write(bytes) != bytes.size())
        return false;
    return file.commit();
}
