// The overlay under a real X server: showing it, answering a key, filtering, scrolling, and its
// memory. Timings that have a natural floor are printed with it: a bare translucent Qt Quick
// window of the same size stands for "showing any window", a one-rectangle repaint for "any
// key to frame", and a plain lower-case-and-search loop over the same texts for filtering.
//
// Needs a display; without one it runs itself inside the project's virtual desktop.

#include "FrameWait.h"
#include "Measure.h"
#include "capture/LinkPreviewCache.h"
#include "model/Store.h"
#include "overlay/OverlayState.h"
#include "overlay/OverlayWindow.h"
#include "overlay/PreviewWindow.h"
#include "overlay/QuickLookController.h"
#include "overlay/SceneGraphBackend.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <malloc.h>
#include <unistd.h>

using namespace bench;

namespace {

constexpr int kShowRuns = 12;
constexpr int kKeyRuns = 40;
constexpr int kFilterRuns = 300;
constexpr int kScrollMs = 2000;

// A photo-like picture: soft colour fields, shapes and a caption, about the size of a photo
// or screenshot shared in a chat.
QByteArray photoPNG(int seed)
{
    QImage image(1280, 800, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QRadialGradient sky(QPointF(300 + seed * 13 % 700, 200), 900);
    sky.setColorAt(0, QColor::fromHsv(seed * 47 % 360, 120, 250));
    sky.setColorAt(1, QColor::fromHsv((seed * 47 + 120) % 360, 200, 90));
    p.fillRect(image.rect(), sky);
    auto *rng = QRandomGenerator::global();
    for (int i = 0; i < 14; ++i) {
        p.setBrush(QColor::fromHsv(int(rng->bounded(360)), 160, 220, 120));
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(rng->bounded(1280), rng->bounded(800)),
                      40 + rng->bounded(160),
                      40 + rng->bounded(160));
    }
    QFont font;
    font.setPixelSize(56);
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(60, 740, QStringLiteral("Picture %1").arg(seed));
    p.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

// 200 entries, newest first in the order built: 40 images, 20 links, 10 colours, 130 texts,
// mixed through the list. Returns the bytes the store holds.
qint64 fill(Store &store)
{
    QList<ClipItem> items;
    for (int i = 0; i < 200; ++i) {
        if (i % 5 == 0) {
            items.append(ClipItem::makeImage(photoPNG(i)));
        } else if (i % 10 == 1) {
            // A port nothing listens on: the preview fails at once, the card keeps its fallback.
            items.append(
                ClipItem::makeText(QStringLiteral("http://127.0.0.1:9/articles/%1").arg(i)));
        } else if (i % 20 == 3) {
            items.append(ClipItem::makeText(
                QColor::fromHsv(i * 17 % 360, 180, 230).name(QColor::HexRgb).toUpper()));
        } else {
            items.append(ClipItem::makeText(
                QStringLiteral("Clip %1: a sentence or two of copied text, the kind of thing "
                               "people paste into chats, terminals and documents all day.")
                    .arg(i)));
        }
    }
    qint64 bytes = 0;
    for (auto it = items.crbegin(); it != items.crend(); ++it) {
        store.captureFromClipboard(*it);
        bytes += it->imageData ? it->imageData->size() : 0;
        bytes += it->text ? it->text->size() * qint64(sizeof(QChar)) : 0;
    }
    return bytes;
}

void waitUntil(const std::function<bool()> &condition, int timeoutMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

void press(QQuickWindow *window, int key)
{
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &down);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &up);
}

// The floor: a translucent frameless window of the same size holding one rectangle.
struct Baseline
{
    QQuickView view;
    QQuickItem *rectangle = nullptr;

