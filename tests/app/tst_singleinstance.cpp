#include "app/SingleInstance.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
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

    void nextLaunchIsPrimaryAfterThePreviousEnded_data()
    {
        QTest::addColumn<bool>("staleSocket");
        QTest::newRow("the first quit") << false;
        QTest::newRow("a socket left without its lock") << true;
    }

    void nextLaunchIsPrimaryAfterThePreviousEnded()
    {
        QFETCH(bool, staleSocket);
        if (staleSocket) {
            QFile leftover(m_base + QStringLiteral(".socket"));
            QVERIFY(leftover.open(QIODevice::WriteOnly));
        } else {
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

    void defaultPathIsPerUserAndDisplay_data()
    {
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("local X display") << QByteArray(":1") << "-1";
        QTest::newRow("remote display") << QByteArray("host/unix:10.0") << "-host_unix_10.0";
    }

    void defaultPathIsPerUserAndDisplay()
    {
        QFETCH(QByteArray, display);
        QFETCH(QString, suffix);
        const QByteArray savedDisplay = qgetenv("DISPLAY");
        const QByteArray savedWayland = qgetenv("WAYLAND_DISPLAY");
        qputenv("DISPLAY", display);
        qunsetenv("WAYLAND_DISPLAY");
        const QString path = SingleInstance::defaultBasePath();
        qputenv("DISPLAY", savedDisplay);
        qputenv("WAYLAND_DISPLAY", savedWayland);
        QVERIFY2(path.endsWith(QStringLiteral("/cliphaven-%1").arg(getuid()) + suffix),
                 qPrintable(path));
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
