#include "StoreWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcStoreWriter, "cliphaven.store")

namespace {

const char kTemporarySuffix[] = ".saving-";

// The reason for a failed write in words a user can act on.
QString describe(int error, const QString &folder)
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return QStringLiteral("the disk is full");
    case EROFS:
        return QStringLiteral("the disk is read-only");
    case EACCES:
    case EPERM:
        return QStringLiteral("there is no permission to write in %1").arg(folder);
    default:
        return QString::fromLocal8Bit(std::strerror(error));
    }
}

bool writeAll(int fd, const char *data, qsizetype size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size_t(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

} // namespace

StoreWriter::StoreWriter(const QString &filePath, Reporter reporter)
    : m_filePath(filePath)
    , m_reporter(std::move(reporter))
{
    m_pool.setMaxThreadCount(1);
    m_pool.setObjectName(QStringLiteral("StoreWriter"));
}

StoreWriter::~StoreWriter()
{
    waitForIdle();
}

void StoreWriter::write(StoreCodec::Disk snapshot, quint64 generation)
{
    std::lock_guard lock(m_mutex);
    m_pending = std::move(snapshot);
    m_pendingGeneration = generation;
    if (m_draining)
        return;
    m_draining = true;
    m_pool.start([this] { drain(); });
}

void StoreWriter::drain()
{
    while (true) {
        std::optional<StoreCodec::Disk> snapshot;
        Outcome outcome;
        {
            std::lock_guard lock(m_mutex);
            if (!m_pending) {
                m_draining = false;
                return;
            }
            snapshot = std::exchange(m_pending, std::nullopt);
            outcome.generation = m_pendingGeneration;
        }
        // Encoded straight into the file: a second copy of a store of large images would double
        // the memory a save takes.
        const bool written = writeFileAtomically(
            m_filePath,
            [&](const JsonWriter::Sink &sink) { return StoreCodec::encode(*snapshot, sink); },
            &outcome.failure);
        // Drop the lists here, on the worker, so the main thread never frees image buffers.
        snapshot.reset();
        if (!written)
            qCWarning(lcStoreWriter) << "could not write" << m_filePath << ":" << outcome.failure;
        {
            std::lock_guard lock(m_mutex);
            ++m_writesCompleted;
        }
        if (m_reporter)
            m_reporter(outcome);
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

QString StoreWriter::temporaryFilePattern(const QString &path)
{
    return QFileInfo(path).fileName() + QLatin1StringView(kTemporarySuffix) + u'*';
}

// Plain system calls rather than QSaveFile: opened buffered, Qt 6.4's QSaveFile reports success
// when the final flush fails for want of space and renames the empty temporary file over the
// store. Here every step is checked, and the data is on the disk before the rename.
bool StoreWriter::writeFileAtomically(const QString &path, const QByteArray &bytes, QString *failure)
{
    return writeFileAtomically(
        path, [&](const JsonWriter::Sink &sink) { return sink(bytes); }, failure);
}

bool StoreWriter::writeFileAtomically(const QString &path,
                                      const std::function<bool(const JsonWriter::Sink &)> &produce,
                                      QString *failure)
{
    const QString folder = QFileInfo(path).absolutePath();
    auto fail = [&](int error) {
        if (failure)
            *failure = describe(error, folder);
        return false;
    };
    if (!QFileInfo::exists(folder)) {
        if (!QDir().mkpath(folder))
            return fail(errno ? errno : EACCES);
        ::chmod(QFile::encodeName(folder).constData(), 0700);
    }
    const QByteArray target = QFile::encodeName(path);
    QByteArray temporary = target + kTemporarySuffix + "XXXXXX";
    // Created 0600: the data is never readable by others, not even for a moment.
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return fail(errno);
    auto discard = [&](int error) {
        ::unlink(temporary.constData());
        return fail(error);
    };
    int writeError = 0;
    const bool produced = produce([&](QByteArrayView piece) {
        if (writeAll(fd, piece.data(), piece.size()))
            return true;
        writeError = errno;
        return false;
    });
    // fsync matters: with delayed allocation a full disk may only show when the data is flushed.
    if (!produced || ::fsync(fd) != 0) {
        const int error = produced ? errno : (writeError ? writeError : EIO);
        ::close(fd);
        return discard(error);
    }
    if (::close(fd) != 0)
        return discard(errno);
    // rename() replaces a symbolic link at the target rather than writing through it.
    if (::rename(temporary.constData(), target.constData()) != 0)
        return discard(errno);
    // The rename itself reaches the disk with the folder.
    const int folderFd = ::open(QFile::encodeName(folder).constData(),
                                O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        ::fsync(folderFd);
        ::close(folderFd);
    }
    return true;
}