    explicit Baseline(const QRect &geometry)
    {
        view.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        QSurfaceFormat format = view.format();
        format.setAlphaBufferSize(8);
        view.setFormat(format);
        view.setColor(Qt::transparent);
        view.setGeometry(geometry);
        QQmlComponent component(view.engine());
        component.setData("import QtQuick\nRectangle { radius: 22; color: '#e01a1c20' }", QUrl());
        rectangle = qobject_cast<QQuickItem *>(component.create());
        Q_ASSERT(rectangle);
        rectangle->setParentItem(view.contentItem());
        rectangle->setPosition(QPointF(100, 100));
        rectangle->setSize(QSizeF(geometry.width() - 200, geometry.height() - 200));
        view.create();
    }
};

// A 1920x1080 picture as a screenshot would be: the photo-like one, scaled up.
QByteArray fullHDPNG()
{
    const QImage image = QImage::fromData(photoPNG(7)).scaled(1920, 1080);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

// Space on an image: the preview's first frame, first ever (the window is made then) and
// afterwards, over the shown overlay as in use; with the parts that have a floor of their own.
struct PreviewFigures
{
    double build = 0, firstOpen = 0;
    QList<double> opens, pictures, writes, decodes, bareShows;
    long rssBefore = 0, rssBuilt = 0, rssAfter = 0;
    QSize window;
};

PreviewFigures measurePreview(OverlayWindow &overlay)
{
    PreviewFigures figures;
    QTemporaryDir dir;
    QuickLookController controller(dir.filePath(QStringLiteral("Cliphaven-QL")));
    PreviewWindow preview(controller);
    overlay.isPreviewVisible = [&preview] { return preview.isVisible(); };
    const ClipItem clip = ClipItem::makeImage(fullHDPNG());
    figures.rssBefore = statusKb("VmRSS");
    QElapsedTimer timer;
    timer.start();
    preview.build();
    figures.build = timer.nsecsElapsed() / 1e6;
    settle(100);
    figures.rssBuilt = statusKb("VmRSS");
    for (int run = 0; run <= kShowRuns; ++run) {
        // The first frame, and the first frame with the picture in it.
        QList<double> frames;
        double picture = -1;
        QElapsedTimer start;
        const auto recorder = QObject::connect(preview.window(), &QQuickWindow::frameSwapped, [&] {
            frames.append(start.nsecsElapsed() / 1e6);
            auto *image = preview.window()->contentItem()->findChild<QQuickItem *>(
                QStringLiteral("previewImage"));
            if (picture < 0 && image && image->property("status").toInt() == 1)
                picture = frames.last();
        });
        start.start();
        preview.toggle(clip, overlay.window());
        waitUntil([&] { return picture >= 0; }, 5000);
        QObject::disconnect(recorder);
        if (run == 0) {
            figures.firstOpen = frames.value(0, -1);
        } else {
            figures.opens.append(frames.value(0, -1));
            figures.pictures.append(picture);
        }
        settle(100);
        preview.toggle(clip);
        settle(100);
    }
    figures.rssAfter = statusKb("VmRSS");
    figures.window = preview.window()->size();
    overlay.isPreviewVisible = nullptr;
    for (int run = 0; run < kShowRuns; ++run) {
        QElapsedTimer start;
        start.start();
        controller.makeItem(clip);
        figures.writes.append(start.nsecsElapsed() / 1e6);
        start.restart();
        QImage decoded = QImage::fromData(*clip.imageData);
        figures.decodes.append(start.nsecsElapsed() / 1e6);
    }
    Baseline bare(QRect(QPoint(), figures.window));
    for (int run = 0; run < kShowRuns; ++run) {
        bare.view.hide();
        settle(100);
        QElapsedTimer start;
        start.start();
        bare.view.show();
        bare.view.raise();
        bare.view.requestActivate();
        figures.bareShows.append(untilFrame(&bare.view, start));
    }
    return figures;
}

// Scrolls a grid view through its whole content and back, 24 px a frame, as fast as frames
// come, for kScrollMs: frames per second and the main thread's CPU per frame.
struct ScrollFigures
{
    double fps = 0;
    QList<double> frameCpu, cycleCpu;
};

ScrollFigures scrollThrough(QQuickWindow *window, QQuickItem *grid, double maxScroll)
{
    ScrollFigures figures;
    grid->setProperty("contentY", -16);
    settle(200);
    int frames = 0;
    double direction = 24;
    QElapsedTimer scroll;
    double frameStart = 0;
    double lastSwap = threadCpuMs();
    const auto frameBegins = QObject::connect(
        window,
        &QQuickWindow::beforeSynchronizing,
        grid,
        [&] { frameStart = threadCpuMs(); },
        Qt::DirectConnection);
    const auto scroller = QObject::connect(window, &QQuickWindow::frameSwapped, grid, [&] {
        ++frames;
        const double now = threadCpuMs();
        figures.frameCpu.append(now - frameStart);
        figures.cycleCpu.append(now - lastSwap);
        lastSwap = now;
        double y = grid->property("contentY").toDouble() + direction;
        if (y > maxScroll - 16 || y < -16)
            direction = -direction;
        grid->setProperty("contentY", std::clamp(y, -16.0, maxScroll - 16));
    });
    scroll.start();
    grid->setProperty("contentY", 0.0);
    settle(kScrollMs);
    QObject::disconnect(scroller);
    QObject::disconnect(frameBegins);
    figures.fps = frames * 1000.0 / scroll.elapsed();
    return figures;
}

// The floor for scrolling: a grid of the same size and cells, each a plain rounded rectangle
// with one line of text, in a bare window.
struct PlainGrid
{
    QQuickView view;
    QQuickItem *grid = nullptr;

    PlainGrid(const QRect &geometry, const QRectF &gridRect, double cellWidth, double cellHeight)
    {
        view.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        QSurfaceFormat format = view.format();
        format.setAlphaBufferSize(8);
        view.setFormat(format);
        view.setColor(Qt::transparent);
        view.setGeometry(geometry);
        QQmlComponent component(view.engine());
        component.setData(QStringLiteral(
                              "import QtQuick\n"
                              "GridView {\n"
                              "  model: 200; topMargin: 16; cellWidth: %1; cellHeight: %2\n"
                              "  interactive: false; clip: true\n"
                              "  delegate: Rectangle {\n"
                              "    width: GridView.view.cellWidth - 14\n"
                              "    height: GridView.view.cellHeight - 14\n"
                              "    radius: 10; color: '#14ffffff'\n"
                              "    Text { x: 10; y: 10; text: 'Clip ' + index; color: 'white' }\n"
                              "  }\n"
                              "}\n")
                              .arg(cellWidth)
                              .arg(cellHeight)
                              .toUtf8(),
                          QUrl());
        grid = qobject_cast<QQuickItem *>(component.create());
        Q_ASSERT(grid);
        grid->setParentItem(view.contentItem());
        grid->setPosition(gridRect.topLeft());
        grid->setSize(gridRect.size());
        view.create();
    }
};

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && argc < 2) {
        const QByteArray script = CLIPHAVEN_SOURCE_DIR "/scripts/with-virtual-desktop.sh";
        std::printf("No display: running inside a virtual desktop.\n");
        std::fflush(stdout);
        execl("/bin/bash", "bash", script.constData(), argv[0], "--virtual", nullptr);
        std::perror("exec");
        return 1;
    }

