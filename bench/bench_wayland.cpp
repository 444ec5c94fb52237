// Capture and the overlay on a Wayland compositor (a private headless sway, started through
// scripts/with-headless-sway.sh when this runs outside one), with real clients:
//   - time from a copy (the compositor announcing the new selection) to the item in the store,
//     for text and for a 6 MB PNG; the baseline is the same data read by `wl-paste`, a plain
//     blocking reader, started at the same instant;
//   - `cliphaven --toggle` to the overlay's first frame (the compositor mapping its surface,
//     which needs a first buffer); the peer is foot started to its first frame the same way.
//
//   bench_wayland [--runs N]

#include "Measure.h"
#include "app/AppPrefs.h"
#include "capture/ClipboardMonitor.h"
#include "model/Store.h"
#include "paste/Sounds.h"
#include "platform/Unavailable.h"
#include "platform/wayland/WaylandDataControl.h"
#include "platform/wayland/WaylandPasteboard.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QImageWriter>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <atomic>
#include <chrono>
#include <cstdio>

#include <unistd.h>

using Clock = std::chrono::steady_clock;
using namespace bench;
using namespace std::chrono_literals;

namespace {

double ms(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return true;
}

QByteArray noisePng(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB888);
    QRandomGenerator generator(11);
    for (int y = 0; y < height; ++y)
        generator.fillRange(reinterpret_cast<quint32 *>(image.scanLine(y)), width * 3 / 4);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setCompression(0);
    writer.write(image);
    return png;
}

// The instant the compositor announces each new selection, seen on a connection of its own.
class SelectionWatcher
{
public:
    SelectionWatcher()
        : m_control({},
                    2s,
                    {[this] { m_last = Clock::now().time_since_epoch().count(); },
                     [](quint64, Flavors) {},
                     [] {}})
    {}
    qint64 count() const { return m_control.changeCount(); }
    Clock::time_point last() const { return Clock::time_point(Clock::duration(m_last.load())); }

private:
    std::atomic<Clock::rep> m_last{0};
    WaylandDataControl m_control;
};

struct CaptureFigures
{
    QList<double> ours;
    QList<double> wlPaste;
};

// Copies bytes as type with wl-copy; ours: the announcement to the item in the store;
// wl-paste: started at the announcement, to its end.
CaptureFigures measureCapture(const QString &type,
                              const std::function<QByteArray(int)> &bytesOfRun,
                              int runs,
                              SelectionWatcher &watcher,
                              Store &store)
{
    CaptureFigures figures;
    for (int run = 0; run < runs; ++run) {
        const QByteArray bytes = bytesOfRun(run);
        const qint64 before = watcher.count();
        const qsizetype historyBefore = store.history().size();
        QProcess copy;
        copy.start(QStringLiteral("wl-copy"), {"--foreground", "--type", type});
        copy.write(bytes);
        copy.closeWriteChannel();
        if (!waitFor([&] { return watcher.count() > before; }, 20000)) {
            std::fprintf(stderr, "no selection announced\n");
            break;
        }
        const Clock::time_point announced = watcher.last();
        QProcess paste;
        paste.start(QStringLiteral("wl-paste"), {"--no-newline", "--type", type});
        Clock::time_point stored{}, pasted{};
        waitFor(
            [&] {
                if (stored == Clock::time_point{} && store.history().size() > historyBefore)
                    stored = Clock::now();
                if (pasted == Clock::time_point{} && paste.state() == QProcess::NotRunning)
                    pasted = Clock::now();
                return stored != Clock::time_point{} && pasted != Clock::time_point{};
            },
            30000);
        if (stored != Clock::time_point{})
            figures.ours.append(ms(stored - announced));
        if (pasted != Clock::time_point{} && paste.readAllStandardOutput().size() == bytes.size())
            figures.wlPaste.append(ms(pasted - announced));
        copy.kill();
        copy.waitForFinished();
        // Runs are apart, so each copy is a new item and no read overlaps the next.
        QThread::msleep(200);
        QCoreApplication::processEvents();
    }
    return figures;
}

