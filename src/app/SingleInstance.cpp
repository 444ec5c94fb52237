#include "SingleInstance.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <QVariant>

#include <unistd.h>

namespace {

const QByteArray kReopenMessage = QByteArrayLiteral("reopen\n");
// A well-behaved client sends one short line; anything longer is not ours.
constexpr qint64 kMaxMessageBytes = 256;

} // namespace

QString SingleInstance::defaultBasePath()
{
    // One instance per display: each has its own clipboard, and a launch on one display
    // cannot open the overlay on another.
    QString display = qEnvironmentVariable("DISPLAY");
    if (display.isEmpty())
        display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.startsWith(u':'))
        display.remove(0, 1);
    for (QChar &c : display) {
        if (!c.isLetterOrNumber() && c != u'.' && c != u'-')
            c = u'_';
    }
    // The runtime folder is private to the user (0700), so nobody else can answer in the
    // running instance's place.
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)
           + QStringLiteral("/cliphaven-") + QString::number(getuid())
           + (display.isEmpty() ? QString() : u'-' + display);
}

SingleInstance::SingleInstance(QString basePath, QObject *parent)
    : QObject(parent)
    , m_basePath(std::move(basePath))
    , m_lock(m_basePath + QStringLiteral(".lock"))
{
    // Only a dead owner makes the lock stale, however old it is.
    m_lock.setStaleLockTime(0);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath() const
{
    return m_basePath + QStringLiteral(".socket");
}

QString SingleInstance::lockFilePath() const
{
    return m_basePath + QStringLiteral(".lock");
}

SingleInstance::Role SingleInstance::start(int connectTimeoutMs)
{
    Q_ASSERT(m_role != Role::primary);
    // tryLock removes a lock whose process is gone, so a crashed instance does not block us.
    if (m_lock.tryLock(0)) {
        if (!listen())
            qWarning("Cliphaven: cannot listen on %s (%s); a second launch will not reach this one",
                     qPrintable(socketPath()),
                     qPrintable(m_server.errorString()));
        return m_role = Role::primary;
    }
    if (m_lock.error() != QLockFile::LockFailedError) {
        // The runtime folder is unusable: better a second copy than none.
        qWarning("Cliphaven: cannot create %s; running without the single-instance check",
                 qPrintable(lockFilePath()));
        return m_role = Role::primary;
    }
    return m_role = forward(connectTimeoutMs) ? Role::forwarded : Role::unreachable;
}

bool SingleInstance::listen()
{
    // We hold the lock, so a socket file left behind belongs to a dead instance.
    QLocalServer::removeServer(socketPath());
    return m_server.listen(socketPath());
}

bool SingleInstance::forward(int connectTimeoutMs)
{
    const QDeadlineTimer deadline(connectTimeoutMs);
    do {
        QLocalSocket socket;
        socket.connectToServer(socketPath());
        if (socket.waitForConnected(int(deadline.remainingTime()))) {
            socket.write(kReopenMessage);
            const bool written = socket.waitForBytesWritten(int(deadline.remainingTime()));
            socket.disconnectFromServer();
            return written;
        }
        // The running instance may hold the lock but not listen yet.
        QThread::msleep(50);
    } while (!deadline.hasExpired());
    return false;
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        const auto readMessages = [this, socket] {
            QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
            qsizetype newline;
            while ((newline = buffer.indexOf('\n')) >= 0) {
                if (buffer.left(newline + 1) == kReopenMessage)
                    emit reopenRequested();
                buffer.remove(0, newline + 1);
            }
            if (buffer.size() > kMaxMessageBytes) {
                socket->abort();
                return;
            }
            socket->setProperty("buffer", buffer);
        };
        connect(socket, &QLocalSocket::readyRead, this, readMessages);
        connect(socket, &QLocalSocket::disconnected, this, [socket, readMessages] {
            readMessages();
            socket->deleteLater();
        });
        // Data that arrived before the connection was taken raises no readyRead of its own.
        if (socket->bytesAvailable() > 0)
            readMessages();
    }
}
