// Start-up of the real program on a private X server (Xvfb with openbox) with a private sound
// server (PulseAudio with a null sink), as on a desktop:
//   - time from starting the process to capturing (the monitor running, as the program logs
//     it under cliphaven.startup), with an empty history and with the large store of
//     bench_store; the baseline is `cliphaven-app --version`, which loads the same libraries and
//     connects to the X server, then exits;
//   - resident memory and PSS (/proc/PID/smaps_rollup) once the program has sat idle.
//
//   bench_startup [--settle-seconds N] [--runs N] [--executable PATH]
//     defaults: 60 s, 5 runs, the cliphaven of this build (another build can be compared)

#include "LargeStore.h"
#include "Measure.h"
#include "model/StoreCodec.h"
#include "model/StoreWriter.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>

using namespace bench;

namespace {

constexpr int kTimeoutMs = 60000;

struct Memory
{
    double rssMiB = -1;
    double pssMiB = -1;
};

struct Run
{
    double capturingMs = -1;
    double overlayBuiltMs = -1;
    QByteArray log;
    Memory memory;
};

Memory memoryOf(qint64 pid)
{
    QFile rollup(QStringLiteral("/proc/%1/smaps_rollup").arg(pid));
    Memory memory;
    if (!rollup.open(QIODevice::ReadOnly))
        return memory;
    for (const QByteArray &line : rollup.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 2)
            continue;
        if (fields[0] == "Rss:")
            memory.rssMiB = fields[1].toDouble() / 1024;
        else if (fields[0] == "Pss:")
            memory.pssMiB = fields[1].toDouble() / 1024;
    }
    return memory;
}

class Bench
{
public:
    // soundServer: the socket of a PulseAudio server, as a desktop has; empty for none.
    Bench(QString executable, QByteArray display, QString soundServer)
        : m_executable(std::move(executable))
        , m_display(std::move(display))
        , m_soundServer(std::move(soundServer))
    {}

    // One start of the program on its own settings and data folders; the data folder gets a
    // fresh copy of storeFile when one is given. With settleSeconds > 0 it then sits idle and
    // its memory is read.
    Run start(const QString &storeFile, int settleSeconds)
    {
        QTemporaryDir home;
        const QString data = home.filePath(QStringLiteral("data"));
        QDir().mkpath(data + QStringLiteral("/Cliphaven"));
        if (!storeFile.isEmpty())
            QFile::copy(storeFile, data + QStringLiteral("/Cliphaven/store.json"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_display));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("XDG_DATA_HOME"), data);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("c")));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
        environment.insert(QStringLiteral("QT_LOGGING_RULES"),
                           QStringLiteral("cliphaven.startup.debug=true"));
        environment.insert(QStringLiteral("QT_MESSAGE_PATTERN"),
                           QStringLiteral("%{category}: %{message}"));
        // Without a server of ours, libpulse must not start one of its own.
        environment.insert(QStringLiteral("PULSE_SERVER"),
                           QStringLiteral("unix:")
                               + (m_soundServer.isEmpty() ? home.filePath(QStringLiteral("none"))
                                                          : m_soundServer));

        QProcess cliphaven;
        cliphaven.setProcessEnvironment(environment);
        cliphaven.setReadChannel(QProcess::StandardError);
        Run run;
        QElapsedTimer clock;
        clock.start();
        cliphaven.start(m_executable, {});
        while (run.overlayBuiltMs < 0 && clock.elapsed() < kTimeoutMs
               && cliphaven.state() != QProcess::NotRunning) {
            cliphaven.waitForReadyRead(100);
            const double now = double(clock.nsecsElapsed()) / 1e6;
            run.log += cliphaven.readAllStandardError();
            if (run.capturingMs < 0 && run.log.contains("cliphaven.startup: capturing"))
                run.capturingMs = now;
            if (run.log.contains("cliphaven.startup: overlay built"))
                run.overlayBuiltMs = now;
        }
        if (run.capturingMs >= 0 && settleSeconds > 0) {
            QThread::sleep(settleSeconds);
            run.memory = memoryOf(cliphaven.processId());
        }
        cliphaven.terminate();
        if (!cliphaven.waitForFinished(20000))
            cliphaven.kill();
        run.log += cliphaven.readAllStandardError();
        return run;
    }

    // `cliphaven-app --version`: process start, the libraries and the X connection, then exit.
    // (The `cliphaven` launcher answers --version without loading any of them.) A build
    // without the launcher has only `cliphaven`.
    double baselineMs()
    {
        const QString program
            = QFileInfo(m_executable).dir().filePath(QStringLiteral("cliphaven-app"));
        QProcess version;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_display));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        version.setProcessEnvironment(environment);
        QElapsedTimer clock;
        clock.start();
        version.start(QFileInfo::exists(program) ? program : m_executable,
                      {QStringLiteral("--version")});
        version.waitForFinished(kTimeoutMs);
        return double(clock.nsecsElapsed()) / 1e6;
    }

