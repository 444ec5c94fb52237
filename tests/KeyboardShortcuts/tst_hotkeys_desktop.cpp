// Hot keys on a real X server: shortcuts registered through the application's registry and X11
// backend, keys pressed with xdotool (XTest) as a user at the keyboard would.

#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Registry.h"
#include "KeyboardShortcuts/SystemKeyboard.h"
#include "KeyboardShortcuts/x11/X11Keymap.h"
#include "common/Programs.h"

#include <QAbstractNativeEventFilter>
#include <QKeyEvent>
#include <QMenu>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>

using namespace KeyboardShortcuts;
using namespace Qt::StringLiterals;

namespace {

constexpr int kTimeout = 20000;

const Shortcut kShiftSuperV(Key::v, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kShiftSuperX(Key::x, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kCtrlAltK(Key::k, ModifierFlag::control | ModifierFlag::option);
const Name kToggle(QStringLiteral("toggleOverlay"), kShiftSuperV);
// Pressed after the keys under test: once its handler ran, every earlier event was handled.
const Name kSentinel(QStringLiteral("sentinel"), kShiftSuperX);

// Another program on the same display, with a connection of its own.
class OtherClient
{
public:
    OtherClient() { m_root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root; }
    ~OtherClient() { xcb_disconnect(c); }

    bool grabKey(quint8 keycode, quint16 modifiers)
    {
        const auto grab = xcb_grab_key_checked(c, 0, m_root, modifiers, keycode, kAsync, kAsync);
        xcb_generic_error_t *error = xcb_request_check(c, grab);
        std::free(error);
        return !error;
    }

    // Whether some client holds the whole keyboard (an open menu does).
    bool keyboardIsGrabbed()
    {
        const auto grab = xcb_grab_keyboard(c, 0, m_root, XCB_CURRENT_TIME, kAsync, kAsync);
        xcb_grab_keyboard_reply_t *reply = xcb_grab_keyboard_reply(c, grab, nullptr);
        const bool grabbed = reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
        if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS)
            xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
        std::free(reply);
        xcb_flush(c);
        return grabbed;
    }

    quint16 modifierState()
    {
        auto *reply = xcb_query_pointer_reply(c, xcb_query_pointer(c, m_root), nullptr);
        const quint16 mask = reply ? reply->mask : 0;
        std::free(reply);
        return mask;
    }

private:
    static constexpr auto kAsync = XCB_GRAB_MODE_ASYNC;
    xcb_connection_t *c = xcb_connect(nullptr, nullptr);
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

bool xdotool(const QStringList &arguments)
{
    return Programs::succeeds(QStringLiteral("xdotool"), arguments);
}

bool setLayout(const char *layout)
{
    return Programs::succeeds(QStringLiteral("setxkbmap"), {"-layout", layout});
}

// Loads the server's keymap again with Num Lock on another modifier bit, as xkbcomp does.
bool moveNumLockTo(const QByteArray &modifier)
{
    const QString display = qEnvironmentVariable("DISPLAY");
    QProcess dump;
    dump.start(QStringLiteral("xkbcomp"), {QStringLiteral("-xkb"), display, QStringLiteral("-")});
    if (!dump.waitForFinished(kTimeout) || dump.exitCode() != 0)
        return false;
    QByteArray map = dump.readAllStandardOutput();
    const QByteArray numLock = "modifier_map Mod2 { <NMLK> };";
    if (!map.contains(numLock))
        return false;
    map.replace(numLock, QByteArray("modifier_map " + modifier + " { <NMLK> };"));
    QProcess load;
    load.start(QStringLiteral("xkbcomp"), {QStringLiteral("-"), display});
    load.write(map);
    load.closeWriteChannel();
    return load.waitForFinished(kTimeout) && load.exitCode() == 0;
}

} // namespace

class TestHotKeysDesktop : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        QVERIFY(m_dir.isValid());
        m_keyboard = SystemKeyboard::create();
        QVERIFY(dynamic_cast<X11Keymap *>(m_keyboard.layout.get()));
        setCurrentKeyboardLayout(m_keyboard.layout.get());
    }

    void cleanupTestCase()
    {
        setCurrentKeyboardLayout(nullptr);
        m_keyboard = {};
    }

