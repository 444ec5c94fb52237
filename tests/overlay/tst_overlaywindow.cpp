#include "common/Images.h"
#include "common/OverlayRig.h"
#include "overlay/OverlayAlert.h"
#include "overlay/OverlayWindow.h"
#include "overlay/PreviewWindow.h"
#include "overlay/QuickLookController.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/SidebarController.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

int mode(const QString &path)
{
    struct stat info
    {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 0777) : -1;
}

QByteArray contents(const QUrl &url)
{
    QFile file(url.toLocalFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// Five history items "0" (newest) ... "4", one category, and the overlay over them.
struct Fixture : OverlayRig
{
    Fixture()
    {
        fill(5);
        category = store.addCategory(QStringLiteral("Saved"));
        overlay.onPick = [this](const ClipItem &item) { picked.append(*item.text); };
        overlay.beforeMap = [this](QWindow &) { ++maps; };
    }

    void showAndWait()
    {
        overlay.show();
        QTRY_COMPARE_WITH_TIMEOUT(state.appearance(), 1.0, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(overlay.window()->isActive(), 5000);
    }
    bool searchHasFocus() const
    {
        const QQuickItem *item = overlay.window()->activeFocusItem();
        return item && item->objectName() == u"searchInput";
    }

    QQuickItem *find(const QString &name, int index = -1) const
    {
        return findQuickItem(overlay.window()->contentItem(), name, index);
    }
    QQuickItem *tileFace(int index) const { return find(QStringLiteral("tileFace"), index); }

    OverlayWindow overlay{store, state};
    QUuid category;
    int maps = 0;
};

// The overlay's windows: the panel, and the preview with the files it shows.
class OverlayWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(SceneGraphBackend::choose(), SceneGraphBackend::Choice::Software);
    }

    void opensOnTheScreenHoldingMostOfTheWindow_data()
    {
        QTest::addColumn<QRect>("window");
        QTest::addColumn<int>("screen");
        QTest::newRow("straddling, mostly right") << QRect(1800, 100, 800, 600) << 1;
        QTest::newRow("off every screen") << QRect(-900, -900, 100, 100) << -1;
    }
    void opensOnTheScreenHoldingMostOfTheWindow()
    {
        QFETCH(QRect, window);
        QFETCH(int, screen);
        const QList<QRect> screens{QRect(0, 0, 1920, 1080), QRect(1920, 0, 2560, 1440)};
        QCOMPARE(OverlayWindow::indexOfScreenHolding(screens, window), screen);
    }

    // The rules see Ctrl as Command, Alt as Option, and the key's own character beside the
    // event's text.
    void keyEventsBecomePhysicalKeysWithCtrlAsCommand_data()
    {
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<QString>("bare");
        const auto row = [](const char *name,
                            Qt::Key key,
                            Qt::KeyboardModifiers modifiers,
                            const char *text,
                            int keyCode,
                            const char *bare) {
            QTest::newRow(name) << int(key) << modifiers << text << keyCode << bare;
        };
        row("ctrl f", Qt::Key_F, Qt::ControlModifier, "\x06", 3, "f");
        row("ctrl 9", Qt::Key_9, Qt::ControlModifier, "9", 25, "9");
        row("alt x", Qt::Key_X, Qt::AltModifier, "x", 7, "x");
        row("return", Qt::Key_Return, {}, "\r", 36, "\r");
        row("keypad enter", Qt::Key_Enter, Qt::KeypadModifier, "\r", 76, "\r");
        row("left", Qt::Key_Left, {}, "", 123, "");
    }
    void keyEventsBecomePhysicalKeysWithCtrlAsCommand()
    {
        QFETCH(int, qtKey);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QString, text);
        QFETCH(int, keyCode);
        QFETCH(QString, bare);
        const KeyControl::KeyPress press = OverlayWindow::keyPress(
            QKeyEvent(QEvent::KeyPress, qtKey, modifiers, text));
        QCOMPARE(press.keyCode, keyCode);
        QCOMPARE(press.command, modifiers.testFlag(Qt::ControlModifier));
        QCOMPARE(press.option, modifiers.testFlag(Qt::AltModifier));
        QCOMPARE(press.control, false);
        QCOMPARE(press.characters, text);
        QCOMPARE(press.charactersIgnoringModifiers, bare);
    }

    void builtHiddenThenShownWithAResetStateAndAZoom()
    {
        Fixture f;
        f.overlay.hide(); // before anything was built: nothing to do
        QVERIFY(!f.overlay.isBuilt());
        f.state.setQuery(QStringLiteral("3"));
        f.state.setSelectionAnchor(0);
        f.state.setGridColumns(9);
        f.overlay.build();
        QQuickWindow *window = f.overlay.window();
        QVERIFY(!window->isVisible());
        QVERIFY(window->flags().testFlags(Qt::Tool | Qt::FramelessWindowHint
                                          | Qt::WindowStaysOnTopHint));
        QCOMPARE(window->color(), QColor(Qt::transparent));
        QCOMPARE(f.maps, 0);

        f.overlay.show();
        QVERIFY(f.overlay.isVisible());
        QCOMPARE(window->geometry(),
                 OverlayWindow::panelGeometry(window->screen()->availableGeometry()));
        // Reset (the state's own test lists what that covers); the zoom-in starts at once, its
        // first frame one step in from nothing.
        QCOMPARE(f.state.query(), QString());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        QVERIFY(f.state.appearance() > 0.0 && f.state.appearance() < 0.5);
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
        // The grid wrote its real column count on the way.
        QVERIFY(f.state.gridColumns() != 9);
        QCOMPARE(f.maps, 1);

        // Shown again: the zoom-in again, but no second round of window hints.
        f.overlay.show();
        QVERIFY(f.state.appearance() > 0.0 && f.state.appearance() < 0.5);
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
        QCOMPARE(f.maps, 1);
    }

    void hideFadesOutThenTakesTheWindowAway()
    {
        Fixture f;
        f.showAndWait();
        f.overlay.hide();
        QVERIFY(f.overlay.isHiding());
        QVERIFY(f.overlay.isVisible());
        const double during = f.state.appearance();
        // A second hide while hiding changes nothing.
        f.overlay.hide();
        QVERIFY(f.state.appearance() <= during);
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
        QVERIFY(!f.overlay.isHiding());
        QCOMPARE(f.state.appearance(), 0.0);
        // Shown again, it gets its hints again.
        f.showAndWait();
        QCOMPARE(f.maps, 2);
        // A show while hiding does not stop the pending order-out.
        f.overlay.hide();
        f.overlay.show();
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    // The toggle takes the panel away with no fade, from shown or from part-way through a fade;
    // a fade's order-out still pending must not take away the panel shown after it.
    void hideAtOnceSkipsTheFade()
    {
        Fixture f;
        f.overlay.hide(OverlayWindow::Hiding::AtOnce); // before anything was built: nothing to do
        QVERIFY(!f.overlay.isBuilt());

        f.showAndWait();
        int answered = -2;
        f.overlay.alert()->show(u"Pause?"_s, {}, {u"Cancel"_s, u"Pause"_s}, [&](int chosen) {
            answered = chosen;
        });
        f.overlay.hide(OverlayWindow::Hiding::AtOnce);
        QVERIFY(!f.overlay.isVisible());
        QVERIFY(!f.overlay.isHiding());
        QCOMPARE(f.state.appearance(), 0.0);
        QVERIFY(!f.overlay.alert()->shown());
        QCOMPARE(answered, -1);

        f.showAndWait();
        QCOMPARE(f.maps, 2);
        f.overlay.hide();
        QVERIFY(f.overlay.isHiding());
        f.overlay.hide(OverlayWindow::Hiding::AtOnce);
        QVERIFY(!f.overlay.isVisible());
        QVERIFY(!f.overlay.isHiding());
        QCOMPARE(f.state.appearance(), 0.0);

        f.overlay.show();
        QVERIFY(f.overlay.isVisible());
        QTest::qWait(OverlayWindow::kOrderOutDelayMs + 100);
        QVERIFY(f.overlay.isVisible());
        QVERIFY(!f.overlay.isHiding());
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
    }

    // Hidden after use, the panel is reset and drawn ahead, at nothing as far as anyone can
    // tell; it draws again when a clip arrives, and rests in between.
    void hiddenPanelIsDrawnAheadThenRests()
    {
        Fixture f;
        int drawn = 0;
        f.overlay.build();
        QObject::connect(f.overlay.window(), &QQuickWindow::afterRendering, [&] { ++drawn; });
        QTest::qWait(OverlayWindow::kWarmUpDelayMs * 4);
        QCOMPARE(drawn, 0); // never shown: nothing is drawn ahead

        f.showAndWait();
        f.state.setQuery(QStringLiteral("3"));
        f.overlay.hide(OverlayWindow::Hiding::AtOnce);
        drawn = 0;
        QTRY_VERIFY_WITH_TIMEOUT(drawn > 0, 5000);
        QVERIFY(!f.overlay.isVisible());
        QCOMPARE(f.state.query(), QString());
        QCOMPARE(f.state.appearance(), 0.0);

        QTest::qWait(1500);
        const int settled = drawn;
        QTest::qWait(1000);
        QCOMPARE(drawn, settled);

        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("new")));
        QTRY_VERIFY_WITH_TIMEOUT(drawn > settled, 5000);
        QCOMPARE(f.state.appearance(), 0.0);

        // Shown again: the zoom-in from its first step, over the newest clip.
        f.overlay.show();
        QVERIFY(f.state.appearance() > 0.0 && f.state.appearance() < 0.5);
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
        QCOMPARE(f.overlay.model()->itemAt(0).text, QStringLiteral("new"));
    }

    void keysReachTheRulesBeforeAnyControlUnlessAMenuIsOpen()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QTest::keyClick(window, Qt::Key_Right);
        QCOMPARE(f.state.selectionAnchor(), 0);

        f.overlay.grid()->setMenuOpen(true);
        QTest::keyClick(window, Qt::Key_Escape);
        QTest::keyClick(window, Qt::Key_Right);
        QVERIFY(!f.overlay.isHiding());
        QCOMPARE(f.state.selectionAnchor(), 0);
        f.overlay.grid()->setMenuOpen(false);
        QTest::keyClick(window, Qt::Key_Escape);
        QVERIFY(f.overlay.isHiding());
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    // A pick hides the overlay, as the application does; the second click of a quick
    // double-click lands on the fading card and must not paste again.
    void aDoubleClickPastesOnce()
    {
        Fixture f;
        f.overlay.onPick = [&f](const ClipItem &item) {
            f.picked.append(*item.text);
            f.overlay.hide();
        };
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QQuickItem *face = f.tileFace(1);
        QVERIFY(face);
        const QPoint centre = face->mapToScene(QPointF(face->width() / 2, face->height() / 2))
                                  .toPoint();
        QTest::mouseClick(window, Qt::LeftButton, {}, centre);
        QTest::mouseClick(window, Qt::LeftButton, {}, centre);
        QCOMPARE(f.picked, QStringList{"1"});
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    // Opened again on History, which it may have shown before scrolled down: the newest clips
    // are in view.
    void reopeningShowsTheNewestClips()
    {
        Fixture f;
        f.fill(80);
        f.showAndWait();
        QQuickItem *grid = f.find(QStringLiteral("gridView"));
        QVERIFY(grid);
        const qreal top = grid->property("contentY").toReal();
        f.state.selectOnly(f.model.items(), 79);
        QTRY_VERIFY(grid->property("contentY").toReal() > top + 500);
        f.overlay.hide();
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
        f.showAndWait();
        QCOMPARE(grid->property("contentY").toReal(), top);
    }

    // Keys reach the rules before any control, unless a menu is open. Tab reaches the sidebar's
    // button and rows; the Menu key opens the current tile's menu, or the focused row's.
    void keyboardReachesControlsAndMenus()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QTest::keyClick(window, Qt::Key_Menu);
        QTRY_VERIFY(f.overlay.grid()->menuOpen());
        QTest::keyClick(window, Qt::Key_Down);
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!f.overlay.grid()->menuOpen());
        QVERIFY(f.overlay.isVisible() && !f.overlay.isHiding());

        QTest::keyClick(window, Qt::Key_Tab);
        QCOMPARE(window->activeFocusItem()->objectName(), u"newCategoryButton");
        QTest::keyClick(window, Qt::Key_Tab);
        QCOMPARE(window->activeFocusItem()->objectName(), u"historyRow");
        QTest::keyClick(window, Qt::Key_Tab);
        QCOMPARE(window->activeFocusItem()->objectName(), u"categoryRow");
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(f.state.tab(), Tab::category(f.category));
        // Up and Down move between the rows.
        QTest::keyClick(window, Qt::Key_Up);
        QCOMPARE(window->activeFocusItem()->objectName(), u"historyRow");
        QTest::keyClick(window, Qt::Key_Down);
        QCOMPARE(window->activeFocusItem()->objectName(), u"categoryRow");
        QTest::keyClick(window, Qt::Key_F10, Qt::ShiftModifier);
        QTRY_VERIFY(f.overlay.sidebar()->menuOpen());
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!f.overlay.sidebar()->menuOpen());
        QVERIFY(f.overlay.isVisible() && !f.overlay.isHiding());
        QTest::keyClick(window, Qt::Key_1, Qt::ControlModifier);
        QVERIFY(f.state.tab().isHistory());
        // An arrow that moves in the grid takes the focus back there.
        QTest::keyClick(window, Qt::Key_Right);
        QCOMPARE(f.state.selectionAnchor(), 0);
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(f.picked, QStringList{"0"});
        QTest::keyClick(window, Qt::Key_Escape);
        QVERIFY(f.overlay.isHiding());
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    void typingStartsASearchThatTheFieldTakesOver()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QTest::keyClick(window, Qt::Key_3);
        QCOMPARE(f.state.query(), "3");
        QVERIFY(f.state.searchFocused());
        QTRY_VERIFY(f.searchHasFocus());
        // Now the field gets the keys: text goes in, Backspace edits it.
        QTest::keyClick(window, Qt::Key_Space);
        QTest::keyClick(window, Qt::Key_X);
        QCOMPARE(f.state.query(), "3 x");
        QTest::keyClick(window, Qt::Key_Backspace);
        QCOMPARE(f.state.query(), "3 ");
        QCOMPARE(f.store.history().size(), 5);
        // An arrow leaves the field and moves in the grid.
        QTest::keyClick(window, Qt::Key_Down);
        QVERIFY(!f.state.searchFocused());
        QCOMPARE(f.state.selectionAnchor(), 0);
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(f.picked, QStringList{"3"});
    }

    // Losing the focus hides the overlay a moment later, unless the preview took it or the
    // overlay got it back in time.
    void losingFocus_data()
    {
        QTest::addColumn<bool>("toPreview");
        QTest::addColumn<bool>("takenBack");
        QTest::newRow("to another window: hidden") << false << false;
        QTest::newRow("to the preview: kept") << true << false;
        QTest::newRow("taken back in time: kept") << false << true;
    }
    void losingFocus()
    {
        QFETCH(bool, toPreview);
        QFETCH(bool, takenBack);
        Fixture f;
        f.overlay.isPreviewVisible = [toPreview] { return toPreview; };
        f.showAndWait();
        QWindow other;
        other.resize(100, 100);
        other.show();
        other.requestActivate();
        if (takenBack)
            f.overlay.window()->requestActivate();
        if (!toPreview && !takenBack) {
            QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(f.overlay.window()->isActive(), takenBack, 5000);
        QTest::qWait(OverlayWindow::kResignDelayMs + OverlayWindow::kOrderOutDelayMs + 100);
        QVERIFY(f.overlay.isVisible());
        QVERIFY(!f.overlay.isHiding());
    }

    void filesAndTitles_data()
    {
        QTest::addColumn<ClipItem>("clip");
        QTest::addColumn<QString>("title");

        const QString hundred = QString(60, u'a') + QString(40, u'b');
        QTest::newRow("100 characters: the first 60, marked as cut")
            << ClipItem::makeText(hundred) << QString(60, u'a') + u'…';
        QTest::newRow("cut back to the end of a word")
            << ClipItem::makeText(QStringLiteral("The quick brown fox jumps over the lazy dog "
                                                 "and keeps on running far away"))
            << QStringLiteral("The quick brown fox jumps over the lazy dog and keeps on…");
        QTest::newRow("empty text") << ClipItem::makeText(QString()) << "Text";
        QTest::newRow("newlines become spaces")
            << ClipItem::makeText(QStringLiteral("one\ntwo\r\nthree")) << "one two three";
        // A flag is one character of four code units: cut after it, never inside.
        QTest::newRow("cut between characters")
            << ClipItem::makeText(QString(59, u'x') + QStringLiteral("🇫🇷 and more"))
            << QString(59, u'x') + QStringLiteral("🇫🇷…");
        QTest::newRow("image") << ClipItem::makeImage(solidImage(Qt::darkCyan, QSize(4, 3)))
                               << "Image";
        // Without content there is no item (an empty title).
        ClipItem textless = ClipItem::makeText(QStringLiteral("x"));
        textless.text.reset();
        ClipItem imageless = ClipItem::makeImage(solidImage(Qt::darkCyan, QSize(2, 2)));
        imageless.imageData.reset();
        QTest::newRow("text clip without text") << textless << QString();
        QTest::newRow("image clip without bytes") << imageless << QString();
    }

    void filesAndTitles()
    {
        QFETCH(ClipItem, clip);
        QFETCH(QString, title);
        QTemporaryDir dir;
        QuickLookController controller(dir.filePath(QStringLiteral("Cliphaven-QL")));

        const auto item = controller.makeItem(clip);
        QCOMPARE(item.has_value(), !title.isEmpty());
        if (!item)
            return;
        QCOMPARE(item->title, title);
        const bool text = clip.kind == ClipKind::Text;
        QCOMPARE(item->url.fileName(),
                 clip.id.toString(QUuid::WithoutBraces).toUpper() + (text ? ".txt" : ".png"));
        QCOMPARE(contents(item->url), text ? clip.text->toUtf8() : *clip.imageData);

        // The same clip again: the same file, rewritten, and nothing left beside it.
        QCOMPARE(controller.makeItem(clip), item);
        QCOMPARE(QDir(controller.folder()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void folderIsPrivate()
    {
        QTemporaryDir dir;
        const QString fresh = dir.filePath(QStringLiteral("fresh/Cliphaven-QL"));
        QuickLookController made(fresh);
        QCOMPARE(mode(fresh), 0700);

        // One of ours left open to others is closed again before anything is written.
        const QString open = dir.filePath(QStringLiteral("open"));
        QVERIFY(QDir().mkdir(open));
        ::chmod(QFile::encodeName(open).constData(), 0755);
        QuickLookController reused(open);
        QVERIFY(reused.makeItem(ClipItem::makeText(QStringLiteral("secret"))));
        QCOMPARE(mode(open), 0700);

        // A link in its place is not followed: no item, and nothing written where it points.
        const QString elsewhere = dir.filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkdir(elsewhere));
        const QString link = dir.filePath(QStringLiteral("link"));
        QVERIFY(QFile::link(elsewhere, link));
        QCOMPARE(QuickLookController(link).makeItem(ClipItem::makeText(u"hello"_s)), std::nullopt);
        QVERIFY(QDir(elsewhere).isEmpty());
    }

    void defaultFolderIsPerUser_data()
    {
        QTest::addColumn<int>("runtimeMode"); // -1: XDG_RUNTIME_DIR unset
        QTest::addColumn<bool>("underRuntime");

        QTest::newRow("private runtime folder") << 0700 << true;
        QTest::newRow("runtime folder open to others") << 0755 << false;
        QTest::newRow("no runtime folder") << -1 << false;
    }

    void defaultFolderIsPerUser()
    {
        QFETCH(int, runtimeMode);
        QFETCH(bool, underRuntime);
        QTemporaryDir dir;
        const QString runtime = dir.filePath(QStringLiteral("run"));
        QDir().mkdir(runtime);
        ::chmod(QFile::encodeName(runtime).constData(), mode_t(qMax(runtimeMode, 0)));
        const QByteArray oldRuntime = qgetenv("XDG_RUNTIME_DIR");
        const QByteArray oldCache = qgetenv("XDG_CACHE_HOME");
        if (runtimeMode < 0)
            qunsetenv("XDG_RUNTIME_DIR");
        else
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(dir.filePath(QStringLiteral("cache"))));

        const QString folder = QuickLookController::defaultFolder();

        qputenv("XDG_RUNTIME_DIR", oldRuntime);
        qputenv("XDG_CACHE_HOME", oldCache);
        QCOMPARE(folder,
                 underRuntime ? runtime + QStringLiteral("/Cliphaven-QL")
                              : dir.filePath(QStringLiteral("cache/Cliphaven/Cliphaven-QL")));
    }

    void previewToggles()
    {
        QTemporaryDir dir;
        QuickLookController controller(dir.filePath(QStringLiteral("ql")));
        PreviewWindow preview(controller);
        const ClipItem image = ClipItem::makeImage(solidImage(Qt::darkCyan, QSize(640, 360)));

        preview.toggle(image);
        QVERIFY(preview.isVisible());
        // Decoded once the card is on screen.
        QTRY_COMPARE(preview.source(), controller.item()->url);
        preview.toggle(image);
        QVERIFY(!preview.isVisible());
        // Kept for the panel's sake, but the closed card lets the picture go.
        QVERIFY(controller.item());
        QCOMPARE(preview.source(), QUrl());

        // Larger than the screen: the picture is scaled down, keeping its shape, into 90 % of
        // the screen, and the card closes around it with no empty band beside it.
        const QSize most = QGuiApplication::primaryScreen()->availableGeometry().size() * 0.9;
        QVERIFY(most.width() < 2000);
        preview.toggle(ClipItem::makeImage(solidImage(Qt::darkCyan, QSize(2000, 1000))));
        const QSize picture = QSize(2000, 1000)
                                  .scaled(most - QSize(24, 44 + 24), Qt::KeepAspectRatio);
        QCOMPARE(preview.imageSize(), picture);
        const QSize card = preview.window()->size()
                           - 2 * QSize(PreviewWindow::kMargin, PreviewWindow::kMargin);
        QCOMPARE(card, picture + QSize(24, 44 + 24));
        QVERIFY(card.width() <= most.width() && card.height() <= most.height());
        preview.close();

        ClipItem broken = image;
        broken.imageData.reset();
        preview.toggle(broken);
        QVERIFY(!preview.isVisible());
    }
};

QTEST_MAIN(OverlayWindowTest)
#include "tst_overlaywindow.moc"
