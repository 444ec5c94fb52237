#include "model/Store.h"
#include "overlay/GridController.h"
#include "overlay/OverlayState.h"
#include "overlay/OverlayWindow.h"
#include "overlay/SceneGraphBackend.h"

#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// Five history items "0" (newest) ... "4", one category, and the overlay over them.
class Fixture
{
public:
    Fixture()
        : store(dir.path() + QStringLiteral("/store.json"))
        , overlay(store, state)
    {
        for (int i = 4; i >= 0; --i)
            store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
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

    QTemporaryDir dir;
    Store store;
    OverlayState state;
    OverlayWindow overlay;
    QUuid category;
    QStringList picked;
    int maps = 0;
};

class OverlayWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(SceneGraphBackend::choose(), SceneGraphBackend::Choice::Software);
    }

    void panelCoversMostOfTheScreenPlusTheMargin_data()
    {
        QTest::addColumn<QRect>("available");
        QTest::addColumn<QRect>("panel");
        // 1224 + 200 by 743 + 200, reaching 100 points past the visible frame.
        QTest::newRow("1440 by 875") << QRect(0, 0, 1440, 875) << QRect(8, -34, 1424, 943);
        QTest::newRow("1920 by 1080") << QRect(0, 0, 1920, 1080) << QRect(44, -19, 1832, 1118);
        QTest::newRow("second screen below a top panel")
            << QRect(1920, 24, 1280, 776) << QRect(1916, -18, 1288, 859);
    }
    void panelCoversMostOfTheScreenPlusTheMargin()
    {
        QFETCH(QRect, available);
        QFETCH(QRect, panel);
        QCOMPARE(OverlayWindow::panelGeometry(available), panel);
        QCOMPARE(panel.center().x() - available.center().x(), 0);
    }

    void opensOnTheScreenHoldingMostOfTheWindow_data()
    {
        QTest::addColumn<QRect>("window");
        QTest::addColumn<int>("screen");
        QTest::newRow("left") << QRect(100, 100, 800, 600) << 0;
        QTest::newRow("straddling, mostly right") << QRect(1800, 100, 800, 600) << 1;
        QTest::newRow("maximised on the right") << QRect(1920, 0, 2560, 1440) << 1;
        QTest::newRow("off every screen") << QRect(-900, -900, 100, 100) << -1;
        QTest::newRow("empty frame") << QRect() << -1;
    }
    void opensOnTheScreenHoldingMostOfTheWindow()
    {
        QFETCH(QRect, window);
        QFETCH(int, screen);
        const QList<QRect> screens{QRect(0, 0, 1920, 1080), QRect(1920, 0, 2560, 1440)};
        QCOMPARE(OverlayWindow::indexOfScreenHolding(screens, window), screen);
    }

    void keyEventsBecomePhysicalKeysWithCtrlAsCommand_data()
    {
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<bool>("command");
        QTest::addColumn<bool>("option");
        QTest::addColumn<QString>("bare");
        QTest::newRow("a") << int(Qt::Key_A) << 0 << "a" << 0 << false << false << "a";
        QTest::newRow("shift a") << int(Qt::Key_A) << int(Qt::ShiftModifier) << "A" << 0 << false
                                 << false << "A";
        QTest::newRow("ctrl f") << int(Qt::Key_F) << int(Qt::ControlModifier) << "\x06" << 3 << true
                                << false << "f";
        QTest::newRow("ctrl 1") << int(Qt::Key_1) << int(Qt::ControlModifier) << "1" << 18 << true
                                << false << "1";
        QTest::newRow("ctrl 9") << int(Qt::Key_9) << int(Qt::ControlModifier) << "9" << 25 << true
                                << false << "9";
        QTest::newRow("alt x") << int(Qt::Key_X) << int(Qt::AltModifier) << "x" << 7 << false
                               << true << "x";
        QTest::newRow("return") << int(Qt::Key_Return) << 0 << "\r" << 36 << false << false << "\r";
        QTest::newRow("keypad enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << "\r" << 76
                                      << false << false << "\r";
        QTest::newRow("escape") << int(Qt::Key_Escape) << 0 << "\x1b" << 53 << false << false
                                << "\x1b";
        QTest::newRow("space") << int(Qt::Key_Space) << 0 << " " << 49 << false << false << " ";
        QTest::newRow("backspace")
            << int(Qt::Key_Backspace) << 0 << "\b" << 51 << false << false << "\b";
        QTest::newRow("delete") << int(Qt::Key_Delete) << 0 << "\x7f" << 117 << false << false
                                << "\x7f";
        QTest::newRow("left") << int(Qt::Key_Left) << 0 << "" << 123 << false << false << "";
        QTest::newRow("down") << int(Qt::Key_Down) << 0 << "" << 125 << false << false << "";
    }
    void keyEventsBecomePhysicalKeysWithCtrlAsCommand()
    {
        QFETCH(int, qtKey);
        QFETCH(int, modifiers);
        QFETCH(QString, text);
        QFETCH(int, keyCode);
        QFETCH(bool, command);
        QFETCH(bool, option);
        QFETCH(QString, bare);
        const QKeyEvent event(QEvent::KeyPress,
                              qtKey,
                              Qt::KeyboardModifiers::fromInt(modifiers),
                              text);
        const KeyControl::KeyPress press = OverlayWindow::keyPress(event);
        QCOMPARE(press.keyCode, keyCode);
        QCOMPARE(press.command, command);
        QCOMPARE(press.option, option);
        QCOMPARE(press.control, false);
        QCOMPARE(press.characters, text);
        QCOMPARE(press.charactersIgnoringModifiers, bare);
    }

    void hideBeforeAnyShowDoesNothing()
    {
        Fixture f;
        f.overlay.hide();
        QVERIFY(!f.overlay.isBuilt());
        QVERIFY(!f.overlay.isVisible());
    }

    void buildMakesAHiddenFramelessToolWindow()
    {
        Fixture f;
        f.overlay.build();
        QVERIFY(f.overlay.isBuilt());
        QQuickWindow *window = f.overlay.window();
        QVERIFY(!window->isVisible());
        QVERIFY(window->flags().testFlag(Qt::Tool));
        QVERIFY(window->flags().testFlag(Qt::FramelessWindowHint));
        QVERIFY(window->flags().testFlag(Qt::WindowStaysOnTopHint));
        QCOMPARE(window->color(), QColor(Qt::transparent));
        QCOMPARE(f.maps, 0);
    }

    void showResetsTheStateAndZoomsIn()
    {
        Fixture f;
        f.state.setTab(Tab::category(f.category));
        f.state.setQuery(QStringLiteral("3"));
        f.state.setIsRenaming(true);
        f.state.setPendingRenameID(f.category);
        f.state.setSelection({f.store.history().first().id});
        f.state.setSelectionAnchor(0);
        f.state.setGridColumns(9);
        f.overlay.show();
        QVERIFY(f.overlay.isVisible());
        QCOMPARE(f.overlay.window()->geometry(),
                 OverlayWindow::panelGeometry(f.overlay.window()->screen()->availableGeometry()));
        QVERIFY(f.state.tab().isHistory());
        QCOMPARE(f.state.query(), QString());
        QCOMPARE(f.state.isRenaming(), false);
        QCOMPARE(f.state.pendingRenameID(), std::nullopt);
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        // The zoom-in starts on the next turn, from zero.
        QCOMPARE(f.state.appearance(), 0.0);
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
        // The grid wrote its real column count on the way.
        QVERIFY(f.state.gridColumns() != 9);
        QCOMPARE(f.maps, 1);
    }

    void showingAgainReplaysTheZoomIn()
    {
        Fixture f;
        f.showAndWait();
        f.overlay.show();
        QCOMPARE(f.state.appearance(), 0.0);
        QTRY_COMPARE_WITH_TIMEOUT(f.state.appearance(), 1.0, 5000);
        QVERIFY(f.overlay.isVisible());
        // Already mapped: no second round of window hints.
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
    }

    void showWhileHidingIsStillTakenAwayByThePendingOrderOut()
    {
        Fixture f;
        f.showAndWait();
        f.overlay.hide();
        f.overlay.show();
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    void keysReachTheRulesBeforeAnyControl()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QTest::keyClick(window, Qt::Key_Right);
        QCOMPARE(f.state.selectionAnchor(), 0);
        QTest::keyClick(window, Qt::Key_Right);
        QTest::keyClick(window, Qt::Key_Right);
        QCOMPARE(f.state.selectionAnchor(), 2);
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(f.picked, QStringList{"2"});
    }

    void typingStartsASearchThatTheFieldTakesOver()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        QTest::keyClick(window, Qt::Key_3);
        QCOMPARE(f.state.query(), "3");
        QVERIFY(f.state.searchFocused());
        QTRY_VERIFY(window->activeFocusItem()
                    && window->activeFocusItem()->objectName() == u"searchInput");
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

    void ctrlFFocusesTheSearchAndCtrlDigitsSwitchLists()
    {
        Fixture f;
        f.showAndWait();
        QQuickWindow *window = f.overlay.window();
        int beeps = 0;
        f.overlay.onBeep = [&beeps] { ++beeps; };
        QTest::keyClick(window, Qt::Key_2, Qt::ControlModifier);
        QCOMPARE(f.state.tab(), Tab::category(f.category));
        QTest::keyClick(window, Qt::Key_3, Qt::ControlModifier);
        QCOMPARE(beeps, 1);
        QTest::keyClick(window, Qt::Key_1, Qt::ControlModifier);
        QVERIFY(f.state.tab().isHistory());
        QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier);
        QTRY_VERIFY(window->activeFocusItem()
                    && window->activeFocusItem()->objectName() == u"searchInput");
    }

    void escapeCloses()
    {
        Fixture f;
        f.showAndWait();
        QTest::keyClick(f.overlay.window(), Qt::Key_Escape);
        QVERIFY(f.overlay.isHiding());
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    void anOpenMenuTakesTheKeys()
    {
        Fixture f;
        f.showAndWait();
        f.overlay.grid()->setMenuOpen(true);
        QTest::keyClick(f.overlay.window(), Qt::Key_Escape);
        QTest::keyClick(f.overlay.window(), Qt::Key_Right);
        QVERIFY(!f.overlay.isHiding());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        f.overlay.grid()->setMenuOpen(false);
    }

    void losingFocusHidesTheOverlay()
    {
        Fixture f;
        f.showAndWait();
        QWindow other;
        other.resize(100, 100);
        other.show();
        other.requestActivate();
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.isVisible(), 5000);
    }

    void losingFocusToThePreviewKeepsTheOverlay()
    {
        Fixture f;
        bool previewVisible = true;
        f.overlay.isPreviewVisible = [&previewVisible] { return previewVisible; };
        f.showAndWait();
        QWindow preview;
        preview.resize(100, 100);
        preview.show();
        preview.requestActivate();
        QTRY_VERIFY_WITH_TIMEOUT(!f.overlay.window()->isActive(), 5000);
        QTest::qWait(OverlayWindow::kResignDelayMs + OverlayWindow::kOrderOutDelayMs + 100);
        QVERIFY(f.overlay.isVisible());
        QVERIFY(!f.overlay.isHiding());
    }

    void focusBackInTimeKeepsTheOverlay()
    {
        Fixture f;
        f.showAndWait();
        QWindow other;
        other.resize(100, 100);
        other.show();
        other.requestActivate();
        // Taken back before the 0.05 s check runs.
        f.overlay.window()->requestActivate();
        QTRY_VERIFY_WITH_TIMEOUT(f.overlay.window()->isActive(), 5000);
        QTest::qWait(OverlayWindow::kResignDelayMs + OverlayWindow::kOrderOutDelayMs + 100);
        QVERIFY(f.overlay.isVisible());
    }
};

QTEST_MAIN(OverlayWindowTest)
#include "tst_overlaywindow.moc"