    // As the program does at start.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    QGuiApplication app(argc, argv);
    const auto backend = SceneGraphBackend::choose();
    std::printf("scene graph: %s\n",
                backend == SceneGraphBackend::Choice::Software   ? "software"
                : backend == SceneGraphBackend::Choice::Hardware ? "OpenGL"
                                                                 : "from QT_QUICK_BACKEND");
    QScreen *screen = QGuiApplication::primaryScreen();
    const QRect panel = OverlayWindow::panelGeometry(screen->availableGeometry());
    std::printf("screen %dx%d, panel %dx%d\n\n",
                screen->size().width(),
                screen->size().height(),
                panel.width(),
                panel.height());

    const long rssBare = statusKb("VmRSS");
    QTemporaryDir dir;
    Store store(dir.path() + QStringLiteral("/store.json"));
    const qint64 storeBytes = fill(store);
    LinkPreviewCache links(std::chrono::milliseconds(500));
    OverlayState state;
    OverlayWindow overlay(store, state, &links);
    settle(100);
    const long rssStore = statusKb("VmRSS");

    // Built hidden, as at start-up.
    QElapsedTimer timer;
    timer.start();
    overlay.build();
    const double buildMs = timer.nsecsElapsed() / 1e6;
    settle(100);
    const long rssBuilt = statusKb("VmRSS");
    QQuickWindow *window = overlay.window();
    auto *grid = window->contentItem()->findChild<QQuickItem *>(QStringLiteral("gridView"));
    Q_ASSERT(grid);

