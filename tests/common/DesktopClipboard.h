#pragma once

#include "common/CaptureRig.h"
#include "common/Images.h"
#include "common/Programs.h"
#include "model/ClipItem.h"
#include "platform/Workspace.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryFile>
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

// A capture rig on a real clipboard with its monitor started, and the programs a test starts
// (ended before the rig goes).
template<class Clipboard, class Desktop, class Keys>
struct DesktopRig : CaptureRig<Clipboard, Desktop, Keys>
{
    template<class... Arguments>
    explicit DesktopRig(Arguments &&...arguments)
        : CaptureRig<Clipboard, Desktop, Keys>(std::forward<Arguments>(arguments)...)
    {
        this->monitor.start();
    }

    // The next item the monitor delivered after those already taken; empty on timeout.
    ClipItem next()
    {
        if (!QTest::qWaitFor([&] { return this->delivered.size() > taken; }, 30000))
            return {};
        return qvariant_cast<ClipItem>(this->delivered.at(taken++).at(0));
    }

    // Runs a program that copies what it reads (`bytes`, or the file) on its standard input;
    // true once the clipboard has changed.
    bool copy(const QStringList &command, const QByteArray &bytes, const QString &file = {})
    {
        const qint64 before = this->pasteboard.changeCount();
        if (file.isEmpty()) {
            programs.start(command.first(), command.mid(1), bytes, true);
        } else {
            programs.start(QStringLiteral("sh"),
                           QStringList{"-c", "exec \"$@\" < \"$0\"", file, command.first()}
                               + command.mid(1));
        }
        return QTest::qWaitFor([&] { return this->pasteboard.changeCount() > before; }, 20000);
    }

    // Puts our own copy on the clipboard; true once the monitor has seen it go by uncaptured.
    bool writeOwn(const Flavors &flavors)
    {
        const qint64 before = this->pasteboard.changeCount();
        this->monitor.setSuppressNextChange(true);
        this->pasteboard.writeFlavors(flavors);
        return QTest::qWaitFor(
                   [&] {
                       return this->pasteboard.changeCount() > before
                              && this->monitor.lastChange() == this->pasteboard.changeCount();
                   },
                   10000)
               && !this->monitor.suppressNextChange();
    }

    // What every backend must make of a copy of `bytes` as `type`: the next item keeps those
    // bytes, holds the text as given or an image with its PNG, and the copy sound played once.
    void checkNextItem(const QString &type,
                       const QByteArray &bytes,
                       ClipKind kind,
                       const QString &text)
    {
        const ClipItem item = next();
        QVERIFY(!item.id.isNull());
        QCOMPARE(item.kind, kind);
        QVERIFY(item.flavors);
        QCOMPARE(item.flavors->value(type), bytes);
        if (kind == ClipKind::Text) {
            QCOMPARE(item.text, text);
        } else {
            QVERIFY(item.imageData);
            QCOMPARE(item.flavors->value("image/png"), *item.imageData);
            QCOMPARE(item.image().convertToFormat(QImage::Format_RGB32), testImage());
        }
        QCOMPARE(this->copyPlays, 1);
    }

    // Copies 50 MB of incompressible bytes as an image from a file; every byte must arrive.
    void checkLargeCopy(const QStringList &command)
    {
        const QByteArray big = randomBytes(50 * 1024 * 1024);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(big);
        file.close();
        QVERIFY(copy(command, {}, file.fileName()));
        const ClipItem item = next();
        QCOMPARE(item.kind, ClipKind::Image);
        QCOMPARE(item.imageData->size(), big.size());
        QVERIFY(*item.imageData == big);
    }

    Programs programs;
    qsizetype taken = 0;
};

// xclip copying its input to CLIPBOARD as `type`.
inline QStringList xclipCopy(const QString &type = QStringLiteral("UTF8_STRING"))
{
    return {"xclip", "-quiet", "-selection", "clipboard", "-t", type, "-i"};
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
