// The text-recognition backfill of 40 screenshots (1920x1080, a few lines of text on window
// chrome), through the store and the Tesseract recogniser as the program runs them:
//   - total time, and the same work done one image at a time as the baseline;
//   - peak resident memory above the program's base just before the backfill;
//   - the longest main-thread stall while it runs (gaps between ticks of a 1 ms timer, in the
//     main thread's CPU time and in wall time), against the same timer on an idle event loop;
//   - the share of the rendered words that come back exactly.
//
//   bench_ocr [images]     (40 unless told; BENCH_OCR_VERBOSE=1 lists the words missed)
//
// BENCH_OCR_SCALE=2 makes the screenshots those of a 4K screen at twice the scale (3840x2160),
// recognised in several bands.

#include "Measure.h"
#include "capture/OCR.h"
#include "model/Store.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

using namespace bench;

namespace {

constexpr int kDefaultImages = 40;
constexpr int kBaselineImages = 4;

const char *const kVocabulary[] = {
    "account",  "address", "after",    "answer",    "appointment", "around",   "before",
    "between",  "billing", "browser",  "calendar",  "change",      "checkout", "client",
    "contract", "copy",    "customer", "daily",     "delivery",    "design",   "document",
    "download", "draft",   "during",   "email",     "evening",     "export",   "feature",
    "field",    "files",   "folder",   "friday",    "general",     "history",  "important",
    "invoice",  "issue",   "kitchen",  "language",  "library",     "meeting",  "message",
    "monday",   "morning", "network",  "number",    "office",      "order",    "package",
    "payment",  "people",  "picture",  "please",    "preview",     "project",  "question",
    "receipt",  "release", "report",   "request",   "review",      "schedule", "search",
    "second",   "server",  "service",  "settings",  "shipping",    "should",   "simple",
    "status",   "summary", "support",  "system",    "table",       "thanks",   "ticket",
    "today",    "total",   "travel",   "update",    "upload",      "version",  "weekly",
    "window",   "without", "workflow", "yesterday", "Berlin",      "London",   "Paris",
    "Monday",   "Tuesday", "Project",  "Invoice",   "Meeting",     "Report",   "Status",
};

struct Screenshot
{
    QByteArray png;
    QStringList bodyWords;   // dark on light in the content area
    QStringList chromeWords; // the title bar (light on dark) and the sidebar
};

int screenScale()
{
    return std::clamp(qEnvironmentVariableIntValue("BENCH_OCR_SCALE"), 1, 4);
}

// A window with a title bar, a sidebar and a few lines of text in the sizes of a desktop.
Screenshot makeScreenshot(QRandomGenerator &random)
{
    const int scale = screenScale();
    QImage image(1920 * scale, 1080 * scale, QImage::Format_RGB32);
    image.fill(QColor(246, 246, 246));
    QPainter painter(&image);
    painter.scale(scale, scale);
    painter.fillRect(0, 0, 1920, 40, QColor(52, 56, 64));
    painter.fillRect(0, 40, 280, 1040, QColor(228, 230, 234));
    painter.setPen(QColor(200, 200, 200));
    painter.drawLine(280, 40, 280, 1080);

    Screenshot shot;
    auto line = [&](int words) {
        QStringList out;
        for (int i = 0; i < words; ++i) {
            const auto index = random.bounded(int(std::size(kVocabulary)));
            out.append(QString::fromLatin1(kVocabulary[index]));
        }
        if (random.bounded(3) == 0)
            out.append(QString::number(random.bounded(100, 99999)));
        return out;
    };
    auto draw =
        [&](QStringList &into, const QStringList &words, int pixelSize, QColor colour, int x, int y) {
            QFont font(QStringLiteral("DejaVu Sans"));
            font.setPixelSize(pixelSize);
            painter.setFont(font);
            painter.setPen(colour);
            painter.drawText(x, y, words.join(QLatin1Char(' ')));
            into += words;
        };
    draw(shot.chromeWords, line(3), 15, QColor(235, 235, 235), 24, 26);
    const int lines = 3 + random.bounded(3);
    int y = 120;
    for (int i = 0; i < lines; ++i) {
        const int size = 14 + random.bounded(11);
        draw(shot.bodyWords, line(4 + random.bounded(5)), size, QColor(30, 30, 30), 330, y);
        y += size * 3;
    }
    draw(shot.chromeWords, line(2), 14, QColor(60, 60, 60), 24, 90);
    painter.end();

    QBuffer buffer(&shot.png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return shot;
}

bool resetPeak()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    return clearRefs.open(QIODevice::WriteOnly) && clearRefs.write("5") == 1;
}

qint64 threadCpuNs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

// Ticks every millisecond on the main thread and keeps the longest gap between two ticks: in
// wall time, and in the main thread's own CPU time. On a shared machine the first also counts
// time the scheduler gave to other processes; the second is the work that blocked the loop.
class StallMeter
{
public:
    struct Stalls
    {
        double wallMs;
        double busyMs;
    };

    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            const qint64 cpu = threadCpuNs();
            m_longestWall = std::max(m_longestWall, m_clock.nsecsElapsed());
            m_longestBusy = std::max(m_longestBusy, cpu - m_lastCpu);
            m_clock.restart();
            m_lastCpu = cpu;
        });
    }
    void start()
    {
        m_longestWall = m_longestBusy = 0;
        m_clock.start();
        m_lastCpu = threadCpuNs();
        m_timer.start();
    }
    Stalls stop()
    {
        m_timer.stop();
        return {double(m_longestWall) / 1e6, double(m_longestBusy) / 1e6};
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_lastCpu = 0;
    qint64 m_longestWall = 0;
    qint64 m_longestBusy = 0;
};

