#include "app/SingleInstance.h"
#include "launcher/InstanceSocket.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <future>
#include <unistd.h>

namespace {

constexpr int kWait = 20000;
const char kHoldArgument[] = "--hold-instance";

// Run as a child by the tests below: the first instance in a separate process, reporting its
// role and every reopen request on standard output, until killed.
int holdInstance(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    SingleInstance instance(QString::fromLocal8Bit(argv[2]));
    QObject::connect(&instance, &SingleInstance::reopenRequested, [] {
        std::puts("reopen");
        std::fflush(stdout);
    });
    const bool primary = instance.start(1000) == SingleInstance::Role::primary;
    std::puts(primary ? "primary" : "not primary");
    std::fflush(stdout);
    return primary ? app.exec() : 1;
}

bool waitForLine(QProcess &process, const QByteArray &line)
{
    return QTest::qWaitFor(
        [&] {
            while (process.canReadLine()) {
                if (process.readLine().trimmed() == line)
                    return true;
            }
            return false;
        },
        kWait);
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_base = m_dir->filePath(QStringLiteral("cliphaven-test"));
    }

    // A socket left behind is taken over after a crash below; here the first quit cleanly.
    void nextLaunchIsPrimaryAfterThePreviousQuit()
    {
        {
            SingleInstance first(m_base);
            QCOMPARE(first.start(), SingleInstance::Role::primary);
            QVERIFY(QFile::exists(first.lockFilePath()));
        }
        QCOMPARE(SingleInstance(m_base).start(200), SingleInstance::Role::primary);
    }

    void takesOverAfterACrash()
    {
        QProcess first;
        first.start(QCoreApplication::applicationFilePath(),
                    {QString::fromLatin1(kHoldArgument), m_base});
        QVERIFY(waitForLine(first, "primary"));

        // Across processes, a launch reaches the running instance.
        SingleInstance second(m_base);
        QCOMPARE(second.start(kWait), SingleInstance::Role::forwarded);
        QVERIFY(waitForLine(first, "reopen"));

        // A crash leaves the lock and the socket behind.
        first.kill();
        QVERIFY(first.waitForFinished(kWait));
        QVERIFY(QFile::exists(m_base + QStringLiteral(".lock")));
        QVERIFY(QFile::exists(m_base + QStringLiteral(".socket")));

        SingleInstance next(m_base);
        QSignalSpy reopened(&next, &SingleInstance::reopenRequested);
        QCOMPARE(next.start(kWait), SingleInstance::Role::primary);
        SingleInstance later(m_base);
        QCOMPARE(later.start(kWait), SingleInstance::Role::forwarded);
        QTRY_COMPARE_WITH_TIMEOUT(reopened.size(), 1, kWait);
    }

    void lockHeldByAnInstanceThatDoesNotAnswer()
    {
        // A live owner of the lock that never listens (hung, or still starting past the limit).
        QLockFile lock(m_base + QStringLiteral(".lock"));
        QVERIFY(lock.tryLock(0));

        SingleInstance second(m_base);
        QCOMPARE(second.start(300), SingleInstance::Role::unreachable);
    }

    // Every later launch asks the first to reopen; what strangers write on the socket is not
    // such a request.
    void laterLaunchesAskTheFirstToReopen()
    {
        SingleInstance first(m_base);
        QSignalSpy reopened(&first, &SingleInstance::reopenRequested);
        QCOMPARE(first.start(), SingleInstance::Role::primary);

        QLocalSocket stranger;
        stranger.connectToServer(first.socketPath());
        QVERIFY(stranger.waitForConnected(kWait));
        stranger.write("hello\nreopen please\n" + QByteArray(4096, 'x'));
        QVERIFY(stranger.waitForBytesWritten(kWait));
        QTRY_COMPARE_WITH_TIMEOUT(stranger.state(), QLocalSocket::UnconnectedState, kWait);
        QCOMPARE(reopened.size(), 0);

        SingleInstance second(m_base);
        QCOMPARE(second.start(kWait), SingleInstance::Role::forwarded);
        QTRY_COMPARE_WITH_TIMEOUT(reopened.size(), 1, kWait);
        SingleInstance third(m_base);
        QCOMPARE(third.start(kWait), SingleInstance::Role::forwarded);
        QTRY_COMPARE_WITH_TIMEOUT(reopened.size(), 2, kWait);
    }