private:
    QString m_executable;
    QByteArray m_display;
    QString m_soundServer;
};

// A private PulseAudio server with a null sink; returns its socket, empty when it cannot run.
QString startSoundServer(QProcess &server, const QTemporaryDir &runtime)
{
    const QString socket = runtime.filePath(QStringLiteral("native"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    environment.insert(QStringLiteral("HOME"), runtime.path());
    server.setProcessEnvironment(environment);
    server.start(QStringLiteral("pulseaudio"),
                 {QStringLiteral("--daemonize=no"),
                  QStringLiteral("--exit-idle-time=-1"),
                  QStringLiteral("-n"),
                  QStringLiteral("--use-pid-file=no"),
                  QStringLiteral("--load=module-null-sink"),
                  QStringLiteral("--load=module-native-protocol-unix auth-anonymous=1 socket=")
                      + socket});
    if (!server.waitForStarted(10000))
        return {};
    QElapsedTimer clock;
    clock.start();
    while (!QFile::exists(socket) && clock.elapsed() < 20000)
        QThread::msleep(50);
    return QFile::exists(socket) ? socket : QString();
}

struct CaseResult
{
    double firstMs = -1;
    double medianMs = -1;
    double minMs = -1;
    double overlayMs = -1;
    Memory memory;
    QByteArray lastLog;
};

CaseResult measure(Bench &bench, const QString &storeFile, int runs, int settleSeconds)
{
    CaseResult result;
    QList<double> capturing;
    QList<double> overlay;
    for (int i = 0; i <= runs; ++i) {
        const bool last = i == runs;
        const Run run = bench.start(storeFile, last ? settleSeconds : 0);
        if (run.capturingMs < 0) {
            std::fprintf(stderr, "cliphaven never logged capturing:\n%s\n", run.log.constData());
            return result;
        }
        // The first start reads everything from disk; it is reported on its own.
        if (i == 0) {
            result.firstMs = run.capturingMs;
            continue;
        }
        capturing.append(run.capturingMs);
        overlay.append(run.overlayBuiltMs);
        if (last) {
            result.memory = run.memory;
            result.lastLog = run.log;
        }
    }
    result.medianMs = median(capturing);
    result.minMs = capturing.isEmpty() ? -1
                                       : *std::min_element(capturing.cbegin(), capturing.cend());
    result.overlayMs = median(overlay);
    return result;
}

void print(const char *name,
           const CaseResult &result,
           double baselineMs,
           double targetMs,
           double targetPssMiB,
           int settleSeconds)
{
    std::printf("%s:\n", name);
    std::printf("  start to capturing:  median %6.1f ms  (target %.0f ms, ratio %.2f; fastest %.1f "
                "ms; first start %.1f ms; baseline `--version` %.1f ms, ratio %.2f)\n",
                result.medianMs,
                targetMs,
                result.medianMs / targetMs,
                result.minMs,
                result.firstMs,
                baselineMs,
                result.medianMs / baselineMs);
    std::printf("  start to overlay built: median %6.1f ms\n", result.overlayMs);
    std::printf("  idle after %d s: RSS %.1f MiB, PSS %.1f MiB  (target PSS %.0f MB, ratio %.2f)\n",
                settleSeconds,
                result.memory.rssMiB,
                result.memory.pssMiB,
                targetPssMiB,
                result.memory.pssMiB / targetPssMiB);
    std::printf("  steps of the last start, as logged:\n");
    for (const QByteArray &line : result.lastLog.split('\n')) {
        if (line.startsWith("cliphaven.startup: "))
            std::printf("    %s\n", line.mid(19).constData());
    }
}

} // namespace

int main(int argc, char *argv[])
{
    int settleSeconds = 60;
    int runs = 5;
    QString executable = QStringLiteral(CLIPHAVEN_EXECUTABLE);
    for (int i = 1; i + 1 < argc; ++i) {
        if (QByteArray(argv[i]) == "--settle-seconds")
            settleSeconds = QByteArray(argv[i + 1]).toInt();
        else if (QByteArray(argv[i]) == "--runs")
            runs = std::max(1, QByteArray(argv[i + 1]).toInt());
        else if (QByteArray(argv[i]) == "--executable")
            executable = QString::fromLocal8Bit(argv[i + 1]);
    }

    // This process only draws the large store's images; the program gets the X server.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    QProcess xvfb;
    const QString display = bench::startXvfb(xvfb);
    if (display.isEmpty()) {
        std::fprintf(stderr, "Xvfb did not start\n");
        return 1;
    }
    QProcess openbox;
    QProcessEnvironment openboxEnvironment = QProcessEnvironment::systemEnvironment();
    openboxEnvironment.insert(QStringLiteral("DISPLAY"), display);
    openbox.setProcessEnvironment(openboxEnvironment);
    openbox.start(QStringLiteral("openbox"), {});

    QTemporaryDir dir;
    std::printf("Generating the large store (200 entries, 40 screenshots 1920x1080, 5 categories "
                "of 20)...\n");
    const QString largeStore = dir.filePath(QStringLiteral("store.json"));
    StoreWriter::writeFileAtomically(largeStore, StoreCodec::encode(makeLargeStore()));
    std::printf("store.json: %.1f MB; %d starts per case after a first one; idle %d s\n\n",
                double(QFile(largeStore).size()) / 1e6,
                runs,
                settleSeconds);

    QTemporaryDir soundRuntime;
    QProcess soundServer;
    const QString soundSocket = startSoundServer(soundServer, soundRuntime);
    std::printf("sound server: %s\n",
                soundSocket.isEmpty() ? "none (pulseaudio did not start)" : "PulseAudio, null sink");
    Bench bench(executable, display.toLatin1(), soundSocket);
    QList<double> baselines;
    for (int i = 0; i < runs; ++i)
        baselines.append(bench.baselineMs());
    const double baselineMs = median(baselines);
    std::printf("baseline `cliphaven-app --version`: median %.1f ms, fastest %.1f ms\n\n",
                baselineMs,
                *std::min_element(baselines.cbegin(), baselines.cend()));

    const CaseResult empty = measure(bench, QString(), runs, settleSeconds);
    const CaseResult large = measure(bench, largeStore, runs, settleSeconds);
    print("empty history", empty, baselineMs, 85, 48, settleSeconds);
    print("large store", large, baselineMs, 199, 180, settleSeconds);

    soundServer.terminate();
    soundServer.waitForFinished(5000);
    openbox.terminate();
    openbox.waitForFinished(5000);
    xvfb.terminate();
    xvfb.waitForFinished(5000);
    return empty.medianMs > 0 && large.medianMs > 0 ? 0 : 1;
}
