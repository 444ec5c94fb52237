// The sidebar's edits with a large store: 50 categories of 200 entries each beside a full
// history. Renaming, moving a category and dropping tiles on one are each timed three ways:
// through the sidebar with the overlay shown, as the same store call on that store (the
// difference is the sidebar's own share), and on a copy of the store that nothing listens to.
// Times to the next frame are set against an arrow key's, the floor of "a change to a frame"
// in the same window.
//
// Needs a display; without one it runs itself inside the project's virtual desktop.

#include "FrameWait.h"
#include "Measure.h"
#include "model/Store.h"
#include "overlay/CategoryListModel.h"
#include "overlay/OverlayState.h"
#include "overlay/OverlayWindow.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/SidebarController.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <unistd.h>

using namespace bench;

namespace {

constexpr int kCategories = 50;
constexpr int kEntries = 200;
constexpr int kRuns = 30;

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QByteArray png(int seed)
{
    QImage image(320, 200, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(seed * 37 % 360, 160, 220));
    QPainter(&image).drawText(20, 100, QString::number(seed));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// One in ten entries an image (twenty pictures, shared), the rest distinct texts. The history
// is category -1.
ClipItem entry(int category, int index, const QList<QByteArray> &pictures)
{
    if (index % 10 == 0)
        return ClipItem::makeImage(pictures.at((category + 1 + index) % pictures.size()));
    return ClipItem::makeText(QStringLiteral("Category %1, entry %2: a line or two of saved text "
                                             "such as an address, a snippet or a reply.")
                                  .arg(category)
                                  .arg(index));
}

void fill(Store &store)
{
    QList<QByteArray> pictures;
    for (int i = 0; i < 20; ++i)
        pictures.append(png(i));
    for (int i = kEntries - 1; i >= 0; --i)
        store.captureFromClipboard(entry(-1, i, pictures));
    QList<Category> categories;
    for (int c = 0; c < kCategories; ++c) {
        Category category = Category::make(QStringLiteral("Category %1").arg(c));
        for (int i = 0; i < kEntries; ++i)
            category.items.append(entry(c, i, pictures));
        categories.append(category);
    }
    store.setCategories(categories);
}

struct Figures
{
    QList<double> cpu;
    QList<double> frame;
};

// Runs the edit kRuns times; each run's CPU time, and with a window the time to its frame.
Figures measure(const std::function<void(int)> &edit, QQuickWindow *window = nullptr)
{
    Figures figures;
    for (int run = 0; run < kRuns; ++run) {
        QElapsedTimer start;
        start.start();
        const double cpu = threadCpuMs();
        edit(run);
        figures.cpu.append(threadCpuMs() - cpu);
        if (window) {
            figures.frame.append(untilFrame(window, start));
            settle(30);
        }
    }
    return figures;
}

// One edit three ways: through the sidebar with the overlay shown, the same store call on that
// store (so the difference is the sidebar's own share), and on the store nothing listens to.
struct Edit
{
    const char *what;
    Figures sidebar;
    Figures direct;
    Figures bare;
};

void report(const Edit &edit, const Figures &floor)
{
    std::printf("%s\n", edit.what);
    std::printf("  CPU: via the sidebar %.2f ms, the store call alone %.2f ms (of which the store "
                "itself %.3f ms; the rest is the overlay's views following it)\n",
                median(edit.sidebar.cpu),
                median(edit.direct.cpu),
                median(edit.bare.cpu));
    if (!edit.sidebar.frame.isEmpty())
        std::printf("  to the next frame: %.1f ms median, %.1f max; the store call alone %.1f ms; "
                    "x%.1f an arrow key's\n",
                    median(edit.sidebar.frame),
                    maximum(edit.sidebar.frame),
                    median(edit.direct.frame),
                    median(edit.sidebar.frame) / std::max(median(floor.frame), 0.001));
}

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

    QGuiApplication app(argc, argv);
    SceneGraphBackend::choose();
    QTemporaryDir dir;

    // The same store twice: one that nothing listens to, one behind the overlay.
    Store bare(dir.path() + QStringLiteral("/bare.json"));
    fill(bare);
    Store store(dir.path() + QStringLiteral("/store.json"));
    fill(store);
    OverlayState state;
    OverlayWindow overlay(store, state);
    overlay.build();
    overlay.show();
    QElapsedTimer wait;
    wait.start();
    while (state.appearance() < 1.0 && wait.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    settle(300);
    QQuickWindow *window = overlay.window();
    SidebarController *sidebar = overlay.sidebar();
    std::printf("%d categories of %d entries, %d in the history; overlay shown, one category's "
                "tiles in the grid\n\n",
                kCategories,
                kEntries,
                int(store.history().size()));

    const auto categoryId = [](const Store &s, int index) { return s.categories().at(index).id; };
    // The category shown: its tiles are what the grid redraws when a drop lands there.
    const QUuid shown = categoryId(store, 4);
    state.setTab(Tab::category(shown));
    settle(300);

    const Figures floor = measure(
        [&](int run) {
            const int key = run % 2 ? Qt::Key_Left : Qt::Key_Right;
            QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
            QCoreApplication::sendEvent(window, &down);
            QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
            QCoreApplication::sendEvent(window, &up);
        },
        window);

    // Renaming the third category: the field opens, then the new name is committed.
    Edit rename{"rename a category (commit)", {}, {}, {}};
    rename.sidebar = measure(
        [&](int run) {
            const QString id = idString(categoryId(store, 2));
            sidebar->beginRename(id);
            sidebar->commitRename(id, QStringLiteral("  Renamed %1 ").arg(run));
        },
        window);
    rename.direct = measure(
        [&](int run) {
            store.renameCategory(categoryId(store, 2), QStringLiteral("Named %1").arg(run));
        },
        window);
    rename.bare = measure([&](int run) {
        bare.renameCategory(categoryId(bare, 2), QStringLiteral("Renamed %1").arg(run));
    });

    // The seventh row dragged onto the second, over and over.
    Edit reorder{"move a category (row dropped on a row)", {}, {}, {}};
    reorder.sidebar = measure(
        [&](int) {
            sidebar->applyDrop(categoryId(store, 1),
                               QStringLiteral("cat:") + idString(categoryId(store, 6)));
        },
        window);
    reorder.direct
        = measure([&](int) { store.reorderCategory(categoryId(store, 6), categoryId(store, 1)); },
                  window);
    reorder.bare = measure(
        [&](int) { bare.reorderCategory(categoryId(bare, 6), categoryId(bare, 1)); });

    // Three history tiles dropped on a category, three others each run.
    int next = 0;
    const auto take = [&](const Store &s) {
        QList<QUuid> ids;
        for (int i = 0; i < 3; ++i, ++next)
            ids.append(s.history().at(next % s.history().size()).id);
        return ids;
    };
    const auto payload = [](const QList<QUuid> &ids) -> QString {
        QStringList parts;
        for (const QUuid &id : ids)
            parts.append(idString(id));
        return QStringLiteral("items:") + parts.join(u',');
    };
    const auto addAll = [](Store &s, const QList<QUuid> &ids, const QUuid &category) {
        for (const QUuid &id : ids)
            s.add(*s.findItem(id), category);
    };
    Edit drop{"drop 3 tiles on the category shown", {}, {}, {}};
    drop.sidebar = measure([&](int) { sidebar->applyDrop(shown, payload(take(store))); }, window);
    drop.direct = measure([&](int) { addAll(store, take(store), shown); }, window);
    drop.bare = measure([&](int) { addAll(bare, take(bare), categoryId(bare, 4)); });

    // Nothing on screen changes: the CPU time is all there is.
    Edit dropOther{"drop 3 tiles on a category not shown", {}, {}, {}};
    const QUuid other = categoryId(store, 30);
    dropOther.sidebar = measure([&](int) { sidebar->applyDrop(other, payload(take(store))); });
    dropOther.direct = measure([&](int) { addAll(store, take(store), other); });
    dropOther.bare = measure([&](int) { addAll(bare, take(bare), categoryId(bare, 30)); });

    for (const Edit *edit : {&rename, &reorder, &drop, &dropOther})
        report(*edit, floor);

    // The sidebar's own rows following the bare store: its share of "the overlay's views".
    CategoryListModel rows(bare);
    const Figures rowsRename = measure([&](int run) {
        bare.renameCategory(categoryId(bare, 2), QStringLiteral("Again %1").arg(run));
    });
    const Figures rowsReorder = measure(
        [&](int) { bare.reorderCategory(categoryId(bare, 6), categoryId(bare, 1)); });
    const Figures rowsDrop = measure([&](int) { addAll(bare, take(bare), categoryId(bare, 30)); });
    std::printf("the sidebar's row model alone: rename %.3f ms, move %.3f ms, drop %.3f ms "
                "(bare store %.3f, %.3f, %.3f ms)\n",
                median(rowsRename.cpu),
                median(rowsReorder.cpu),
                median(rowsDrop.cpu),
                median(rename.bare.cpu),
                median(reorder.bare.cpu),
                median(dropOther.bare.cpu));
    std::printf("arrow key -> next frame: %.1f ms median, %.1f max\n",
                median(floor.frame),
                maximum(floor.frame));
    return 0;
}
