// Soak: the real program through thousands of copies (texts, links, now and then an image)
// with the overlay opened and closed along the way, on a private virtual desktop. Prints the
// program's resident memory after every batch, and fails loudly when it keeps growing once the
// history is full: from the first full batches to the end, growth beyond kAllowedGrowthMb.
//
//   bench_soak [COPIES]        (default 2000)

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <unistd.h>

namespace {

constexpr int kBatch = 100;
// The history holds 200 entries; from here on every copy pushes one out.
constexpr int kSettledAfter = 600;
constexpr double kAllowedGrowthMb = 8;

qint64 residentKb(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

// Puts content on the clipboard with xclip, which serves it until the next copy replaces it.
void copy(const QByteArray &content, const QString &type)
{
    QProcess xclip;
    xclip.start(QStringLiteral("xclip"),
                {QStringLiteral("-selection"),
                 QStringLiteral("clipboard"),
                 QStringLiteral("-t"),
                 type});
    xclip.write(content);
    xclip.closeWriteChannel();
    // xclip forks a server and its first process returns at once.
    xclip.waitForFinished(10'000);
}

QByteArray png(int i)
{
    QImage image(320, 200, QImage::Format_RGB32);
    image.fill(qRgb(i % 256, (i * 3) % 256, (i * 5) % 256));
    image.setPixel(i % 320, 0, qRgb(255, 255, 255));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

bool storeContains(const QString &path, const QByteArray &needle)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.readAll().contains(needle);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2 || QByteArray(argv[argc - 1]) != "--virtual") {
        // Never on the user's own clipboard: a private X server of its own.
        const QByteArray script = CLIPHAVEN_SOURCE_DIR "/scripts/with-virtual-desktop.sh";
        const QByteArray copies = argc >= 2 ? QByteArray(argv[1]) : QByteArray("2000");
        execl("/bin/bash",
              "bash",
              script.constData(),
              argv[0],
              copies.constData(),
              "--virtual",
              nullptr);
        std::perror("exec");
        return 1;
    }
    QCoreApplication app(argc, argv);
    const int copies = argc >= 3 ? QByteArray(argv[1]).toInt() : 2000;

    QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
    const QString store = home.filePath(QStringLiteral("data/Cliphaven/store.json"));
    QProcess cliphaven;
    cliphaven.setProcessEnvironment(environment);
    cliphaven.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    cliphaven.start(QStringLiteral(CLIPHAVEN_EXECUTABLE), {});
    if (!cliphaven.waitForStarted())
        qFatal("cliphaven did not start");
    QThread::sleep(2);
    const qint64 pid = cliphaven.processId();

    auto toggle = [&] {
        QProcess toggler;
        toggler.setProcessEnvironment(environment);
        toggler.start(QStringLiteral(CLIPHAVEN_EXECUTABLE), {QStringLiteral("--toggle")});
        toggler.waitForFinished(10'000);
    };

    std::printf("copies  resident MB\n");
    std::printf("%6d  %8.1f\n", 0, residentKb(pid) / 1024.0);
    std::fflush(stdout);
    qint64 settledKb = -1;
    qint64 peakAfterSettledKb = 0;
    for (int done = 0; done < copies;) {
        QByteArray last;
        for (int i = 0; i < kBatch && done < copies; ++i, ++done) {
            if (done % 25 == 24) {
                copy(png(done), QStringLiteral("image/png"));
                continue;
            }
            last = done % 3 == 0
                       ? QByteArray("https://soak.example/page/") + QByteArray::number(done)
                       : QByteArray("soak text number ") + QByteArray::number(done)
                             + QByteArray(200, 'x');
            copy(last, QStringLiteral("UTF8_STRING"));
            // The monitor takes only the newest change; pacing lets each copy be its own entry.
            QThread::msleep(15);
        }
        // Open and close the overlay twice per batch.
        for (int t = 0; t < 4; ++t) {
            toggle();
            QThread::msleep(300);
        }
        QElapsedTimer waited;
        waited.start();
        while (!storeContains(store, last) && waited.elapsed() < 30'000)
            QThread::msleep(100);
        if (cliphaven.state() != QProcess::Running)
            qFatal("cliphaven ended during the soak, after %d copies", done);
        const qint64 kb = residentKb(pid);
        std::printf("%6d  %8.1f\n", done, kb / 1024.0);
        std::fflush(stdout);
        if (done >= kSettledAfter && settledKb < 0)
            settledKb = kb;
        else if (settledKb >= 0)
            peakAfterSettledKb = std::max(peakAfterSettledKb, kb);
    }
    cliphaven.terminate();
    cliphaven.waitForFinished(20'000);

    if (settledKb < 0 || peakAfterSettledKb == 0) {
        std::printf("too few copies to judge growth (at least %d needed)\n",
                    kSettledAfter + 2 * kBatch);
        return 0;
    }
    const double growthMb = (peakAfterSettledKb - settledKb) / 1024.0;
    std::printf(
        "growth after the history was full (from %d copies on): %.1f MB (allowed %.0f MB)\n",
        kSettledAfter,
        growthMb,
        kAllowedGrowthMb);
    if (growthMb > kAllowedGrowthMb) {
        std::printf("FAILED: memory keeps growing with a full history\n");
        return 1;
    }
    return 0;
}