    // The path is per user and display, and the launcher finds the socket without Qt: it must
    // name it exactly as the instance does.
    void launcherFindsTheSameSocket_data()
    {
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QByteArray>("wayland");
        QTest::addColumn<bool>("runtimeFolder");
        QTest::addColumn<QString>("suffix"); // empty: not checked
        QTest::newRow("X display") << QByteArray(":1") << QByteArray() << true << "-1";
        QTest::newRow("remote X display")
            << QByteArray("host/unix:10.0") << QByteArray() << true << "-host_unix_10.0";
        QTest::newRow("Wayland only") << QByteArray() << QByteArray("wayland-1") << true << "";
        QTest::newRow("no runtime folder set") << QByteArray(":0") << QByteArray() << false << "-0";
    }

    void launcherFindsTheSameSocket()
    {
        QFETCH(QByteArray, display);
        QFETCH(QByteArray, wayland);
        QFETCH(bool, runtimeFolder);
        QFETCH(QString, suffix);
        const QByteArray saved[] = {qgetenv("DISPLAY"),
                                    qgetenv("WAYLAND_DISPLAY"),
                                    qgetenv("XDG_RUNTIME_DIR")};
        qputenv("DISPLAY", display);
        qputenv("WAYLAND_DISPLAY", wayland);
        if (runtimeFolder)
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_dir->path()));
        else
            qunsetenv("XDG_RUNTIME_DIR");
        const QString base = SingleInstance::defaultBasePath();
        const QString qtPath = SingleInstance(base).socketPath();
        const std::string launcherPath = InstanceSocket::socketPath();
        qputenv("DISPLAY", saved[0]);
        qputenv("WAYLAND_DISPLAY", saved[1]);
        qputenv("XDG_RUNTIME_DIR", saved[2]);
        QCOMPARE(QString::fromStdString(launcherPath), qtPath);
        if (!suffix.isEmpty())
            QVERIFY2(base.endsWith(QStringLiteral("/cliphaven-%1").arg(getuid()) + suffix),
                     qPrintable(base));
    }

    // A command from the launcher reaches the handler whole and its reply comes back whole;
    // a malformed one is dropped unanswered, and without a handler commands are refused.
    void commandsFromTheLauncher()
    {
        SingleInstance instance(m_base);
        QCOMPARE(instance.start(), SingleInstance::Role::primary);
        const std::string path = instance.socketPath().toStdString();
        const auto send = [&path](std::vector<std::string> arguments, std::string input) {
            return std::async(std::launch::async, [=] {
                const int fd = InstanceSocket::connectTo(path);
                auto reply = InstanceSocket::sendCommand(fd, arguments, input);
                ::close(fd);
                return reply;
            });
        };
        const auto waitFor = [](auto &future) {
            return QTest::qWaitFor(
                [&] {
                    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
                },
                kWait);
        };

        auto refused = send({"list"}, {});
        QVERIFY(waitFor(refused));
        QVERIFY(refused.get()->status != 0);

        QStringList seenArguments;
        QByteArray seenInput;
        instance.setCommandHandler([&](const QStringList &arguments, const QByteArray &input) {
            seenArguments = arguments;
            seenInput = input;
            return CommandReply{3, QByteArray(3 << 20, 'o'), "why\n"};
        });
        const std::string input("binary\0input\nwith lines", 24);
        auto answered = send({"add", "--type", "text/x-ünicode", ""}, input);
        QVERIFY(waitFor(answered));
        const auto reply = answered.get();
        QVERIFY(reply);
        QCOMPARE(reply->status, 3);
        QCOMPARE(reply->out.size(), size_t(3 << 20));
        QCOMPARE(reply->err, std::string("why\n"));
        QCOMPARE(seenArguments,
                 (QStringList{"add", "--type", QStringLiteral("text/x-ünicode"), QString()}));
        QCOMPARE(seenInput, QByteArray(input.data(), qsizetype(input.size())));

        // An argument count past the limit: the connection is closed without an answer.
        seenArguments.clear();
        QLocalSocket stranger;
        stranger.connectToServer(instance.socketPath());
        QVERIFY(stranger.waitForConnected(kWait));
        stranger.write("command\n100000\n");
        QVERIFY(stranger.waitForBytesWritten(kWait));
        QTRY_COMPARE_WITH_TIMEOUT(stranger.state(), QLocalSocket::UnconnectedState, kWait);
        QVERIFY(stranger.readAll().isEmpty());
        QVERIFY(seenArguments.isEmpty());
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_base;
};

int main(int argc, char *argv[])
{
    if (argc == 3 && qstrcmp(argv[1], kHoldArgument) == 0)
        return holdInstance(argc, argv);
    QCoreApplication app(argc, argv);
    TestSingleInstance test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_singleinstance.moc"