    void init()
    {
        m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("settings.ini")),
                                                 QSettings::IniFormat);
        m_settings->clear();
        m_registry = std::make_unique<Registry>(*m_settings, *m_keyboard.hotKeys);
        m_toggleDown = m_toggleUp = 0;
        m_registry->onKeyDown(kToggle, [this] { ++m_toggleDown; });
        m_registry->onKeyUp(kToggle, [this] { ++m_toggleUp; });
        m_registry->onKeyDown(kSentinel, [this] { ++m_sentinelDown; });
        QVERIFY(m_registry->isEnabled(kToggle));
        QVERIFY(m_registry->isEnabled(kSentinel));
    }

    void cleanup()
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

    void shortcutReachesTheHandlerOnce_data()
    {
        QTest::addColumn<bool>("numLock");
        QTest::addColumn<bool>("capsLock");
        QTest::addColumn<bool>("held");

        QTest::newRow("no lock") << false << false << false;
        QTest::newRow("Num Lock on") << true << false << false;
        QTest::newRow("Caps Lock on") << false << true << false;
        QTest::newRow("held while the server repeats it") << false << false << true;
    }

    void shortcutReachesTheHandlerOnce()
    {
        QFETCH(bool, numLock);
        QFETCH(bool, capsLock);
        QFETCH(bool, held);

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

        if (held) {
            const RootPressCounter counter(*keymap().keycode(Key::v));
            QVERIFY(xdotool({"keydown", "shift+super+v"}));
            // A new keymap announced meanwhile (as on every switch between a keyboard and XTest)
            // leaves the held key alone.
            QVERIFY(setLayout("us"));
            // The server's auto-repeat sends more presses while the key is held.
            QTRY_VERIFY_WITH_TIMEOUT(counter.presses >= 3, kTimeout);
            QVERIFY(xdotool({"keyup", "shift+super+v"}));
        } else {
            QVERIFY(xdotool({"key", "shift+super+v"}));
        }
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(m_toggleDown, 1);
        QCOMPARE(m_toggleUp, 1);
        // The plain key is not the shortcut.
        QVERIFY(xdotool({"key", "v", "super+v", "shift+v"}));
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(m_toggleDown, 1);
    }

    void keyHeldByAnotherProgramGivesTheDiagnostic()
    {
        // The other program holds Ctrl+Alt+K exactly (without the lock variants).
        auto holder = std::make_unique<OtherClient>();
        const quint8 k = *keymap().keycode(Key::k);
        const quint16 ctrlAlt = *keymap().modifierMask(kCtrlAltK.carbonModifiers);
        QVERIFY(holder->grabKey(k, ctrlAlt));

        const Name taken(QStringLiteral("taken"), kCtrlAltK);
        int takenDown = 0;
        QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+K: 10");
        m_registry->onKeyDown(taken, [&] { ++takenDown; });
        QVERIFY(!m_registry->isEnabled(taken));

        // None of the lock variants was kept: the other program can take those too.
        QVERIFY(holder->grabKey(k, ctrlAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(holder->grabKey(k, ctrlAlt | keymap().numLockMask()));

        // The other shortcuts still work, and the taken one goes to its holder.
        QVERIFY(xdotool({"key", "ctrl+alt+k", "shift+super+v"}));
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(m_toggleDown, 1);
        QCOMPARE(takenDown, 0);
        QVERIFY(m_registry->isRefused(taken));

        // Once the other program is gone, asking again (as reopening Preferences does) wins it.
        holder.reset();
        // The server frees the grabs once it has seen the connection close.
        QTRY_VERIFY_WITH_TIMEOUT((m_registry->retryRefused(), m_registry->isEnabled(taken)),
                                 kTimeout);
        QVERIFY(!m_registry->isRefused(taken));
        QVERIFY(xdotool({"key", "ctrl+alt+k"}));
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(takenDown, 1);
    }

    // A new keymap moves Num Lock to a bit on which another program already holds the key:
    // the re-grab is refused, and that is reported, not dropped in silence.
    void aRefusedReGrabAfterANewKeymapIsReported()
    {
        const quint8 k = *keymap().keycode(Key::k);
        const quint16 ctrlAlt = *keymap().modifierMask(kCtrlAltK.carbonModifiers);
        const Name name(QStringLiteral("regrabbed"), kCtrlAltK);
        m_registry->onKeyDown(name, [] {});
        QVERIFY(m_registry->isEnabled(name));
        QSignalSpy changed(m_registry.get(), &Registry::registrationsChanged);

        auto holder = std::make_unique<OtherClient>();
        QVERIFY(holder->grabKey(k, ctrlAlt | XCB_MOD_MASK_3));
        QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+K: 10");
        const auto restore = qScopeGuard([] { setLayout("us"); });
        QVERIFY(moveNumLockTo("Mod3"));
        QTRY_VERIFY_WITH_TIMEOUT(m_registry->isRefused(name), kTimeout);
        QVERIFY(!changed.isEmpty());
        // The other shortcuts kept their grabs.
        QVERIFY(m_registry->isEnabled(kToggle));

        // The holder gone, the next new keymap brings it back by itself.
        holder.reset();
        QVERIFY(setLayout("us"));
        QTRY_VERIFY_WITH_TIMEOUT(m_registry->isEnabled(name), kTimeout);
    }

    // The keys of PC keyboards that the Carbon table lacked can be grabbed and pressed.
    void pcKeysWork_data()
    {
        QTest::addColumn<qint64>("key");
        QTest::addColumn<QString>("keysym");
        QTest::newRow("Insert") << Key::insert.rawValue << u"Insert"_s;
        QTest::newRow("Print") << Key::printScreen.rawValue << u"Print"_s;
    }
    void pcKeysWork()
    {
        QFETCH(qint64, key);
        QFETCH(QString, keysym);
        QVERIFY(keymap().keycode(Key(key)));
        QVERIFY(!keymap().typesCharacterInAnyLayout(Key(key)));
        const Name name(QStringLiteral("pc"), Shortcut(Key(key), ModifierFlag::command));
        int down = 0;
        m_registry->onKeyDown(name, [&] { ++down; });
        QVERIFY(m_registry->isEnabled(name));
        QVERIFY(xdotool({"key", u"super+"_s + keysym}));
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(down, 1);
    }

    void shortcutReachesTheHandlerWhileAMenuIsOpen()
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

    void layoutGivesTheCharactersAndKeysKeepTheirPlace()
    {
        const Shortcut superZ(Key::z, ModifierFlag::command);
        QCOMPARE(superZ.presentableDescription(), QStringLiteral("Super+Z"));
        const quint8 zPosition = *keymap().keycode(Key::z);

        // The first layout gives the characters shown; a letter types a character in some
        // installed layout, a function key in none.
        QVERIFY(setLayout("de,ru"));
        const auto restore = qScopeGuard([] { setLayout("us"); });
        QTRY_COMPARE_WITH_TIMEOUT(superZ.presentableDescription(),
                                  QStringLiteral("Super+Y"),
                                  kTimeout);
        QCOMPARE(Shortcut(Key::semicolon, {}).keyText(), QStringLiteral("Ö"));
        QVERIFY(keymap().typesCharacterInAnyLayout(Key::q));
        QVERIFY(!keymap().typesCharacterInAnyLayout(Key::f5));

        // A key event maps to the key's position whatever the layout types there.
        QCOMPARE(keymap().keycode(Key::z), zPosition);
        const QKeyEvent event(QEvent::KeyPress, Qt::Key_Y, Qt::MetaModifier, zPosition, 0, 0);
        QCOMPARE(Shortcut::fromEvent(event), superZ);

        // The grabs stayed on their keys.
        QVERIFY(xdotool({"key", "shift+super+v"}));
        QVERIFY(pressSentinelAndWait());
        QCOMPARE(m_toggleDown, 1);
    }

private:
    X11Keymap &keymap() { return static_cast<X11Keymap &>(*m_keyboard.layout); }
    bool pressSentinelAndWait();

    SystemKeyboard m_keyboard;
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Registry> m_registry;
    int m_toggleDown = 0;
    int m_toggleUp = 0;
    int m_sentinelDown = 0;
};

bool TestHotKeysDesktop::pressSentinelAndWait()
{
    m_sentinelDown = 0;
    return xdotool({"key", "shift+super+x"})
           && QTest::qWaitFor([this] { return m_sentinelDown > 0; }, kTimeout)
           && m_sentinelDown == 1;
}

QTEST_MAIN(TestHotKeysDesktop)
#include "tst_hotkeys_desktop.moc"