    // Memory: shown, every tile scrolled past once so every thumbnail is decoded.
    overlay.show();
    waitUntil([&] { return state.appearance() == 1.0; });
    settle(300);
    const long rssFirstShown = statusKb("VmRSS");
    const double maxScroll = grid->property("contentHeight").toDouble() - grid->height();
    for (double y = 0; y < maxScroll + grid->height(); y += grid->height() / 2) {
        grid->setProperty("contentY", std::min(y, maxScroll) - 16);
        untilFrame(window, timer, 1000);
        settle(30);
    }
    grid->setProperty("contentY", -16);
    settle(500);
    const long rssShown = statusKb("VmRSS");

    // Show to first frame, to the first frame with the card on it, and the frames of the zoom.
    QList<double> firstFrame, firstVisible, zoomFrames, showCall, zoomCpu, firstCardCpu;
    for (int run = 0; run < kShowRuns; ++run) {
        overlay.hide();
        waitUntil([&] { return !overlay.isVisible(); });
        settle(100);
        QList<double> frames;
        QList<double> appearances;
        QElapsedTimer start;
        double frameStart = 0;
        const auto begins = QObject::connect(window, &QQuickWindow::beforeSynchronizing, [&] {
            frameStart = threadCpuMs();
        });
        const auto recorder = QObject::connect(window, &QQuickWindow::frameSwapped, [&] {
            frames.append(start.nsecsElapsed() / 1e6);
            appearances.append(state.appearance());
            if (state.appearance() > 0 && state.appearance() < 1)
                zoomCpu.append(threadCpuMs() - frameStart);
        });
        const double cpuAtShow = threadCpuMs();
        double cpuAtFirst = -1;
        const auto firstCpu = QObject::connect(window, &QQuickWindow::frameSwapped, [&] {
            if (cpuAtFirst < 0)
                cpuAtFirst = threadCpuMs();
        });
        start.start();
        overlay.show();
        showCall.append(start.nsecsElapsed() / 1e6);
        waitUntil([&] { return state.appearance() == 1.0; });
        settle(50);
        QObject::disconnect(recorder);
        QObject::disconnect(begins);
        QObject::disconnect(firstCpu);
        if (frames.isEmpty())
            continue;
        firstCardCpu.append(cpuAtFirst - cpuAtShow);
        firstFrame.append(frames.first());
        for (int i = 0; i < frames.size(); ++i) {
            if (appearances.at(i) > 0) {
                firstVisible.append(frames.at(i));
                break;
            }
        }
        zoomFrames.append(frames.size());
    }

    // The usual case: something was copied while the panel was hidden, and the card shows it.
    QList<double> afterCopyFrame, afterCopyCpu;
    for (int run = 0; run < kShowRuns; ++run) {
        overlay.hide();
        waitUntil([&] { return !overlay.isVisible(); });
        settle(100);
        store.captureFromClipboard(
            ClipItem::makeText(QStringLiteral("Copied while the panel was hidden, %1").arg(run)));
        // A person takes longer than this to reach for the shortcut after copying.
        settle(300);
        QElapsedTimer start;
        double at = -1, cpuAtFirst = -1;
        const auto first = QObject::connect(window, &QQuickWindow::frameSwapped, [&] {
            if (at < 0) {
                at = start.nsecsElapsed() / 1e6;
                cpuAtFirst = threadCpuMs();
            }
        });
        const double cpuAtShow = threadCpuMs();
        start.start();
        overlay.show();
        waitUntil([&] { return state.appearance() == 1.0; });
        settle(50);
        QObject::disconnect(first);
        if (at < 0)
            continue;
        afterCopyFrame.append(at);
        afterCopyCpu.append(cpuAtFirst - cpuAtShow);
    }

