#pragma once

#include "CommandReply.h"

#include <QLocalServer>
#include <QLockFile>
#include <QObject>

#include <functional>
#include <memory>

class QLocalSocket;

// Keeps one Cliphaven per user and display. The first instance holds a lock file and listens on a local
// socket, both in the user's private runtime folder and named with the user id; a later
// launch finds the lock taken and asks the running instance, over the socket, to reopen
// (toggle its overlay) instead of starting a second copy. A crash leaves a lock naming a dead
// process and a socket nobody listens on: the next launch takes both over.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        // This process is the one instance and listens for later launches.
        primary,
        // Another instance runs and was asked to reopen; this process should exit.
        forwarded,
        // Another instance holds the lock but could not be reached.
        unreachable,
    };

    // "<runtime folder>/cliphaven-<uid>-<display>"; the socket and the lock file add their
    // suffixes.
    static QString defaultBasePath();

    explicit SingleInstance(QString basePath = defaultBasePath(), QObject *parent = nullptr);
    ~SingleInstance() override;

    // Decides this process's role. connectTimeoutMs bounds how long a later launch tries to
    // reach the running instance (which may still be starting).
    Role start(int connectTimeoutMs = 3000);
    Role role() const { return m_role; }

    // Runs a command of the `cliphaven` command line sent by a later launch: its arguments
    // (the command's name first) and what it read from its standard input. Without a handler,
    // commands are refused.
    using CommandHandler = std::function<CommandReply(const QStringList &, const QByteArray &)>;
    void setCommandHandler(CommandHandler handler) { m_commandHandler = std::move(handler); }

    QString socketPath() const;
    QString lockFilePath() const;

signals:
    // A later launch (plain or with --toggle) asked this instance to reopen.
    void reopenRequested();

private:
    bool listen();
    bool forward(int connectTimeoutMs);
    void onNewConnection();
    void reply(QLocalSocket *socket, const CommandReply &reply);

    QString m_basePath;
    QLockFile m_lock;
    QLocalServer m_server;
    Role m_role = Role::unreachable;
    CommandHandler m_commandHandler;
};
