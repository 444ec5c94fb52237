// The tray icon in a real tray: trayer provides the panel's tray on a private X server, and the
// icon is clicked with xdotool as a user would.

#include "app/AppPrefs.h"
#include "app/ui/TrayIcon.h"
#include "common/Programs.h"

#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

namespace {

constexpr int kTimeout = 20000;

bool xdotool(const QString &arguments)
{
    return Programs::succeeds(QStringLiteral("xdotool"), arguments.split(u' '));
}

QByteArray windowClass(xcb_connection_t *connection, xcb_window_t window)
{
    xcb_get_property_reply_t *reply = xcb_get_property_reply(
        connection,
        xcb_get_property(connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
        nullptr);
    if (!reply)
        return {};
    const QByteArray value(static_cast<const char *>(xcb_get_property_value(reply)),
                           xcb_get_property_value_length(reply));
    free(reply);
    return value.split('\0').value(1);
}

QList<xcb_window_t> childWindows(xcb_connection_t *connection, xcb_window_t window)
{
    QList<xcb_window_t> result;
    xcb_query_tree_reply_t *tree = xcb_query_tree_reply(connection,
                                                        xcb_query_tree(connection, window),
                                                        nullptr);
    if (!tree)
        return result;
    const xcb_window_t *list = xcb_query_tree_children(tree);
    for (int i = 0; i < xcb_query_tree_children_length(tree); ++i)
        result.append(list[i]);
    free(tree);
    return result;
}

bool isViewable(xcb_connection_t *connection, xcb_window_t window)
{
    xcb_get_window_attributes_reply_t *attributes
        = xcb_get_window_attributes_reply(connection,
                                          xcb_get_window_attributes(connection, window),
                                          nullptr);
    const bool viewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    free(attributes);
    return viewable;
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
        m_connection = xcb_connect(nullptr, nullptr);
        QVERIFY(!xcb_connection_has_error(m_connection));
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;

        m_programs.start(QStringLiteral("trayer"),
                         QStringLiteral("--edge top --align right --widthtype request --height 28 "
                                        "--SetDockType true --expand true")
                             .split(u' '));
        // The tray is there once it owns the system tray selection.
        const QByteArray selection = "_NET_SYSTEM_TRAY_S0";
        xcb_intern_atom_reply_t *atom = xcb_intern_atom_reply(m_connection,
                                                              xcb_intern_atom(m_connection,
                                                                              0,
                                                                              selection.size(),
                                                                              selection.constData()),
                                                              nullptr);
        QVERIFY(atom);
        const xcb_atom_t trayAtom = atom->atom;
        free(atom);
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                xcb_get_selection_owner_reply_t *owner
                    = xcb_get_selection_owner_reply(m_connection,
                                                    xcb_get_selection_owner(m_connection, trayAtom),
                                                    nullptr);
                const bool owned = owner && owner->owner != XCB_WINDOW_NONE;
                free(owner);
                return owned;
            }(),
            kTimeout);
    }

    void init()
    {
        m_prefs = std::make_unique<AppPrefs>(
            std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("p.conf")),
                                        QSettings::IniFormat));
    }

    void cleanupTestCase()
    {
        m_programs.stopAll();
        if (m_connection)
            xcb_disconnect(m_connection);
    }

    void iconInTheTrayFollowsTheSetting()
    {
        TrayIcon tray(*m_prefs);
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);

        m_prefs->setShowInMenuBar(false);
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() == 0, kTimeout);

        m_prefs->setPaused(true);
        m_prefs->setShowInMenuBar(true);
        QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);
    }

    void leftClickTogglesAndRightClickOpensTheMenu()
    {
        TrayIcon tray(*m_prefs);
        QSignalSpy toggled(&tray, &TrayIcon::toggleOverlayRequested);
        xcb_window_t icon = 0;
        QTRY_VERIFY_WITH_TIMEOUT((icon = embeddedIcon()) != 0, kTimeout);
        const QPoint centre = iconCentre(icon);
        QVERIFY(!centre.isNull());

        QVERIFY(xdotool(QStringLiteral("mousemove %1 %2").arg(centre.x()).arg(centre.y())));
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
    xcb_window_t embeddedIcon();
    QPoint iconCentre(xcb_window_t icon);

    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = 0;
    Programs m_programs;
    QTemporaryDir m_dir;
    std::unique_ptr<AppPrefs> m_prefs;
};

xcb_window_t TestTrayDesktop::embeddedIcon()
{
    // Depth-first through the tree, remembering whether we are inside trayer's windows.
    QList<std::pair<xcb_window_t, bool>> pending{{m_root, false}};
    while (!pending.isEmpty()) {
        const auto [window, insideTray] = pending.takeLast();
        const QByteArray windowClassName = windowClass(m_connection, window);
        if (insideTray && windowClassName == "Cliphaven" && isViewable(m_connection, window))
            return window;
        for (const xcb_window_t child : childWindows(m_connection, window))
            pending.append({child, insideTray || windowClassName == "trayer"});
    }
    return 0;
}

QPoint TestTrayDesktop::iconCentre(xcb_window_t icon)
{
    xcb_get_geometry_reply_t *geometry = xcb_get_geometry_reply(m_connection,
                                                                xcb_get_geometry(m_connection, icon),
                                                                nullptr);
    xcb_translate_coordinates_reply_t *position = xcb_translate_coordinates_reply(
        m_connection, xcb_translate_coordinates(m_connection, icon, m_root, 0, 0), nullptr);
    QPoint centre;
    if (geometry && position)
        centre = QPoint(position->dst_x + geometry->width / 2,
                        position->dst_y + geometry->height / 2);
    free(geometry);
    free(position);
    return centre;
}

QTEST_MAIN(TestTrayDesktop)
#include "tst_tray_desktop.moc"