    // A key press to the next frame: the selection moves one tile.
    settle(300);
    QList<double> keyFrame;
    for (int run = 0; run < kKeyRuns; ++run) {
        QElapsedTimer start;
        start.start();
        press(window, run % 2 ? Qt::Key_Left : Qt::Key_Right);
        keyFrame.append(untilFrame(window, start));
        settle(160);
    }

    // Filtering: the visible list for one typed letter, then the whole path of typing it with
    // the overlay shown (list, model and grid).
    QStringList texts;
    for (const ClipItem &item : store.history())
        texts.append(item.text.value_or(QString()));
    QList<double> floorRuns, filterRuns, typeRuns;
    int matches = 0;
    for (int run = 0; run < kFilterRuns; ++run) {
        QElapsedTimer start;
        start.start();
        int found = 0;
        for (const QString &text : std::as_const(texts))
            found += text.toLower().contains(u"e");
        floorRuns.append(start.nsecsElapsed() / 1e3);
        state.setQuery(QStringLiteral("e"));
        start.restart();
        matches = int(itemsForCurrentTab(state, store).size());
        filterRuns.append(start.nsecsElapsed() / 1e3);
        state.setQuery(QString());
        Q_UNUSED(found);
    }
    for (int run = 0; run < 20; ++run) {
        QElapsedTimer start;
        start.start();
        state.setQuery(QStringLiteral("7"));
        typeRuns.append(start.nsecsElapsed() / 1e6);
        untilFrame(window, start, 500);
        state.setQuery(QString());
        untilFrame(window, start, 500);
    }

    // Scrolling: each frame moves the grid 24 px on, as fast as frames come.
    const ScrollFigures scrolling = scrollThrough(window, grid, maxScroll);

    const PreviewFigures preview = measurePreview(overlay);

    overlay.hide();
    waitUntil([&] { return !overlay.isVisible(); });

    // Floors measured the same way on a bare window.
    PlainGrid plain(panel,
                    QRectF(grid->mapToScene(QPointF(0, 0)), grid->size()),
                    grid->property("cellWidth").toDouble(),
                    grid->property("cellHeight").toDouble());
    plain.view.show();
    waitUntil([&] { return plain.view.isExposed(); });
    const double plainMaxScroll = plain.grid->property("contentHeight").toDouble()
                                  - plain.grid->height();
    const ScrollFigures plainScrolling = scrollThrough(&plain.view, plain.grid, plainMaxScroll);
    plain.view.hide();

    Baseline baseline(panel);
    QList<double> bareShow, bareKey, bareShowCpu;
    for (int run = 0; run < kShowRuns; ++run) {
        baseline.view.hide();
        settle(100);
        QElapsedTimer start;
        start.start();
        // Raised and given the focus, as the overlay is.
        const double cpuAtShow = threadCpuMs();
        double cpuAtFirst = -1;
        const auto firstCpu = QObject::connect(&baseline.view, &QQuickWindow::frameSwapped, [&] {
            if (cpuAtFirst < 0)
                cpuAtFirst = threadCpuMs();
        });
        baseline.view.show();
        baseline.view.raise();
        baseline.view.requestActivate();
        bareShow.append(untilFrame(&baseline.view, start));
        QObject::disconnect(firstCpu);
        bareShowCpu.append(cpuAtFirst - cpuAtShow);
    }
    settle(200);
    for (int run = 0; run < kKeyRuns; ++run) {
        QElapsedTimer start;
        start.start();
        baseline.rectangle->setProperty("color",
                                        run % 2 ? QColor("#e01a1c20") : QColor("#e0202428"));
        bareKey.append(untilFrame(&baseline.view, start));
        settle(20);
    }

