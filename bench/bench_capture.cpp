// Capture on a real X server (a private Xvfb with openbox) from real copying clients (xclip):
//   - time from a copy (the X server announcing the new owner) to the item in the store, for
//     text and for a 6 MB PNG; the baseline is the same data read by `xclip -o`, a plain
//     blocking reader;
//   - the longest stall of the main thread while a 6 MB PNG and then a dead owner are read,
//     against the longest stall of the same idle loop;
//   - CPU used by an idle `cliphaven` over 60 s.
//
//   bench_capture [--idle-seconds N]

#include "Measure.h"
#include "app/AppPrefs.h"
#include "capture/ClipboardMonitor.h"
#include "model/Store.h"
#include "paste/Sounds.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QImageWriter>
#include <QProcess>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include <csignal>
#include <ctime>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;

using namespace bench;

namespace {

constexpr int kTextRuns = 20;
constexpr int kImageRuns = 5;

double ms(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Starts a program before any Qt application exists; returns its pid and, when asked, a pipe
// on its standard output.
pid_t spawn(const std::vector<std::string> &argv, int *stdoutFd = nullptr)
{
    int fds[2] = {-1, -1};
    if (stdoutFd && pipe(fds) != 0)
        return -1;
    const pid_t pid = fork();
    if (pid == 0) {
        if (stdoutFd) {
            dup2(fds[1], 1);
            close(fds[0]);
            close(fds[1]);
        }
        std::vector<char *> args;
        for (const std::string &arg : argv)
            args.push_back(const_cast<char *>(arg.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    if (stdoutFd) {
        close(fds[1]);
        *stdoutFd = fds[0];
    }
    return pid;
}

void stop(pid_t pid)
{
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
}

// Sees each change of CLIPBOARD's owner the moment the server announces it, on a connection
// and thread of its own: the instant of the copy.
class OwnerWatcher
{
public:
    OwnerWatcher()
    {
        m_connection = xcb_connect(nullptr, nullptr);
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_base = xcb_get_extension_data(m_connection, &xcb_xfixes_id)->first_event;
        free(xcb_xfixes_query_version_reply(m_connection,
                                            xcb_xfixes_query_version(m_connection, 5, 0),
                                            nullptr));
        auto *atom = xcb_intern_atom_reply(m_connection,
                                           xcb_intern_atom(m_connection, 0, 9, "CLIPBOARD"),
                                           nullptr);
        xcb_xfixes_select_selection_input(m_connection,
                                          screen->root,
                                          atom->atom,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
        free(atom);
        xcb_flush(m_connection);
        m_thread = std::thread([this] {
            while (xcb_generic_event_t *event = xcb_wait_for_event(m_connection)) {
                if ((event->response_type & 0x7f) == m_base + XCB_XFIXES_SELECTION_NOTIFY) {
                    m_last = Clock::now().time_since_epoch().count();
                    ++m_count;
                }
                free(event);
            }
        });
    }
    ~OwnerWatcher()
    {
        // Ends the blocking wait of the thread, which then sees a broken connection.
        shutdown(xcb_get_file_descriptor(m_connection), SHUT_RDWR);
        m_thread.join();
        xcb_disconnect(m_connection);
    }

    Clock::time_point last() const { return Clock::time_point(Clock::duration(m_last.load())); }
    int count() const { return m_count.load(); }

private:
    xcb_connection_t *m_connection = nullptr;
    uint8_t m_base = 0;
    std::atomic<Clock::rep> m_last{0};
    std::atomic<int> m_count{0};
    std::thread m_thread;
};

// Takes the clipboard and never answers a request.
class DeadOwner
{
public:
    DeadOwner()
    {
        m_connection = xcb_connect(nullptr, nullptr);
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        const xcb_window_t window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection,
                          XCB_COPY_FROM_PARENT,
                          window,
                          screen->root,
                          0,
                          0,
                          1,
                          1,
                          0,
                          XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT,
                          0,
                          nullptr);
        auto *atom = xcb_intern_atom_reply(m_connection,
                                           xcb_intern_atom(m_connection, 0, 9, "CLIPBOARD"),
                                           nullptr);
        xcb_set_selection_owner(m_connection, window, atom->atom, XCB_CURRENT_TIME);
        free(atom);
        xcb_flush(m_connection);
    }
    ~DeadOwner() { xcb_disconnect(m_connection); }

private:
    xcb_connection_t *m_connection = nullptr;
};

struct Stats
{
    double median = 0;
    double max = 0;
};

Stats stats(QList<double> values)
{
    std::sort(values.begin(), values.end());
    if (values.isEmpty())
        return {};
    return {values.at(values.size() / 2), values.last()};
}

QByteArray noisePng(int width, int height, quint32 seed)
{
    QImage image(width, height, QImage::Format_RGB888);
    QRandomGenerator generator(seed);
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

// Measures the longest gap between ticks of a 1 ms timer on the main thread, as wall time and
// as CPU time the main thread spent between two ticks. On a shared, loaded machine the wall
// gap also counts the time other processes held the core; the CPU time counts only the work
// done on the main thread, so it is the stall this program itself causes.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const auto now = Clock::now();
            const double cpu = threadCpuMs();
            m_longest = std::max(m_longest, now - m_previous);
            m_longestCpu = std::max(m_longestCpu, cpu - m_previousCpu);
            m_previous = now;
            m_previousCpu = cpu;
        });
    }
    void start()
    {
        m_longest = {};
        m_longestCpu = 0;
        m_previous = Clock::now();
        m_previousCpu = threadCpuMs();
        m_timer.start();
    }
    // {wall ms, main-thread CPU ms}
    std::pair<double, double> stop()
    {
        m_timer.stop();
        return {ms(m_longest), m_longestCpu};
    }

private:
    QTimer m_timer;
    Clock::time_point m_previous;
    Clock::duration m_longest{};
    double m_previousCpu = 0;
    double m_longestCpu = 0;
};

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

double xclipReadMs(const QString &type)
{
    QElapsedTimer timer;
    timer.start();
    QProcess xclip;
    xclip.start("xclip", {"-o", "-selection", "clipboard", "-t", type});
    xclip.waitForFinished(20000);
    xclip.readAllStandardOutput();
    return double(timer.nsecsElapsed()) / 1e6;
}

double cpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    // Fields after the command: state is [0], utime [11], stime [12].
    return (fields.at(11).toDouble() + fields.at(12).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

} // namespace

int main(int argc, char *argv[])
{
    int idleSeconds = 60;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::string(argv[i]) == "--idle-seconds")
            idleSeconds = std::atoi(argv[i + 1]);
    }

