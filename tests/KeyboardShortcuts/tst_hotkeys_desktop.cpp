// Hot keys on a real X server: this test starts its own Xvfb and openbox, registers shortcuts
// through the application's registry and X11 backend, and presses keys with xdotool (XTest),
// as a user at the keyboard would.

#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Registry.h"
#include "KeyboardShortcuts/SystemKeyboard.h"
#include "KeyboardShortcuts/x11/X11Keymap.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

using namespace KeyboardShortcuts;

namespace {

constexpr int kTimeout = 20000;

const Shortcut kShiftSuperV(Key::v, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kShiftSuperB(Key::b, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kShiftSuperX(Key::x, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kCtrlAltK(Key::k, ModifierFlag::control | ModifierFlag::option);
const Name kToggle(QStringLiteral("toggleOverlay"), kShiftSuperV);
// Pressed after the key under test: once its handler ran, every earlier event was handled.
const Name kSentinel(QStringLiteral("sentinel"), kShiftSuperX);

// Xvfb on a display it picks itself (-displayfd), so parallel runs never collide, and openbox.
class VirtualDesktop
{
public:
    ~VirtualDesktop()
    {
        stop(m_openbox);
        stop(m_xvfb);
    }

    bool start(QByteArray *error)
    {
        int pipeFds[2];
        if (pipe(pipeFds) != 0) {
            *error = "pipe failed";
            return false;
        }
        fcntl(pipeFds[0], F_SETFD, FD_CLOEXEC);
        const QByteArray fd = QByteArray::number(pipeFds[1]);
        m_xvfb = spawn(
            {"Xvfb", "-displayfd", fd.constData(), "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
        close(pipeFds[1]);
        QByteArray number;
        pollfd poller{pipeFds[0], POLLIN, 0};
        while (!number.endsWith('\n') && poll(&poller, 1, kTimeout) > 0) {
            char buffer[16];
            const ssize_t count = read(pipeFds[0], buffer, sizeof buffer);
            if (count <= 0)
                break;
            number.append(buffer, count);
        }
        close(pipeFds[0]);
        if (m_xvfb < 0 || number.trimmed().isEmpty()) {
            *error = "Xvfb did not start";
            return false;
        }
        qputenv("DISPLAY", ':' + number.trimmed());
        m_openbox = spawn({"openbox"});
        return true;
    }

private:
    static pid_t spawn(std::initializer_list<const char *> arguments)
    {
        QList<char *> argv;
        for (const char *argument : arguments)
            argv.append(const_cast<char *>(argument));
        argv.append(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        pid_t pid = -1;
        if (posix_spawnp(&pid, argv.front(), &actions, nullptr, argv.data(), environ) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        return pid;
    }

    static void stop(pid_t pid)
    {
        if (pid <= 0)
            return;
        kill(pid, SIGTERM);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    pid_t m_xvfb = -1;
    pid_t m_openbox = -1;
};

// Another program on the same display, with a connection of its own.
class OtherClient
{
public:
    OtherClient()
        : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~OtherClient() { xcb_disconnect(m_connection); }

    bool grabKey(quint8 keycode, quint16 modifiers)
    {
        xcb_generic_error_t *error = xcb_request_check(m_connection,
                                                       xcb_grab_key_checked(m_connection,
                                                                            0,
                                                                            m_root,
                                                                            modifiers,
                                                                            keycode,
                                                                            XCB_GRAB_MODE_ASYNC,
                                                                            XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return !error;
    }

    // Whether some client holds the whole keyboard (an open menu does).
    bool keyboardIsGrabbed()
    {
        xcb_grab_keyboard_reply_t *reply
            = xcb_grab_keyboard_reply(m_connection,
                                      xcb_grab_keyboard(m_connection,
                                                        0,
                                                        m_root,
                                                        XCB_CURRENT_TIME,
                                                        XCB_GRAB_MODE_ASYNC,
                                                        XCB_GRAB_MODE_ASYNC),
                                      nullptr);
        const bool grabbed = reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
        if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS)
            xcb_ungrab_keyboard(m_connection, XCB_CURRENT_TIME);
        std::free(reply);
        xcb_flush(m_connection);
        return grabbed;
    }

    quint16 modifierState()
    {
        xcb_query_pointer_reply_t *reply = xcb_query_pointer_reply(m_connection,
                                                                   xcb_query_pointer(m_connection,
                                                                                     m_root),
                                                                   nullptr);
        const quint16 mask = reply ? reply->mask : 0;
        std::free(reply);
        return mask;
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root = 0;
};

// Counts the presses of one key that reach the root window (the grab's events).
class RootPressCounter final : public QAbstractNativeEventFilter
{
public:
    explicit RootPressCounter(quint8 keycode)
        : m_keycode(keycode)
    {
        qApp->installNativeEventFilter(this);
    }
    ~RootPressCounter() override { qApp->removeNativeEventFilter(this); }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if (type == "xcb_generic_event_t" && (event->response_type & 0x7f) == XCB_KEY_PRESS
            && reinterpret_cast<const xcb_key_press_event_t *>(event)->detail == m_keycode)
            ++presses;
        return false;
    }

    int presses = 0;

private:
    quint8 m_keycode;
};

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(kTimeout) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        qWarning() << program << arguments << "failed:" << process.readAllStandardError();
        return false;
    }
    return true;
}

bool xdotool(const QStringList &arguments)
{
    return run(QStringLiteral("xdotool"), arguments);
}

} // namespace

class TestHotKeysDesktop : public QObject
{
    Q_OBJECT

public:
    explicit TestHotKeysDesktop(QByteArray desktopError)
        : m_desktopError(std::move(desktopError))
    {}

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void shortcutReachesTheHandlerOnce_data();
    void shortcutReachesTheHandlerOnce();
    void heldShortcutFiresOnce();
    void keyHeldByAnotherProgramGivesTheDiagnostic();
    void changedShortcutMovesTheGrab();
    void shortcutReachesTheHandlerWhileAMenuIsOpen();
    void layoutGivesTheCharactersAndKeysKeepTheirPlace();

private:
    X11Keymap &keymap() { return static_cast<X11Keymap &>(*m_keyboard.layout); }
    bool pressSentinelAndWait();

    QByteArray m_desktopError;
    SystemKeyboard m_keyboard;
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Registry> m_registry;
    int m_toggleDown = 0;
    int m_toggleUp = 0;
    int m_sentinelDown = 0;
};

void TestHotKeysDesktop::initTestCase()
{
    if (m_desktopError == "no Xvfb")
        QSKIP("Xvfb is not installed");
    QVERIFY2(m_desktopError.isEmpty(), m_desktopError.constData());
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
    QVERIFY(m_dir.isValid());
    m_keyboard = SystemKeyboard::create();
    QVERIFY(dynamic_cast<X11Keymap *>(m_keyboard.layout.get()));
    setCurrentKeyboardLayout(m_keyboard.layout.get());
}

void TestHotKeysDesktop::cleanupTestCase()
{
    setCurrentKeyboardLayout(nullptr);
    m_keyboard = {};
}

void TestHotKeysDesktop::init()
{
    m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("settings.ini")),
                                             QSettings::IniFormat);
    m_settings->clear();
    m_registry = std::make_unique<Registry>(*m_settings, *m_keyboard.hotKeys);
    m_toggleDown = m_toggleUp = m_sentinelDown = 0;
    m_registry->onKeyDown(kToggle, [this] { ++m_toggleDown; });
    m_registry->onKeyUp(kToggle, [this] { ++m_toggleUp; });
    m_registry->onKeyDown(kSentinel, [this] { ++m_sentinelDown; });
    QVERIFY(m_registry->isEnabled(kToggle));
    QVERIFY(m_registry->isEnabled(kSentinel));
}

void TestHotKeysDesktop::cleanup()
{
    // Leave no lock on for the next test.
    OtherClient client;
    const quint16 state = client.modifierState();
    if (state & XCB_MOD_MASK_LOCK)
        xdotool({"key", "Caps_Lock"});
    if (state & keymap().numLockMask())
        xdotool({"key", "Num_Lock"});
    QCoreApplication::sendPostedEvents();
    m_registry.reset();
    m_settings.reset();
}

bool TestHotKeysDesktop::pressSentinelAndWait()
{
    return xdotool({"key", "shift+super+x"})
           && QTest::qWaitFor([this] { return m_sentinelDown > 0; }, kTimeout)
           && m_sentinelDown == 1;
}

void TestHotKeysDesktop::shortcutReachesTheHandlerOnce_data()
{
    QTest::addColumn<bool>("numLock");
    QTest::addColumn<bool>("capsLock");

    QTest::newRow("no lock") << false << false;
    QTest::newRow("Num Lock on") << true << false;
    QTest::newRow("Caps Lock on") << false << true;
    QTest::newRow("Num Lock and Caps Lock on") << true << true;
}

void TestHotKeysDesktop::shortcutReachesTheHandlerOnce()
{
    QFETCH(bool, numLock);
    QFETCH(bool, capsLock);

    const quint16 numLockMask = keymap().numLockMask();
    QVERIFY(numLockMask != 0);
    if (numLock)
        QVERIFY(xdotool({"key", "Num_Lock"}));
    if (capsLock)
        QVERIFY(xdotool({"key", "Caps_Lock"}));
    OtherClient client;
    const quint16 expected = (numLock ? numLockMask : 0) | (capsLock ? XCB_MOD_MASK_LOCK : 0);
    QTRY_COMPARE_WITH_TIMEOUT(client.modifierState() & (numLockMask | XCB_MOD_MASK_LOCK),
                              expected,
                              kTimeout);

    QVERIFY(xdotool({"key", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
    QCOMPARE(m_toggleUp, 1);
    // The plain key is not the shortcut.
    QVERIFY(xdotool({"key", "v", "super+v", "shift+v"}));
    m_sentinelDown = 0;
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
}

void TestHotKeysDesktop::heldShortcutFiresOnce()
{
    const RootPressCounter counter(*keymap().keycode(Key::v));
    QVERIFY(xdotool({"keydown", "shift+super+v"}));
    // A new keymap announced meanwhile (as on every switch between a keyboard and XTest)
    // leaves the held key alone.
    QVERIFY(run(QStringLiteral("setxkbmap"), {"-layout", "us"}));
    // The server's auto-repeat sends more presses while the key is held.
    QTRY_VERIFY_WITH_TIMEOUT(counter.presses >= 3, kTimeout);
    QVERIFY(xdotool({"keyup", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
    QCOMPARE(m_toggleUp, 1);
}

void TestHotKeysDesktop::keyHeldByAnotherProgramGivesTheDiagnostic()
{
    // The other program holds Ctrl+Alt+K exactly (without the lock variants).
    OtherClient holder;
    const quint8 k = *keymap().keycode(Key::k);
    const quint16 ctrlAlt = *keymap().modifierMask(kCtrlAltK.carbonModifiers);
    QVERIFY(holder.grabKey(k, ctrlAlt));

    const Name taken(QStringLiteral("taken"), kCtrlAltK);
    int takenDown = 0;
    QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+K: 10");
    m_registry->onKeyDown(taken, [&] { ++takenDown; });
    QVERIFY(!m_registry->isEnabled(taken));

    // None of the lock variants was kept: the other program can take those too.
    QVERIFY(holder.grabKey(k, ctrlAlt | XCB_MOD_MASK_LOCK));
    QVERIFY(holder.grabKey(k, ctrlAlt | keymap().numLockMask()));

    // The other shortcuts still work, and the taken one goes to its holder.
    QVERIFY(xdotool({"key", "ctrl+alt+k", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
    QCOMPARE(takenDown, 0);
}

void TestHotKeysDesktop::changedShortcutMovesTheGrab()
{
    m_registry->setShortcut(kShiftSuperB, kToggle);
    QVERIFY(xdotool({"key", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 0);

    // The old combination is free for other programs again.
    OtherClient client;
    QVERIFY(client.grabKey(*keymap().keycode(Key::v),
                           *keymap().modifierMask(kShiftSuperV.carbonModifiers)));

    QVERIFY(xdotool({"key", "shift+super+b"}));
    QTRY_COMPARE_WITH_TIMEOUT(m_toggleDown, 1, kTimeout);

    // Cleared and set again, it is grabbed again.
    m_registry->setShortcut(std::nullopt, kToggle);
    QVERIFY(!m_registry->isEnabled(kToggle));
    m_registry->setShortcut(kShiftSuperB, kToggle);
    QVERIFY(m_registry->isEnabled(kToggle));
    QVERIFY(xdotool({"key", "shift+super+b"}));
    QTRY_COMPARE_WITH_TIMEOUT(m_toggleDown, 2, kTimeout);
}

void TestHotKeysDesktop::shortcutReachesTheHandlerWhileAMenuIsOpen()
{
    QMenu menu;
    int triggered = 0;
    menu.addAction(QStringLiteral("Item"), [&] { ++triggered; });
    menu.popup(QPoint(100, 100));
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    // The menu holds the keyboard, so X activates no passive grab.
    OtherClient client;
    QTRY_VERIFY_WITH_TIMEOUT(client.keyboardIsGrabbed(), kTimeout);

    QVERIFY(xdotool({"key", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
    QCOMPARE(m_toggleUp, 1);
    // The menu did not see the keys.
    QVERIFY(menu.isVisible());
    QCOMPARE(triggered, 0);
    menu.close();
}

void TestHotKeysDesktop::layoutGivesTheCharactersAndKeysKeepTheirPlace()
{
    const Shortcut superZ(Key::z, ModifierFlag::command);
    QCOMPARE(superZ.presentableDescription(), QStringLiteral("Super+Z"));
    const quint8 zPosition = *keymap().keycode(Key::z);

    QVERIFY(run(QStringLiteral("setxkbmap"), {"-layout", "de"}));
    const auto restore = qScopeGuard([] { run(QStringLiteral("setxkbmap"), {"-layout", "us"}); });
    QTRY_COMPARE_WITH_TIMEOUT(superZ.presentableDescription(), QStringLiteral("Super+Y"), kTimeout);
    QCOMPARE(Shortcut(Key::y, {}).keyText(), QStringLiteral("Z"));
    QCOMPARE(Shortcut(Key::minus, {}).keyText(), QStringLiteral("ß"));
    QCOMPARE(Shortcut(Key::semicolon, {}).keyText(), QStringLiteral("Ö"));
    QCOMPARE(Shortcut(Key::backtick, {}).keyText(), QStringLiteral("^"));
    QCOMPARE(Shortcut(Key::space, {}).keyText(), QStringLiteral("Space"));

    // A key event maps to the key's position whatever the layout types there.
    QCOMPARE(keymap().keycode(Key::z), zPosition);
    const QKeyEvent event(QEvent::KeyPress, Qt::Key_Y, Qt::MetaModifier, zPosition, 0, 0);
    QCOMPARE(Shortcut::fromEvent(event), superZ);

    // The grabs stayed on their keys.
    QVERIFY(xdotool({"key", "shift+super+v"}));
    QVERIFY(pressSentinelAndWait());
    QCOMPARE(m_toggleDown, 1);
}

int main(int argc, char *argv[])
{
    VirtualDesktop desktop;
    QByteArray desktopError;
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
        desktopError = "no Xvfb";
    else
        desktop.start(&desktopError);
    qputenv("QT_QPA_PLATFORM", desktopError.isEmpty() ? "xcb" : "offscreen");

    QApplication app(argc, argv);
    TestHotKeysDesktop test(desktopError);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hotkeys_desktop.moc"
