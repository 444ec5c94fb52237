// Peak memory of the real program capturing one huge image: a noise-like 8000 x 6000 PNG of
// about 40 MB copied with xclip onto a private Xvfb. Prints the peak resident size (VmHWM) when
// idle after start (with the overlay opened and closed once), once the capture (transfer, item,
// save, text recognition) has settled, and once the overlay has been opened on the new image
// (its thumbnail decoded); then the rise against the budget of twice the encoded size plus a
// thumbnail.
//
//   bench_bigimage [--executable PATH] [--image PNG]
//
// --executable measures another build (an older one, for a before/after); --image reuses a PNG
// instead of generating one.

#include "Measure.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <functional>

#include <zlib.h>

namespace {

constexpr int kWidth = 8000;
constexpr int kHeight = 6000;
constexpr qint64 kThumbnailBytes = 1024 * 1024;
constexpr int kSettleMs = 4000;
constexpr int kTimeoutMs = 180'000;

void appendChunk(QFile &file, const char type[4], const QByteArray &data)
{
    const auto be32 = [](quint32 value) {
        const char bytes[4] = {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
        return QByteArray(bytes, 4);
    };
    const QByteArray typed = QByteArray(type, 4) + data;
    file.write(be32(quint32(data.size())));
    file.write(typed);
    file.write(be32(
        quint32(crc32(0, reinterpret_cast<const Bytef *>(typed.constData()), uInt(typed.size())))));
}

// Two random bits per channel around a grey ramp, unfiltered and quickly deflated: the
// encoder cannot find much, so the file is about 40 MB. Written directly with zlib, as a
// general PNG encoder spends minutes on 48 million noisy pixels.
bool writeNoisePng(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write("\x89PNG\r\n\x1a\n", 8);
    QByteArray header(13, '\0');
    for (int i = 0; i < 4; ++i) {
        header[i] = char(quint32(kWidth) >> (24 - 8 * i));
        header[4 + i] = char(quint32(kHeight) >> (24 - 8 * i));
    }
    header[8] = 8; // bit depth
    header[9] = 2; // truecolour
    appendChunk(file, "IHDR", header);

    z_stream stream{};
    if (deflateInit(&stream, 1) != Z_OK)
        return false;
    QRandomGenerator random(12);
    QByteArray row(1 + kWidth * 3, '\0'); // filter byte 0: none
    QByteArray out(1 << 20, '\0');
    for (int y = 0; y <= kHeight; ++y) {
        const bool last = y == kHeight;
        if (!last) {
            const int base = 96 + (y * 64) / kHeight;
            for (int x = 1; x < row.size(); x += 16) {
                const quint32 bits = random.generate();
                for (int i = 0; i < 16 && x + i < row.size(); ++i)
                    row[x + i] = char(base + ((bits >> (2 * i)) & 3) * 16);
            }
            stream.next_in = reinterpret_cast<Bytef *>(row.data());
            stream.avail_in = uInt(row.size());
        }
        do {
            stream.next_out = reinterpret_cast<Bytef *>(out.data());
            stream.avail_out = uInt(out.size());
            deflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
            const qsizetype produced = out.size() - qsizetype(stream.avail_out);
            if (produced > 0)
                appendChunk(file, "IDAT", out.left(produced));
        } while (stream.avail_out == 0 || (last && stream.avail_in > 0));
    }
    deflateEnd(&stream);
    appendChunk(file, "IEND", {});
    return file.error() == QFile::NoError;
}

qint64 statusKbOf(qint64 pid, const char *field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

// User plus system time of a process in clock ticks; -1 once it is gone.
qint64 cpuTicksOf(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return fields.at(11).toLongLong() + fields.at(12).toLongLong();
}

// Waits until the process has used no CPU for kSettleMs; false when it died or never settled.
bool waitUntilSettled(qint64 pid)
{
    QElapsedTimer clock;
    clock.start();
    qint64 last = cpuTicksOf(pid);
    QElapsedTimer quiet;
    quiet.start();
    while (clock.elapsed() < kTimeoutMs) {
        QThread::msleep(250);
        const qint64 now = cpuTicksOf(pid);
        if (now < 0)
            return false;
        if (now != last) {
            last = now;
            quiet.restart();
        } else if (quiet.elapsed() >= kSettleMs) {
            return true;
        }
    }
    return false;
}

// Opens or closes the running program's overlay; false when that failed or never settled.
bool toggleOverlay(const QString &executable, const QProcessEnvironment &environment, qint64 pid)
{
    QProcess toggle;
    toggle.setProcessEnvironment(environment);
    toggle.start(executable, {QStringLiteral("--toggle")});
    return toggle.waitForFinished(20000) && toggle.exitStatus() == QProcess::NormalExit
           && toggle.exitCode() == 0 && waitUntilSettled(pid);
}

void stop(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(20000))
        process.kill();
    process.waitForFinished(5000);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QString executable = QStringLiteral(CLIPHAVEN_EXECUTABLE);
    QString imagePath;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (QByteArray(argv[i]) == "--executable")
            executable = QString::fromLocal8Bit(argv[i + 1]);
        else if (QByteArray(argv[i]) == "--image")
            imagePath = QString::fromLocal8Bit(argv[i + 1]);
    }

    QTemporaryDir home;
    if (imagePath.isEmpty()) {
        imagePath = home.filePath(QStringLiteral("big.png"));
        if (!writeNoisePng(imagePath)) {
            std::fprintf(stderr, "could not write the test image\n");
            return 1;
        }
    }
    const qint64 encodedBytes = QFileInfo(imagePath).size();

    QProcess xvfb;
    const QString display = bench::startXvfb(xvfb);
    if (display.isEmpty()) {
        std::fprintf(stderr, "Xvfb did not start\n");
        return 1;
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("x11"));
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("c")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
    environment.insert(QStringLiteral("PULSE_SERVER"),
                       QStringLiteral("unix:") + home.filePath(QStringLiteral("none")));

    QProcess cliphaven;
    cliphaven.setProcessEnvironment(environment);
    cliphaven.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    cliphaven.start(executable, {});
    if (!cliphaven.waitForStarted(20000)) {
        std::fprintf(stderr, "%s did not start\n", qPrintable(executable));
        stop(xvfb);
        return 1;
    }
    const qint64 pid = cliphaven.processId();
    int status = 0;
    if (!waitUntilSettled(pid)) {
        std::fprintf(stderr, "the program did not settle after start\n");
        status = 1;
    }
    // Opened and closed once first: what the overlay itself takes is part of the idle figure.
    if (status == 0
        && (!toggleOverlay(executable, environment, pid)
            || !toggleOverlay(executable, environment, pid))) {
        std::fprintf(stderr, "the overlay did not open and close\n");
        status = 1;
    }
    const qint64 idleKb = statusKbOf(pid, "VmHWM");

    QProcess xclip;
    xclip.setProcessEnvironment(environment);
    if (status == 0) {
        xclip.start(QStringLiteral("xclip"),
                    {QStringLiteral("-quiet"),
                     QStringLiteral("-selection"),
                     QStringLiteral("clipboard"),
                     QStringLiteral("-t"),
                     QStringLiteral("image/png"),
                     QStringLiteral("-i"),
                     imagePath});
        if (!xclip.waitForStarted(5000) || !waitUntilSettled(pid)) {
            std::fprintf(stderr, "the capture did not settle\n");
            status = 1;
        }
    }
    const qint64 capturedKb = statusKbOf(pid, "VmHWM");

    // The overlay shows the new image as a tile, its thumbnail decoded from the PNG.
    if (status == 0 && !toggleOverlay(executable, environment, pid)) {
        std::fprintf(stderr, "the overlay did not open and settle\n");
        status = 1;
    }
    const qint64 peakKb = statusKbOf(pid, "VmHWM");
    const qint64 storedBytes = [&] {
        qint64 largest = 0;
        std::function<void(const QString &)> walk = [&](const QString &path) {
            for (const QFileInfo &entry :
                 QDir(path).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot)) {
                if (entry.isDir())
                    walk(entry.filePath());
                else
                    largest = std::max(largest, entry.size());
            }
        };
        walk(home.filePath(QStringLiteral("data")));
        return largest;
    }();

    stop(xclip);
    stop(cliphaven);
    stop(xvfb);
    if (status != 0)
        return status;

    const double riseMb = double(peakKb - idleKb) / 1024.0;
    const double budgetMb = double(2 * encodedBytes + kThumbnailBytes) / (1024.0 * 1024.0);
    std::printf("image: %d x %d PNG, %.1f MB encoded\n",
                kWidth,
                kHeight,
                double(encodedBytes) / (1024.0 * 1024.0));
    std::printf("peak resident (VmHWM): idle %.1f MB, after the capture %.1f MB, with the overlay "
                "open %.1f MB\n",
                double(idleKb) / 1024.0,
                double(capturedKb) / 1024.0,
                double(peakKb) / 1024.0);
    std::printf("rise: %.1f MB; budget (2 x encoded + thumbnail): %.1f MB; ratio %.2f\n",
                riseMb,
                budgetMb,
                riseMb / budgetMb);
    std::printf("largest file in the data folder: %.1f MB\n",
                double(storedBytes) / (1024.0 * 1024.0));
    return riseMb <= budgetMb ? 0 : 2;
}