    int displayFd = -1;
    const pid_t xvfb
        = spawn({"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"},
                &displayFd);
    char number[32] = {};
    if (xvfb <= 0 || read(displayFd, number, sizeof number - 1) <= 0) {
        std::fprintf(stderr, "Xvfb did not start\n");
        return 1;
    }
    const QByteArray display = ':' + QByteArray(number).trimmed();
    qputenv("DISPLAY", display);
    qputenv("QT_QPA_PLATFORM", "xcb");
    const pid_t openbox = spawn({"openbox"});

    int status = 0;
    {
        QGuiApplication app(argc, argv);
        QTemporaryDir dir;
        AppPrefs prefs(
            std::make_unique<QSettings>(dir.filePath("prefs.conf"), QSettings::IniFormat));
        prefs.setPlaySounds(false);
        Sounds sounds(prefs, [](const QList<float> &) { return nullptr; });
        X11Pasteboard pasteboard;
        X11Workspace workspace;
        Store store(dir.filePath("store.json"));
        ClipboardMonitor monitor(pasteboard, workspace, prefs, sounds);
        Clock::time_point stored;
        int delivered = 0;
        QObject::connect(&monitor, &ClipboardMonitor::onNew, &store, [&](const ClipItem &item) {
            store.captureFromClipboard(item);
            stored = Clock::now();
            ++delivered;
        });
        monitor.start();
        OwnerWatcher watcher;
        QList<QProcess *> copies;
        auto copy = [&](const QString &type, const QByteArray &bytes) {
            auto *xclip = new QProcess;
            xclip->start("xclip", {"-quiet", "-selection", "clipboard", "-t", type, "-i"});
            xclip->waitForStarted();
            xclip->write(bytes);
            xclip->closeWriteChannel();
            copies.append(xclip);
        };
        auto copyAndWait = [&](const QString &type,
                               const QByteArray &bytes,
                               const std::function<bool()> &arrived) -> double {
            const int before = watcher.count();
            copy(type, bytes);
            if (!waitFor([&] { return watcher.count() > before && arrived(); }, 30000))
                return -1;
            return ms(stored - watcher.last());
        };

        // Text.
        QList<double> text;
        QList<double> textBaseline;
        for (int i = 0; i < kTextRuns; ++i) {
            const QString value = QStringLiteral("bench text %1").arg(i);
            text.append(copyAndWait("UTF8_STRING", value.toUtf8(), [&] {
                return !store.history().isEmpty() && store.history().first().text == value;
            }));
            textBaseline.append(xclipReadMs("UTF8_STRING"));
        }

        // A 6 MB PNG.
        QList<double> image;
        QList<double> imageBaseline;
        for (int i = 0; i < kImageRuns; ++i) {
            const QByteArray png = noisePng(1450, 1400, quint32(i + 1));
            image.append(copyAndWait("image/png", png, [&] {
                return !store.history().isEmpty() && store.history().first().imageData == png;
            }));
            imageBaseline.append(xclipReadMs("image/png"));
        }
        const qsizetype pngSize = store.history().first().imageData->size();

        // Stalls: the same loop idle, then through a 6 MB PNG and a dead owner.
        StallMeter meter;
        meter.start();
        waitFor([] { return false; }, 3000);
        const auto [idleStall, idleCpu] = meter.stop();
        const QByteArray bigPng = noisePng(1450, 1400, 99);
        meter.start();
        copyAndWait("image/png", bigPng, [&] {
            return !store.history().isEmpty() && store.history().first().imageData == bigPng;
        });
        waitFor([] { return false; }, 500);
        const auto [imageStall, imageCpu] = meter.stop();
        meter.start();
        {
            DeadOwner dead;
            waitFor([] { return false; }, 3000);
        }
        copyAndWait("UTF8_STRING", "after the dead owner", [&] {
            return !store.history().isEmpty()
                   && store.history().first().text == u"after the dead owner";
        });
        const auto [deadStall, deadCpu] = meter.stop();
        const double busyStall = std::max(imageStall, deadStall);
        const double busyCpu = std::max(imageCpu, deadCpu);

        for (QProcess *xclip : copies) {
            xclip->kill();
            xclip->waitForFinished(2000);
            delete xclip;
        }
        store.flushSave();
        store.waitForWrites();

        // Idle CPU of the real program, on its own settings and data folders.
        QProcess cliphaven;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_CONFIG_HOME", dir.filePath("config"));
        environment.insert("XDG_DATA_HOME", dir.filePath("data"));
        environment.insert("XDG_RUNTIME_DIR", dir.path());
        // No sound server: libpulse must not spawn one of its own.
        environment.insert("PULSE_SERVER", "unix:" + dir.filePath("no-sound-server"));
        cliphaven.setProcessEnvironment(environment);
        cliphaven.start(QStringLiteral(CLIPHAVEN_EXECUTABLE), {});
        double idleCpuPercent = -1;
        double xvfbCpuPercent = -1;
        if (cliphaven.waitForStarted(10000)) {
            waitFor([] { return false; }, 5000);
            const double before = cpuSeconds(cliphaven.processId());
            const double xvfbBefore = cpuSeconds(xvfb);
            std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
            idleCpuPercent = 100 * (cpuSeconds(cliphaven.processId()) - before) / idleSeconds;
            xvfbCpuPercent = 100 * (cpuSeconds(xvfb) - xvfbBefore) / idleSeconds;
            cliphaven.terminate();
            if (!cliphaven.waitForFinished(10000))
                cliphaven.kill();
        }

        const Stats t = stats(text);
        const Stats tb = stats(textBaseline);
        const Stats im = stats(image);
        const Stats ib = stats(imageBaseline);
        std::printf("copy to store, text:            median %7.2f ms, max %7.2f ms  (target 30 ms; "
                    "baseline `xclip -o` read: median %.2f ms, ratio %.2f)\n",
                    t.median,
                    t.max,
                    tb.median,
                    t.median / tb.median);
        std::printf(
            "copy to store, %5.2f MB PNG:     median %7.2f ms, max %7.2f ms  (target 150 ms; "
            "baseline `xclip -o` read: median %.2f ms, ratio %.2f)\n",
            double(pngSize) / 1e6,
            im.median,
            im.max,
            ib.median,
            im.median / ib.median);
        std::printf("main-thread stall, PNG + dead owner: busy %6.2f ms of main-thread CPU between "
                    "two ticks  (target 10 ms; PNG %.2f, dead owner %.2f; same loop idle: %.2f)\n",
                    busyCpu,
                    imageCpu,
                    deadCpu,
                    idleCpu);
        std::printf(
            "                   as wall-clock gap: %6.2f ms  (PNG %.2f, dead owner %.2f; same "
            "loop idle: %.2f, ratio %.2f; includes time other processes held the core)\n",
            busyStall,
            imageStall,
            deadStall,
            idleStall,
            busyStall / idleStall);
        std::printf("idle CPU of cliphaven over %d s:  %.3f %% of one core  (target 0.2 %%; Xvfb "
                    "meanwhile: %.3f %%)\n",
                    idleSeconds,
                    idleCpuPercent,
                    xvfbCpuPercent);
        status = (t.max < 0 || im.max < 0) ? 1 : 0;
    }
    stop(openbox);
    stop(xvfb);
    return status;
}
