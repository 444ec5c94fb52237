// The portal clients against a stand-in portal on a private session bus that each test starts:
// pasting through RemoteDesktop (approval, the saved restore token, refusal, silence, a token
// the portal no longer honours) and the global shortcut through GlobalShortcuts.
#include "KeyboardShortcuts/Registry.h"
#include "fakes/FakeKeyPoster.h"
#include "platform/portal/PortalHotKeyBackend.h"
#include "platform/portal/RemoteDesktopKeyPoster.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using Problem = RemoteDesktopKeyPoster::Problem;
using State = RemoteDesktopKeyPoster::State;

namespace {

constexpr int kGenerous = 20000;
// Portals that answer get all the time a loaded machine may need; only the cases of a portal
// that never answers use short deadlines, so that they end soon.
constexpr RemoteDesktopKeyPoster::Deadlines kDeadlines{kGenerous, kGenerous};
constexpr RemoteDesktopKeyPoster::Deadlines kShortDeadlines{1500, 1500};

// A dbus-daemon of its own (no service activation, so nothing real answers for the portal)
// and the fake portal on it.
class PrivateBus
{
public:
    PrivateBus()
    {
        QFile config(m_dir.filePath(QStringLiteral("bus.conf")));
        config.open(QIODevice::WriteOnly);
        config.write(QStringLiteral("<busconfig><type>session</type>"
                                    "<listen>unix:dir=%1</listen><auth>EXTERNAL</auth>"
                                    "<policy context=\"default\">"
                                    "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                    "<allow eavesdrop=\"true\"/><allow own=\"*\"/>"
                                    "</policy></busconfig>")
                         .arg(m_dir.path())
                         .toUtf8());
        config.close();
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=") + config.fileName(),
                        QStringLiteral("--nofork"),
                        QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForReadyRead(kGenerous))
            qFatal("dbus-daemon did not start");
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        m_name = QStringLiteral("portal-test-%1").arg(++s_count);
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(m_address, m_name));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
        m_portal.setProcessEnvironment(environment);
        m_portal.setProcessChannelMode(QProcess::ForwardedChannels);
        m_portal.start(QStringLiteral(FAKE_PORTAL), {});
        if (!QTest::qWaitFor(
                [this] {
                    return m_bus->interface()->isServiceRegistered(
                        QStringLiteral("org.freedesktop.portal.Desktop"));
                },
                kGenerous))
            qFatal("the fake portal did not appear");
    }
    ~PrivateBus()
    {
        m_bus.reset();
        QDBusConnection::disconnectFromBus(m_name);
        for (QProcess *process : {&m_portal, &m_daemon}) {
            process->kill();
            process->waitForFinished(5000);
        }
    }

    QDBusConnection &bus() { return *m_bus; }

    // A call on the fake's control object.
    QVariant control(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message
            = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                             QStringLiteral("/control"),
                                             QStringLiteral("org.cliphaven.FakePortal"),
                                             method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_bus->call(message, QDBus::Block, kGenerous);
        if (reply.type() != QDBusMessage::ReplyMessage)
            qFatal("fake portal control %s failed", qPrintable(method));
        return reply.arguments().value(0);
    }
    QStringList calls() { return control(QStringLiteral("Calls")).toStringList(); }
    QStringList keysyms() { return control(QStringLiteral("Keysyms")).toStringList(); }

private:
    static inline int s_count = 0;
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QProcess m_portal;
    QString m_address;
    QString m_name;
    std::unique_ptr<QDBusConnection> m_bus;
};

// The keysyms a portal is sent for each keystroke, pressed (1) and released (0).
const QStringList kControlV{"ffe3:1", "76:1", "76:0", "ffe3:0"};
const QStringList kControlShiftV{"ffe3:1", "ffe1:1", "76:1", "76:0", "ffe1:0", "ffe3:0"};
const QStringList kShiftInsert{"ffe1:1", "ff63:1", "ff63:0", "ffe1:0"};

QStringList matching(const QStringList &calls, const QString &prefix)
{
    QStringList found;
    for (const QString &call : calls) {
        if (call.startsWith(prefix))
            found.append(call);
    }
    return found;
}

const Name kToggle{QStringLiteral("toggleOverlay"),
                   Shortcut(Key::v, ModifierFlag::shift | ModifierFlag::command)};

struct ShortcutRig
{
    explicit ShortcutRig(QDBusConnection &bus, int deadlineMs = kGenerous)
        : backend(bus,
                  QStringLiteral("toggle-overlay"),
                  QStringLiteral("Open or close Cliphaven"),
                  deadlineMs)
        , registry(settings, backend)
    {}

