#include "SingleInstance.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <QVariant>

#include <algorithm>
#include <memory>

#include <unistd.h>

namespace {

const QByteArray kReopenMessage = QByteArrayLiteral("reopen\n");
// A well-behaved client sends one short line; anything longer is not ours.
constexpr qint64 kMaxMessageBytes = 256;

// A command: this header, then the argument count, each argument and the standard input as
// "<length>\n<bytes>". Bounds keep a stray client from making the instance hoard memory.
const QByteArray kCommandHeader = QByteArrayLiteral("command\n");
constexpr qint64 kMaxArguments = 64;
constexpr qint64 kMaxArgumentBytes = 64 * 1024;
constexpr qint64 kMaxInputBytes = 256 * 1024 * 1024;

enum class Parse { incomplete, malformed, complete };

class Cursor
{
public:
    explicit Cursor(const QByteArray &bytes)
        : m_bytes(bytes)
        , m_pos(kCommandHeader.size())
    {}

    // A decimal number ending in a newline, at most max.
    Parse number(qint64 max, qint64 &value)
    {
        const qsizetype newline = m_bytes.indexOf('\n', m_pos);
        if (newline < 0)
            return m_bytes.size() - m_pos > 12 ? Parse::malformed : Parse::incomplete;
        bool ok = false;
        const QByteArrayView digits = QByteArrayView(m_bytes).sliced(m_pos, newline - m_pos);
        value = digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isDigit)
                    ? -1
                    : digits.toLongLong(&ok);
        m_pos = newline + 1;
        return ok && value <= max ? Parse::complete : Parse::malformed;
    }

    Parse field(qint64 max, QByteArray &bytes)
    {
        qint64 size = 0;
        if (const Parse parse = number(max, size); parse != Parse::complete)
            return parse;
        if (m_bytes.size() - m_pos < size)
            return Parse::incomplete;
        bytes = m_bytes.mid(m_pos, size);
        m_pos += size;
        return Parse::complete;
    }

    bool atEnd() const { return m_pos == m_bytes.size(); }

private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    const QByteArray &m_bytes;
    qsizetype m_pos;
};

Parse parseCommand(const QByteArray &bytes, QStringList &arguments, QByteArray &input)
{
    Cursor cursor(bytes);
    qint64 count = 0;
    if (const Parse parse = cursor.number(kMaxArguments, count); parse != Parse::complete)
        return parse;
    arguments.clear();
    for (qint64 i = 0; i < count; ++i) {
        QByteArray argument;
        if (const Parse parse = cursor.field(kMaxArgumentBytes, argument); parse != Parse::complete)
            return parse;
        arguments.append(QString::fromUtf8(argument));
    }
    if (const Parse parse = cursor.field(kMaxInputBytes, input); parse != Parse::complete)
        return parse;
    // Nothing follows a command: the client waits for the reply.
    return cursor.atEnd() ? Parse::complete : Parse::malformed;
}

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
        auto buffer = std::make_shared<QByteArray>();
        const auto readMessages = [this, socket, buffer] {
            // Answered, or dropped for misbehaving: nothing more is read.
            if (socket->property("done").toBool())
                return;
            const auto drop = [socket] {
                socket->setProperty("done", true);
                socket->abort();
            };
            buffer->append(socket->readAll());
            while (!buffer->isEmpty()) {
                if (buffer->startsWith(kCommandHeader)) {
                    QStringList arguments;
                    QByteArray input;
                    switch (parseCommand(*buffer, arguments, input)) {
                    case Parse::incomplete:
                        return;
                    case Parse::malformed:
                        drop();
                        return;
                    case Parse::complete:
                        buffer->clear();
                        reply(socket,
                              m_commandHandler
                                  ? m_commandHandler(arguments, input)
                                  : CommandReply{1, {}, "Cliphaven cannot run commands.\n"});
                        return;
                    }
                }
                const qsizetype newline = buffer->indexOf('\n');
                if (newline < 0) {
                    if (buffer->size() > kMaxMessageBytes)
                        drop();
                    return;
                }
                if (buffer->left(newline + 1) == kReopenMessage)
                    emit reopenRequested();
                buffer->remove(0, newline + 1);
            }
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

void SingleInstance::reply(QLocalSocket *socket, const CommandReply &reply)
{
    socket->setProperty("done", true);
    if (socket->state() != QLocalSocket::ConnectedState)
        return;
    socket->write(QByteArray::number(reply.status) + ' ' + QByteArray::number(reply.out.size())
                  + ' ' + QByteArray::number(reply.err.size()) + '\n');
    socket->write(reply.out);
    socket->write(reply.err);
    // The launcher reads until the end: closing (once everything is written) ends its reply.
    socket->disconnectFromServer();
}