    std::printf("build (hidden, at start-up)      %8.1f ms\n", buildMs);
    std::printf("show -> first frame              %8.1f ms median, %6.1f max   "
                "(bare window %5.1f ms, x%.1f)\n",
                median(firstFrame),
                maximum(firstFrame),
                median(bareShow),
                median(firstFrame) / std::max(median(bareShow), 0.001));
    std::printf("  of which show() itself         %8.1f ms median\n", median(showCall));
    std::printf("show -> first frame of the card  %8.1f ms median, %6.1f max\n",
                median(firstVisible),
                maximum(firstVisible));
    std::printf("  main-thread CPU until then     %8.1f ms median, %6.1f max   "
                "(bare window %5.1f ms, x%.1f)\n",
                median(firstCardCpu),
                maximum(firstCardCpu),
                median(bareShowCpu),
                median(firstCardCpu) / std::max(median(bareShowCpu), 0.001));
    std::printf("  after a copy while hidden      %8.1f ms median, %6.1f max; main-thread CPU "
                "%.1f ms median\n",
                median(afterCopyFrame),
                maximum(afterCopyFrame),
                median(afterCopyCpu));
    std::printf(
        "frames during the 0.22 s zoom    %8.0f median; each takes %.1f ms of CPU to render "
        "(fastest %.1f ms)\n",
        median(zoomFrames),
        median(zoomCpu),
        minimum(zoomCpu));
    std::printf("key -> next frame                %8.1f ms median, %6.1f max   "
                "(one-rectangle repaint %4.1f ms, x%.1f)\n",
                median(keyFrame),
                maximum(keyFrame),
                median(bareKey),
                median(keyFrame) / std::max(median(bareKey), 0.001));
    std::printf("filter 200 entries for \"e\"       %8.1f us median (%d match; plain loop "
                "%.1f us, x%.1f)\n",
                median(filterRuns),
                matches,
                median(floorRuns),
                median(filterRuns) / std::max(median(floorRuns), 0.001));
    std::printf("type a letter, shown (list+grid) %8.2f ms median, %6.2f max\n",
                median(typeRuns),
                maximum(typeRuns));
    std::printf("scrolling                        %8.1f frames/s; each frame takes %.1f ms of CPU "
                "(%.1f ms rendering; fastest %.1f ms), so %.0f frames/s with a core to itself\n",
                scrolling.fps,
                median(scrolling.cycleCpu),
                median(scrolling.frameCpu),
                minimum(scrolling.cycleCpu),
                1000.0 / std::max(median(scrolling.cycleCpu), 0.001));
    std::printf("  a grid of plain tiles          %8.1f frames/s; each frame takes %.1f ms of CPU "
                "(%.1f ms rendering), x%.1f\n",
                plainScrolling.fps,
                median(plainScrolling.cycleCpu),
                median(plainScrolling.frameCpu),
                median(scrolling.cycleCpu) / std::max(median(plainScrolling.cycleCpu), 0.001));
    std::printf("preview a 1920x1080 image        %8.1f ms median, %6.1f max to its first frame; "
                "first after start-up %.1f ms (bare %dx%d window %.1f ms, x%.1f)\n",
                median(preview.opens),
                maximum(preview.opens),
                preview.firstOpen,
                preview.window.width(),
                preview.window.height(),
                median(preview.bareShows),
                median(preview.opens) / std::max(median(preview.bareShows), 0.001));
    std::printf("  the picture in it              %8.1f ms median, %6.1f max (decoding the PNG "
                "alone %.1f ms; writing the file %.1f ms)\n",
                median(preview.pictures),
                maximum(preview.pictures),
                median(preview.decodes),
                median(preview.writes));
    std::printf(
        "  preview window built hidden    %8.1f ms, %ld MB; %ld MB after showing pictures\n",
        preview.build,
        (preview.rssBuilt - preview.rssBefore) / 1024,
        (preview.rssAfter - preview.rssBefore) / 1024);
    std::printf("memory: bare %ld MB, with store %ld MB, overlay built %ld MB, shown %ld MB, "
                "every tile seen %ld MB\n",
                rssBare / 1024,
                rssStore / 1024,
                rssBuilt / 1024,
                rssFirstShown / 1024,
                rssShown / 1024);
    std::printf("        shown - bare - store bytes (%lld MB) = %.1f MB (budget 60 MB)\n",
                storeBytes / (1024 * 1024),
                (rssShown - rssBare) / 1024.0 - storeBytes / (1024.0 * 1024.0));
    return 0;
}
