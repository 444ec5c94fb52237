#pragma once

#include "common/Programs.h"
#include "model/ClipItem.h"
#include "platform/Workspace.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

// Helpers the real-desktop clipboard tests share.

// Incompressible but repeatable bytes for large copies.
inline QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator(42).fillRange(reinterpret_cast<quint32 *>(bytes.data()), size / 4);
    return bytes;
}

// Starts a test clipboard program and waits until it says it owns the selection.
inline void startReady(Programs &programs, const QString &program, const QStringList &arguments)
{
    QProcess *process = programs.start(program, arguments);
    QTRY_VERIFY_WITH_TIMEOUT(process->canReadLine(), 20000);
    QCOMPARE(process->readLine(), QByteArray("ready\n"));
}

// The next item the monitor delivered after the `taken` already seen; empty on timeout.
inline ClipItem nextDelivered(const QSignalSpy &delivered, qsizetype &taken)
{
    if (!QTest::qWaitFor([&] { return delivered.size() > taken; }, 30000))
        return {};
    return delivered.at(taken++).at(0).value<ClipItem>();
}

// What xclip reads from CLIPBOARD as `type`, asking on its own connection.
inline QByteArray pasteWithXclip(const QString &type)
{
    return Programs::run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard", "-t", type})
        .value_or(QByteArray());
}

// The window of `process` (or, for programs that hand over to a server, the one named
// `identifier`) once the window manager has put it in front; empty on timeout.
template<class Workspace>
RunningApplication waitInFront(Workspace &workspace,
                               const QProcess *process,
                               const QString &identifier = {})
{
    std::optional<RunningApplication> app;
    const bool inFront = QTest::qWaitFor(
        [&] {
            app = workspace.frontmostApplication();
            return app
                   && (identifier.isEmpty() ? app->pid == process->processId()
                                            : app->identifier == identifier);
        },
        30000);
    return inFront ? *app : RunningApplication{};
}