    QTemporaryDir dir;
    QSettings settings{dir.filePath(QStringLiteral("prefs.conf")), QSettings::IniFormat};
    PortalHotKeyBackend backend;
    Registry registry;
};

} // namespace

class TestPortal : public QObject
{
    Q_OBJECT

private slots:
    void approvedOnceThenTypedWithoutAsking()
    {
        PrivateBus portal;
        QString saved;
        {
            RemoteDesktopKeyPoster keys(portal.bus(), {}, false, nullptr, kDeadlines);
            QSignalSpy tokens(&keys, &RemoteDesktopKeyPoster::restoreTokenChanged);
            QVERIFY(keys.isTrusted());
            keys.postPasteKeystroke(PasteKeystroke::controlV);
            QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms(), kControlV, kGenerous);
            QCOMPARE(keys.state(), State::ready);
            QCOMPARE(tokens.size(), 1);
            saved = tokens.first().first().toString();
            QVERIFY(!saved.isEmpty());
            // The second paste, a terminal's, reuses the session.
            keys.postPasteKeystroke(PasteKeystroke::controlShiftV);
            QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms(), kControlV + kControlShiftV, kGenerous);
            QCOMPARE(matching(portal.calls(), "RemoteDesktop.CreateSession").size(), 1);
            QCOMPARE(matching(portal.calls(), "SelectDevices"),
                     QStringList{QStringLiteral("SelectDevices types=1 persist=2 token=")});
            // From here on the portal would refuse to ask: only a restore succeeds. The desktop
            // closes the session, and the next paste reopens it with the token.
            portal.control(QStringLiteral("SetStartAnswer"), {QStringLiteral("cancel")});
            portal.control(QStringLiteral("CloseSessions"));
            QTRY_COMPARE_WITH_TIMEOUT(keys.state(), State::idle, kGenerous);
            keys.postPasteKeystroke(PasteKeystroke::shiftInsert);
            QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms(),
                                      kControlV + kControlShiftV + kShiftInsert,
                                      kGenerous);
        }
        // The next run starts with the saved token.
        RemoteDesktopKeyPoster keys(portal.bus(), saved, false, nullptr, kDeadlines);
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms().size(), 18, kGenerous);
        QCOMPARE(matching(portal.calls(), "Start"),
                 (QStringList{QStringLiteral("Start asked"),
                              QStringLiteral("Start restored"),
                              QStringLiteral("Start restored")}));
    }

    void refusalIsRememberedAndExplainedOnce()
    {
        PrivateBus portal;
        portal.control(QStringLiteral("SetStartAnswer"), {QStringLiteral("cancel")});
        FakeKeyPoster next;
        RemoteDesktopKeyPoster keys(portal.bus(), {}, false, &next, kDeadlines);
        QSignalSpy problems(&keys, &RemoteDesktopKeyPoster::problem);
        QSignalSpy refused(&keys, &RemoteDesktopKeyPoster::refusedChanged);
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QTRY_COMPARE_WITH_TIMEOUT(keys.state(), State::refused, kGenerous);
        QCOMPARE(problems.size(), 1);
        QCOMPARE(problems.first().first().value<Problem>(), Problem::refused);
        QCOMPARE(refused.size(), 1);
        QCOMPARE(refused.first().first().toBool(), true);
        // The user's no covers every way of typing: nothing falls through, nothing is asked again.
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QTest::qWait(200);
        QVERIFY(next.keystrokes.isEmpty());
        QCOMPARE(problems.size(), 1);
        QCOMPARE(matching(portal.calls(), "Start").size(), 1);
        QVERIFY(portal.keysyms().isEmpty());

        // Remembered across runs: a poster made refused asks nothing at all.
        RemoteDesktopKeyPoster later(portal.bus(), {}, true, nullptr, kDeadlines);
        QVERIFY(!later.isTrusted());
        later.postPasteKeystroke(PasteKeystroke::controlV);
        QTest::qWait(200);
        QCOMPARE(matching(portal.calls(), "RemoteDesktop.CreateSession").size(), 1);
        // Until the user asks for it again from Preferences.
        portal.control(QStringLiteral("SetStartAnswer"), {QStringLiteral("approve")});
        later.askAgain();
        later.postPasteKeystroke(PasteKeystroke::controlV);
        QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms(), kControlV, kGenerous);
    }

    void silentPortalGivesUpAtTheDeadline()
    {
        PrivateBus portal;
        portal.control(QStringLiteral("SetStartAnswer"), {QStringLiteral("never")});
        RemoteDesktopKeyPoster keys(portal.bus(), {}, false, nullptr, kShortDeadlines);
        QSignalSpy problems(&keys, &RemoteDesktopKeyPoster::problem);
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        // Nothing waits meanwhile: the event loop runs, and the call returned at once.
        QCOMPARE(keys.state(), State::probing);
        QTRY_COMPARE_WITH_TIMEOUT(problems.size(), 1, kGenerous);
        QCOMPARE(problems.first().first().value<Problem>(), Problem::noAnswer);
        QCOMPARE(keys.state(), State::unavailable);
        // The unanswered prompt is withdrawn and the half-made session closed.
        QTRY_VERIFY_WITH_TIMEOUT(portal.calls().contains(QStringLiteral("Request.Close")),
                                 kGenerous);
        QTRY_VERIFY_WITH_TIMEOUT(portal.calls().contains(QStringLiteral("Session.Close")),
                                 kGenerous);
        // Explained once: later pastes in this run do not ask or explain again.
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QTest::qWait(200);
        QCOMPARE(problems.size(), 1);
        QCOMPARE(matching(portal.calls(), "Start").size(), 1);
    }

    void rejectedTokenAsksOnceMore()
    {
        QFETCH(QString, userAnswer);
        QFETCH(bool, typed);
        PrivateBus portal;
        portal.control(QStringLiteral("SetStartAnswer"), {userAnswer});
        // A token from an earlier install the portal no longer knows.
        RemoteDesktopKeyPoster keys(portal.bus(),
                                    QStringLiteral("stale"),
                                    false,
                                    nullptr,
                                    kDeadlines);
        QSignalSpy tokens(&keys, &RemoteDesktopKeyPoster::restoreTokenChanged);
        QSignalSpy problems(&keys, &RemoteDesktopKeyPoster::problem);
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QTRY_VERIFY_WITH_TIMEOUT(keys.state() != State::probing && keys.state() != State::opening
                                     && keys.state() != State::idle,
                                 kGenerous);
        QCOMPARE(matching(portal.calls(), "Start"),
                 (QStringList{QStringLiteral("Start restored"), QStringLiteral("Start asked")}));
        // The stale token is forgotten at once, whatever the user answers next.
        QVERIFY(!tokens.isEmpty());
        QCOMPARE(tokens.first().first().toString(), QString());
        if (typed) {
            QTRY_COMPARE_WITH_TIMEOUT(portal.keysyms(), kControlV, kGenerous);
            QVERIFY(!keys.restoreToken().isEmpty());
        } else {
            QCOMPARE(problems.size(), 1);
        }
        // Never a loop: whatever happened, no third prompt follows.
        QTest::qWait(300);
        QCOMPARE(matching(portal.calls(), "Start").size(), 2);
    }

    void rejectedTokenAsksOnceMore_data()
    {
        QTest::addColumn<QString>("userAnswer");
        QTest::addColumn<bool>("typed");
        QTest::newRow("approved when asked again") << QStringLiteral("approve") << true;
        QTest::newRow("refused when asked again") << QStringLiteral("cancel") << false;
    }

    void failedSessionFallsThroughToTheNextPoster()
    {
        QFETCH(QString, control);
        QFETCH(QVariant, argument);
        PrivateBus portal;
        portal.control(control, {argument});
        FakeKeyPoster next;
        RemoteDesktopKeyPoster keys(portal.bus(), {}, false, &next, kDeadlines);
        QSignalSpy problems(&keys, &RemoteDesktopKeyPoster::problem);
        keys.postPasteKeystroke(PasteKeystroke::controlShiftV);
        QTRY_COMPARE_WITH_TIMEOUT(next.keystrokes.size(), 1, kGenerous);
        QCOMPARE(next.keystrokes.first(), PasteKeystroke::controlShiftV);
        QCOMPARE(keys.state(), State::unavailable);
        QVERIFY(problems.isEmpty());
        // From then on keystrokes go straight to the next poster, and trust is its own.
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        QCOMPARE(next.keystrokes, (QList{PasteKeystroke::controlShiftV, PasteKeystroke::controlV}));
        next.trusted = false;
        QVERIFY(!keys.isTrusted());
    }

    void failedSessionFallsThroughToTheNextPoster_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QVariant>("argument");
        // xdg-desktop-portal 1.16 advertises interfaces whose backend then fails.
        QTest::newRow("session refused by the backend")
            << QStringLiteral("SetCreateAnswer") << QVariant(QStringLiteral("fail"));
        QTest::newRow("interface not offered")
            << QStringLiteral("SetOffered") << QVariant(QStringList{});
        QTest::newRow("no keyboard among the devices")
            << QStringLiteral("SetDeviceTypes") << QVariant(2u);
    }

    // The desktop may keep a trigger of its own choosing, and that is what is shown. Activated
    // is a press; releasing is none, nor is another id. Recording another shortcut binds again
    // in the same session; once the desktop ends it, nothing is shown as bound.
    void shortcutIsBoundShownActivatedAndRebound()
    {
        PrivateBus portal;
        portal.control(QStringLiteral("SetBoundTrigger"), {QStringLiteral("Ctrl+Alt+H")});
        ShortcutRig rig(portal.bus());
        QSignalSpy shown(&rig.backend, &PortalHotKeyBackend::boundTriggerChanged);
        int presses = 0;
        rig.registry.onKeyDown(kToggle, [&] { ++presses; });
        QTRY_COMPARE_WITH_TIMEOUT(rig.backend.boundTrigger(),
                                  QStringLiteral("Ctrl+Alt+H"),
                                  kGenerous);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(rig.backend.state(), PortalHotKeyBackend::State::ready);

        portal.control(QStringLiteral("EmitActivated"), {QStringLiteral("toggle-overlay")});
        portal.control(QStringLiteral("EmitDeactivated"), {QStringLiteral("toggle-overlay")});
        portal.control(QStringLiteral("EmitActivated"), {QStringLiteral("someone-else")});
        QTRY_COMPARE_WITH_TIMEOUT(presses, 1, kGenerous);
        QTest::qWait(300);
        QCOMPARE(presses, 1);

        portal.control(QStringLiteral("SetBoundTrigger"), {QString()});
        rig.registry.setShortcut(Shortcut(Key::c, ModifierFlag::control | ModifierFlag::option),
                                 kToggle);
        QTRY_COMPARE_WITH_TIMEOUT(rig.backend.boundTrigger(),
                                  QStringLiteral("CTRL+ALT+c"),
                                  kGenerous);
        QCOMPARE(shown.size(), 2);
        QCOMPARE(matching(portal.calls(), "BindShortcuts"),
                 (QStringList{QStringLiteral("BindShortcuts toggle-overlay SHIFT+LOGO+v"),
                              QStringLiteral("BindShortcuts toggle-overlay CTRL+ALT+c")}));
        QCOMPARE(matching(portal.calls(), "GlobalShortcuts.CreateSession").size(), 1);

        portal.control(QStringLiteral("CloseSessions"));
        QTRY_COMPARE_WITH_TIMEOUT(rig.backend.state(),
                                  PortalHotKeyBackend::State::unavailable,
                                  kGenerous);
        QVERIFY(rig.backend.boundTrigger().isEmpty());
    }

    void noShortcutSessionRefusesLikeNoHotKeys()
    {
        QFETCH(QString, control);
        QFETCH(QString, answer);
        PrivateBus portal;
        portal.control(control, {answer});
        ShortcutRig rig(portal.bus(), kShortDeadlines.requestMs);
        // A registration is accepted while the session is being made, and bound once it is.
        QCOMPARE(rig.backend.registerHotKey(1, kToggle.defaultShortcut.value()), 0);
        QTRY_COMPARE_WITH_TIMEOUT(rig.backend.state(),
                                  PortalHotKeyBackend::State::unavailable,
                                  kGenerous);
        // Registering again, as the registry does then, is refused like on a desktop without
        // global shortcuts, so Preferences says what to do instead.
        rig.backend.unregisterHotKey(1);
        QCOMPARE(rig.backend.registerHotKey(2, kToggle.defaultShortcut.value()),
                 HotKeyBackend::kUnsupported);
        QVERIFY(rig.backend.boundTrigger().isEmpty());
    }

    void noShortcutSessionRefusesLikeNoHotKeys_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("answer");
        const QString create = QStringLiteral("SetCreateAnswer");
        const QString bind = QStringLiteral("SetBindAnswer");
        QTest::newRow("backend fails the session") << create << QStringLiteral("fail");
        QTest::newRow("binding never answered") << bind << QStringLiteral("never");
    }
};

QTEST_MAIN(TestPortal)
#include "tst_portal.moc"