// Runs the event loop (blocking while there is nothing to do) until done() holds.
void runEventsUntil(const std::function<bool()> &done)
{
    QTimer poll;
    poll.start(20);
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int images = argc > 1 ? std::max(kBaselineImages, atoi(argv[1])) : kDefaultImages;

    std::printf("Generating %d screenshots (%dx%d, a few lines of text)...\n",
                images,
                1920 * screenScale(),
                1080 * screenScale());
    QRandomGenerator random(20240611);
    QList<Screenshot> shots;
    for (int i = 0; i < images; ++i)
        shots.append(makeScreenshot(random));

    QTemporaryDir dir;
    OCR ocr;
    Store store(dir.filePath(QStringLiteral("store.json")), &ocr);
    for (const Screenshot &shot : std::as_const(shots))
        store.captureFromClipboard(ClipItem::makeImage(shot.png));
    store.flushSave();
    store.waitForWrites();

    // Idle stalls of this machine's event loop, for comparison.
    StallMeter stalls;
    QElapsedTimer clock;
    stalls.start();
    clock.start();
    runEventsUntil([&] { return clock.elapsed() >= 1000; });
    const StallMeter::Stalls idle = stalls.stop();

    std::printf("Backfill...\n");
    const qint64 baseKb = statusKb("VmRSS");
    const bool peakMeasured = resetPeak();
    stalls.start();
    clock.restart();
    store.backfillMissingOCR();
    runEventsUntil([&] { return ocr.pendingCount() == 0; });
    const double totalMs = double(clock.elapsed());
    const StallMeter::Stalls during = stalls.stop();
    const qint64 peakKb = statusKb("VmHWM");

    // Baseline, afterwards so that it cannot lower the base: the same recognitions one at a
    // time, on an engine already started.
    std::printf("Baseline...\n");
    auto recogniseAlone = [&](const QByteArray &png) {
        bool done = false;
        ocr.recognize(png, [&](std::optional<QString>) { done = true; });
        runEventsUntil([&] { return done; });
    };
    recogniseAlone(shots[0].png);
    clock.restart();
    for (int i = 0; i < kBaselineImages; ++i)
        recogniseAlone(shots[i].png);
    const double sequentialPerImageMs = double(clock.elapsed()) / kBaselineImages;

    // Words come back exactly, or not at all: each rendered word is looked for once among the
    // recognised ones.
    const bool verbose = qEnvironmentVariableIsSet("BENCH_OCR_VERBOSE");
    int bodyWords = 0, bodyFound = 0, chromeWords = 0, chromeFound = 0, recognised = 0;
    for (const ClipItem &item : store.history()) {
        const auto shot = std::find_if(shots.cbegin(), shots.cend(), [&](const Screenshot &s) {
            return s.png == item.imageData;
        });
        Q_ASSERT(shot != shots.cend());
        QStringList got = item.ocrText.value_or(QString()).split(QLatin1Char(' '),
                                                                 Qt::SkipEmptyParts);
        recognised += item.ocrText ? 1 : 0;
        auto count = [&](const QStringList &words, int &total, int &found) {
            for (const QString &word : words) {
                ++total;
                const auto match = got.indexOf(word);
                if (match >= 0) {
                    ++found;
                    got.removeAt(match);
                } else if (verbose) {
                    std::printf("missed: %s\n", qPrintable(word));
                }
            }
        };
        count(shot->bodyWords, bodyWords, bodyFound);
        count(shot->chromeWords, chromeWords, chromeFound);
    }

    std::printf("\nbackfill of %d images: %.0f ms (%.0f ms per image); one at a time %.0f ms per "
                "image, ratio %.2f with %d workers\n",
                images,
                totalMs,
                totalMs / images,
                sequentialPerImageMs,
                totalMs / images / sequentialPerImageMs,
                OCR::kMaxConcurrent);
    if (peakMeasured)
        std::printf("peak resident memory above base: %.1f MB  (base %.1f MB; target < 150 MB)\n",
                    double(peakKb - baseKb) / 1024,
                    double(baseKb) / 1024);
    else
        std::printf("peak resident memory: not measurable (cannot reset VmHWM here)\n");
    std::printf("longest main-thread stall during the backfill: %.2f ms of work on the main "
                "thread (target <= 10 ms), %.2f ms wall-clock gap; idle loop: %.2f ms work, "
                "%.2f ms gap\n",
                during.busyMs,
                during.wallMs,
                idle.busyMs,
                idle.wallMs);
    std::printf("words recognised exactly: content %d of %d = %.1f %%  (target >= 95 %%); "
                "window chrome (light on dark title bar, 14 px sidebar) %d of %d = %.1f %%\n",
                bodyFound,
                bodyWords,
                100.0 * bodyFound / bodyWords,
                chromeFound,
                chromeWords,
                100.0 * chromeFound / chromeWords);
    std::printf("images with text %d of %d; at most %d recognitions at once\n",
                recognised,
                images,
                ocr.peakConcurrency());
    return 0;
}