// Starts program and returns the time until the compositor maps a window with appId.
std::optional<double> timeToFirstFrame(const QString &program,
                                       const QStringList &arguments,
                                       const QString &appId,
                                       QProcess &started)
{
    QProcess events;
    events.start(QStringLiteral("swaymsg"), {"-r", "-m", "-t", "subscribe", "[\"window\"]"});
    if (!events.waitForStarted(5000))
        return std::nullopt;
    QThread::msleep(300); // subscribed
    const Clock::time_point start = Clock::now();
    started.start(program, arguments);
    std::optional<double> elapsed;
    waitFor(
        [&] {
            while (events.canReadLine()) {
                const QJsonObject event = QJsonDocument::fromJson(events.readLine()).object();
                const QJsonObject container = event.value(u"container").toObject();
                if (event.value(u"change").toString() == u"new"
                    && container.value(u"app_id").toString() == appId) {
                    elapsed = ms(Clock::now() - start);
                    return true;
                }
            }
            return false;
        },
        20000);
    events.kill();
    events.waitForFinished();
    return elapsed;
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariable("WAYLAND_DISPLAY").startsWith(u'/')
        || qEnvironmentVariableIsEmpty("SWAYSOCK")) {
        const QByteArray rig = CLIPHAVEN_SOURCE_DIR "/scripts/with-headless-sway.sh";
        QList<char *> args{const_cast<char *>(rig.constData())};
        for (int i = 0; i < argc; ++i)
            args.append(argv[i]);
        args.append(nullptr);
        execv(rig.constData(), args.data());
        std::perror("with-headless-sway.sh");
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QCoreApplication app(argc, argv);
    int runs = 20;
    const QStringList arguments = app.arguments();
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--runs")); at >= 0)
        runs = arguments.value(at + 1).toInt();

    QTemporaryDir dir;
    AppPrefs prefs(std::make_unique<QSettings>(dir.filePath("p.conf"), QSettings::IniFormat));
    prefs.setPlaySounds(false);
    Sounds sounds(prefs, [](const QList<float> &) { return nullptr; });
    Store store(dir.filePath("store.json"));
    WaylandPasteboard pasteboard;
    UnknownWorkspace workspace;
    ClipboardMonitor monitor(pasteboard, workspace, prefs, sounds);
    QObject::connect(&monitor, &ClipboardMonitor::onNew, &store, [&](const ClipItem &item) {
        store.captureFromClipboard(item);
    });
    monitor.start();
    SelectionWatcher watcher;

    std::printf("Capture on headless sway, %d text copies and %d PNG copies (median / max ms)\n",
                runs,
                std::max(3, runs / 4));
    const CaptureFigures text = measureCapture(
        QStringLiteral("text/plain;charset=utf-8"),
        [](int run) { return QStringLiteral("copied text %1 ✓").arg(run).toUtf8(); },
        runs,
        watcher,
        store);
    const QByteArray png = noisePng(1450, 1450);
    const CaptureFigures image = measureCapture(
        QStringLiteral("image/png"),
        [&](int run) {
            QByteArray bytes = png;
            bytes[bytes.size() - 20] = char(run); // a distinct item each run
            return bytes;
        },
        std::max(3, runs / 4),
        watcher,
        store);
    const auto row = [](const char *what, const QList<double> &ours, const QList<double> &peer) {
        std::printf("  %-28s cliphaven %7.1f / %7.1f   wl-paste %7.1f / %7.1f   ratio %.2f\n",
                    what,
                    median(ours),
                    maximum(ours),
                    median(peer),
                    maximum(peer),
                    median(peer) > 0 ? median(ours) / median(peer) : 0.0);
    };
    row("text", text.ours, text.wlPaste);
    row(qPrintable(QStringLiteral("PNG %1 MB").arg(double(png.size()) / 1e6, 0, 'f', 1)),
        image.ours,
        image.wlPaste);

    // The overlay's first frame after --toggle, against foot's first frame after its start.
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath("data").toUtf8());
    qunsetenv("QT_QPA_PLATFORM");
    QProcess cliphaven;
    cliphaven.start(QStringLiteral(CLIPHAVEN_EXECUTABLE), {});
    QThread::msleep(3000); // started, and the overlay built
    QList<double> toggles, foots;
    for (int run = 0; run < 5; ++run) {
        QProcess toggle;
        if (auto t = timeToFirstFrame(QStringLiteral(CLIPHAVEN_EXECUTABLE),
                                      {"--toggle"},
                                      "cliphaven",
                                      toggle))
            toggles.append(*t);
        toggle.waitForFinished(5000);
        QProcess hide;
        hide.start(QStringLiteral(CLIPHAVEN_EXECUTABLE), {"--toggle"});
        hide.waitForFinished(5000);
        QThread::msleep(500);
        QProcess foot;
        if (auto t = timeToFirstFrame(QStringLiteral("foot"), {"sleep", "5"}, "foot", foot))
            foots.append(*t);
        foot.kill();
        foot.waitForFinished();
    }
    cliphaven.terminate();
    cliphaven.waitForFinished(10000);
    std::printf("First frame (median / max ms)\n");
    std::printf("  %-28s cliphaven %7.1f / %7.1f   foot    %7.1f / %7.1f   ratio %.2f\n",
                "--toggle to the overlay",
                median(toggles),
                maximum(toggles),
                median(foots),
                maximum(foots),
                median(foots) > 0 ? median(toggles) / median(foots) : 0.0);
    return 0;
}
