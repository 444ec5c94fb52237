// The copy tick on a real sound server: a private PulseAudio with a null sink, recorded from
// the sink's monitor. Skipped only when PulseAudio is not installed.

#include "fakes/TestSounds.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class SoundsPulseTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString pulseaudio = QStandardPaths::findExecutable(QStringLiteral("pulseaudio"));
        if (pulseaudio.isEmpty())
            QSKIP("PulseAudio is not installed");
        QVERIFY(!QStandardPaths::findExecutable(QStringLiteral("parec")).isEmpty());

        m_socket = m_runtime.filePath(QStringLiteral("native"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_RUNTIME_DIR", m_runtime.path());
        environment.insert("HOME", m_runtime.path());
        m_server.setProcessEnvironment(environment);
        m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_server.start(pulseaudio,
                       QStringLiteral("--daemonize=no --exit-idle-time=-1 -n --use-pid-file=no "
                                      "--disable-shm=yes")
                               .split(u' ')
                           << "--load=module-null-sink sink_name=cliphaven_test"
                           << "--load=module-native-protocol-unix auth-anonymous=1 socket="
                                  + m_socket);
        QVERIFY(m_server.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_socket), 20000);
        // Before the first use of Qt Multimedia, which connects once.
        qputenv("PULSE_SERVER", "unix:" + m_socket.toLocal8Bit());
    }

    void cleanupTestCase()
    {
        if (m_server.state() != QProcess::NotRunning) {
            m_server.kill();
            m_server.waitForFinished(5000);
        }
    }

    void copyTickIsHeard()
    {
        QProcess recorder;
        recorder.start(QStringLiteral("parec"),
                       QStringLiteral("-d cliphaven_test.monitor --format=float32le --rate=44100 "
                                      "--channels=1 --raw --latency-msec=10")
                           .split(u' '));
        QVERIFY(recorder.waitForStarted(10000));
        // The recorder takes a moment to connect; play only once it delivers (silent) samples.
        QByteArray recorded;
        QVERIFY(QTest::qWaitFor(
            [&] {
                recorded += recorder.readAllStandardOutput();
                return recorded.size() > 4 * 4410;
            },
            20000));
        recorded.clear();

        TestPrefs prefs;
        Sounds sounds(prefs.prefs);
        sounds.copy();

        // Record until the tick is heard.
        const auto loud = [&] {
            recorded += recorder.readAllStandardOutput();
            const auto *samples = reinterpret_cast<const float *>(recorded.constData());
            for (qsizetype i = 0; i < recorded.size() / 4; ++i) {
                if (std::abs(samples[i]) > 0.05f)
                    return true;
            }
            return false;
        };
        QVERIFY2(QTest::qWaitFor(loud, 20000), "nothing was heard on the sink");
        recorder.kill();
        recorder.waitForFinished(5000);
    }

private:
    QTemporaryDir m_runtime;
    QProcess m_server;
    QString m_socket;
};

QTEST_GUILESS_MAIN(SoundsPulseTest)
#include "tst_soundspulse.moc"
