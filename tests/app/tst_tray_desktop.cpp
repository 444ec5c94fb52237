// The tray icon in a real tray: this test starts its own X server (Xvfb) with trayer as the
// panel's tray, and clicks the icon with xdotool as a user would. Skipped when Xvfb, trayer or
// xdotool is not installed.

#include "app/AppPrefs.h"
#include "app/ui/TrayIcon.h"

#include <QApplication>
#include <QMenu>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr int kTimeout = 20000;

pid_t spawn(const QList<QByteArray> &arguments)
{
    std::vector<char *> argv;
    for (const QByteArray &argument : arguments)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
        return -1;
    return pid;
}

void stop(pid_t pid)
{
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
}

// Starts Xvfb on a display it chooses itself (-displayfd) and returns that display's name.
QByteArray startXvfb(pid_t *pid)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    *pid = spawn({"Xvfb",
                  "-displayfd",
                  QByteArray::number(fds[1]),
                  "-screen",
                  "0",
                  "1024x600x24",
                  "-nolisten",
                  "tcp"});
    close(fds[1]);
    QByteArray number;
    pollfd poller{fds[0], POLLIN, 0};
    while (!number.endsWith('\n') && poll(&poller, 1, kTimeout) > 0) {
        char buffer[16];
        const ssize_t count = read(fds[0], buffer, sizeof buffer);
        if (count <= 0)
            break;
        number.append(buffer, count);
    }
    close(fds[0]);
    return number.trimmed().isEmpty() ? QByteArray() : ':' + number.trimmed();
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

public:
    static inline QByteArray s_skipReason;

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void iconInTheTrayFollowsTheSetting();
    void leftClickTogglesAndRightClickOpensTheMenu();

private:
    // The window of our icon embedded in trayer's panel and shown; 0 when there is none.
    xcb_window_t embeddedIcon();
    QPoint iconCentre(xcb_window_t icon);
    void xdotool(const QStringList &arguments);

    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = 0;
    pid_t m_trayer = -1;
    QTemporaryDir m_dir;
    std::unique_ptr<AppPrefs> m_prefs;
};

void TestTrayDesktop::initTestCase()
{
    if (!s_skipReason.isEmpty())
        QSKIP(s_skipReason.constData());
    m_connection = xcb_connect(nullptr, nullptr);
    QVERIFY(!xcb_connection_has_error(m_connection));
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;

    m_trayer = spawn({"trayer",
                      "--edge",
                      "top",
                      "--align",
                      "right",
                      "--widthtype",
                      "request",
                      "--height",
                      "28",
                      "--SetDockType",
                      "true",
                      "--expand",
                      "true"});
    QVERIFY(m_trayer > 0);
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

void TestTrayDesktop::init()
{
    m_prefs = std::make_unique<AppPrefs>(
        std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("p.conf")), QSettings::IniFormat));
}

void TestTrayDesktop::cleanupTestCase()
{
    stop(m_trayer);
    if (m_connection)
        xcb_disconnect(m_connection);
}

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

void TestTrayDesktop::xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    QVERIFY(process.waitForFinished(kTimeout));
}

void TestTrayDesktop::iconInTheTrayFollowsTheSetting()
{
    TrayIcon tray(*m_prefs);
    QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);

    m_prefs->setShowInMenuBar(false);
    QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() == 0, kTimeout);

    m_prefs->setPaused(true);
    m_prefs->setShowInMenuBar(true);
    QTRY_VERIFY_WITH_TIMEOUT(embeddedIcon() != 0, kTimeout);
}

void TestTrayDesktop::leftClickTogglesAndRightClickOpensTheMenu()
{
    TrayIcon tray(*m_prefs);
    QSignalSpy toggled(&tray, &TrayIcon::toggleOverlayRequested);
    xcb_window_t icon = 0;
    QTRY_VERIFY_WITH_TIMEOUT((icon = embeddedIcon()) != 0, kTimeout);
    const QPoint centre = iconCentre(icon);
    QVERIFY(!centre.isNull());

    xdotool({QStringLiteral("mousemove"), QString::number(centre.x()), QString::number(centre.y())});
    // The pointer settles before the click (xdotool clicks too early otherwise).
    QTest::qWait(200);
    xdotool({QStringLiteral("click"), QStringLiteral("1")});
    QTRY_COMPARE_WITH_TIMEOUT(toggled.size(), 1, kTimeout);

    xdotool({QStringLiteral("click"), QStringLiteral("3")});
    QTRY_VERIFY_WITH_TIMEOUT(tray.menu()->isVisible(), kTimeout);
    QCOMPARE(toggled.size(), 1);
    xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
    QTRY_VERIFY_WITH_TIMEOUT(!tray.menu()->isVisible(), kTimeout);

    // After the menu, a left click toggles again.
    xdotool({QStringLiteral("click"), QStringLiteral("1")});
    QTRY_COMPARE_WITH_TIMEOUT(toggled.size(), 2, kTimeout);
    QVERIFY(!tray.menu()->isVisible());
}

int main(int argc, char *argv[])
{
    pid_t xvfb = -1;
    for (const char *program : {"Xvfb", "trayer", "xdotool"}) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
            TestTrayDesktop::s_skipReason = QByteArray(program) + " is not installed";
    }
    if (TestTrayDesktop::s_skipReason.isEmpty()) {
        const QByteArray display = startXvfb(&xvfb);
        if (display.isEmpty()) {
            TestTrayDesktop::s_skipReason = "Xvfb did not start";
        } else {
            qputenv("DISPLAY", display);
            qputenv("QT_QPA_PLATFORM", "xcb");
        }
    }
    int status = 0;
    {
        QApplication app(argc, argv);
        // The tray window's WM_CLASS says "Cliphaven", as the program's does.
        QApplication::setApplicationName(QStringLiteral("Cliphaven"));
        TestTrayDesktop test;
        status = QTest::qExec(&test, argc, argv);
    }
    stop(xvfb);
    return status;
}

#include "tst_tray_desktop.moc"
