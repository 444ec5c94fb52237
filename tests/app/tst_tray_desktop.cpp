// The tray icon in a real tray: trayer provides the panel's tray on a private X server, and the
// icon is clicked with xdotool as a user would.

#include "app/ui/TrayIcon.h"
#include "common/Programs.h"
#include "common/TestPrefs.h"

#include <QMenu>
#include <QSignalSpy>
#include <QTest>

#include <xcb/xcb.h>

#include <memory>

namespace {

constexpr int kTimeout = 20000;

bool xdotool(const QString &arguments)
{
    return Programs::succeeds(QStringLiteral("xdotool"), arguments.split(u' '));
}

// An xcb reply, freed with free().
template<class Reply>
std::unique_ptr<Reply, decltype(&free)> owned(Reply *reply)
{
    return {reply, &free};
}

} // namespace

class TestTrayDesktop : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The tray window's WM_CLASS says "Cliphaven", as the program's does.
        QCoreApplication::setApplicationName(QStringLiteral("Cliphaven"));
        QVERIFY(!xcb_connection_has_error(c));
        m_programs.start(QStringLiteral("trayer"),
                         QStringLiteral("--edge top --align right --widthtype request --height 28 "
                                        "--SetDockType true --expand true")
                             .split(u' '));
        // The tray is there once it owns the system tray selection.
        const auto atom = owned(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 19, "_NET_SYSTEM_TRAY_S0"), nullptr));
        QVERIFY(atom);
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                const auto cookie = xcb_get_selection_owner(c, atom->atom);
                const auto owner = owned(xcb_get_selection_owner_reply(c, cookie, nullptr));
                return owner && owner->owner != XCB_WINDOW_NONE;
            }(),
            kTimeout);
    }

    void init() { m_test = std::make_unique<TestPrefs>(); }

    void cleanupTestCase()
    {
        m_programs.stopAll();
        xcb_disconnect(c);
    }

    void iconInTheTrayFollowsTheSetting()
    {
        TrayIcon tray(m_test->prefs);
        tray.followPreferences();
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);
        m_test->prefs.setShowInMenuBar(false);
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() == 0, kTimeout);
        m_test->prefs.setPaused(true);
        m_test->prefs.setShowInMenuBar(true);
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);
    }

    void leftClickTogglesAndRightClickOpensTheMenu()
    {
        TrayIcon tray(m_test->prefs);
        QSignalSpy toggled(&tray, &TrayIcon::toggleOverlayRequested);
        xcb_window_t icon = 0;
        QTRY_VERIFY_WITH_TIMEOUT((icon = embeddedIcon()) != 0, kTimeout);
        const auto cookie = xcb_translate_coordinates(c, icon, m_root, 0, 0);
        const auto position = owned(xcb_translate_coordinates_reply(c, cookie, nullptr));
        const auto size = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, icon), nullptr));
        QVERIFY(position && size);
        QVERIFY(xdotool(QStringLiteral("mousemove %1 %2")
                            .arg(position->dst_x + size->width / 2)
                            .arg(position->dst_y + size->height / 2)));
        // The pointer settles before the click (xdotool clicks too early otherwise).
        QTest::qWait(200);
        QVERIFY(xdotool(QStringLiteral("click 1")));
        QTRY_COMPARE_WITH_TIMEOUT(toggled.size(), 1, kTimeout);

        QVERIFY(xdotool(QStringLiteral("click 3")));
        QTRY_VERIFY_WITH_TIMEOUT(tray.menu()->isVisible(), kTimeout);
        QCOMPARE(toggled.size(), 1);
        QVERIFY(xdotool(QStringLiteral("key Escape")));
        QTRY_VERIFY_WITH_TIMEOUT(!tray.menu()->isVisible(), kTimeout);

        // After the menu, a left click toggles again.
        QVERIFY(xdotool(QStringLiteral("click 1")));
        QTRY_COMPARE_WITH_TIMEOUT(toggled.size(), 2, kTimeout);
        QVERIFY(!tray.menu()->isVisible());
    }

private:
    // The window of our icon embedded in trayer's panel and shown; 0 when there is none.
    xcb_window_t embeddedIcon()
    {
        // Depth-first through the tree, remembering whether we are inside trayer's windows.
        QList<std::pair<xcb_window_t, bool>> pending{{m_root, false}};
        while (!pending.isEmpty()) {
            const auto [window, insideTray] = pending.takeLast();
            const auto property
                = xcb_get_property(c, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64);
            const auto reply = owned(xcb_get_property_reply(c, property, nullptr));
            const QByteArray windowClass
                = reply ? QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                                     xcb_get_property_value_length(reply.get()))
                              .split('\0')
                              .value(1)
                        : QByteArray();
            const auto attributes = owned(
                xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
            if (insideTray && windowClass == "Cliphaven" && attributes
                && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
                return window;
            const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
            for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i)
                pending.append({xcb_query_tree_children(tree.get())[i],
                                insideTray || windowClass == "trayer"});
        }
        return 0;
    }

    xcb_connection_t *c = xcb_connect(nullptr, nullptr);
    xcb_window_t m_root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    Programs m_programs;
    std::unique_ptr<TestPrefs> m_test;
};

QTEST_MAIN(TestTrayDesktop)
#include "tst_tray_desktop.moc"
