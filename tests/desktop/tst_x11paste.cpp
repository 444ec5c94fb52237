// Paste-back into a real application (zenity) on a real X server, the X11 workspace, and key
// posting with and without the XTest extension. Runs under a private Xvfb with openbox.

#include "common/CaptureRig.h"
#include "common/Programs.h"
#include "platform/x11/X11KeyPoster.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QGuiApplication>
#include <QSignalSpy>

using namespace std::chrono_literals;

using Rig = CaptureRig<X11Pasteboard, X11Workspace, X11KeyPoster>;

class X11PasteTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // GTK would otherwise wait for an accessibility bus that is not there.
        qputenv("NO_AT_BRIDGE", "1");
        QVERIFY2(QGuiApplication::platformName() == u"xcb", "run this test on an X server");
    }

    void init()
    {
        r = std::make_unique<Rig>();
        r->monitor.start();
    }

    void cleanup()
    {
        m_programs.stopAll();
        r.reset();
    }

    void copyWhileIgnoredApplicationIsInFrontIsSkipped()
    {
        QSignalSpy delivered(&r->monitor, &ClipboardMonitor::onNew);
        r->prefs.setIgnoredApps({QStringLiteral("Zenity")});
        QVERIFY(startZenity("Vault").window != 0);
        for (const char *text : {"private", "public"}) {
            const qint64 before = r->pasteboard.changeCount();
            m_programs
                .start("xclip",
                       QStringLiteral("-quiet -selection clipboard -t UTF8_STRING -i").split(u' '),
                       text,
                       true);
            QTRY_VERIFY_WITH_TIMEOUT(r->pasteboard.changeCount() > before, 20000);
            QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
            r->prefs.setIgnoredApps({});
        }
        QTRY_COMPARE_WITH_TIMEOUT(delivered.size(), 1, 20000);
        QCOMPARE(delivered.at(0).at(0).value<ClipItem>().text, QStringLiteral("public"));
    }

    // With Shift still held from the overlay's shortcut, as users do.
    void pickedItemPastesIntoTheRememberedWindow()
    {
        QSignalSpy delivered(&r->monitor, &ClipboardMonitor::onNew);

        QProcess *targetProcess = nullptr;
        const RunningApplication target = startZenity("Target", &targetProcess);
        QVERIFY(target.window != 0);
        // The overlay opens on the screen of this window: its frame is on the desktop.
        const std::optional<QRect> frame = r->workspace.windowFrame(target);
        QVERIFY(frame && !frame->isEmpty());
        QVERIFY(QRect(0, 0, 1920, 1080).contains(frame->center()));
        QVERIFY(!r->workspace.windowFrame(RunningApplication{0x7ffffff, {}, 0}));
        // The target is no longer in front when the item is picked.
        QVERIFY(startZenity("Elsewhere").window != 0);

        const QString text = QStringLiteral("Pasted by Cliphaven ✓ 42");
        ClipItem item = ClipItem::makeText(text);
        item.flavors = Flavors{{"UTF8_STRING", text.toUtf8()}, {"text/html", "<b>Pasted</b>"}};
        Programs::run("xdotool", {"keydown", "shift"});

        QVERIFY(r->keys.isTrusted());
        r->paster.paste(item, target, r->monitor);
        QTRY_COMPARE_WITH_TIMEOUT(r->workspace.frontmostApplication()
                                      .value_or(RunningApplication{})
                                      .window,
                                  target.window,
                                  20000);
        // The keystroke follows 0.12 s later; the entry then fetches the text from this process,
        // which answers from its event loop.
        QTest::qWait(3000);
        Programs::run("xdotool", {"keyup", "shift"});
        Programs::run("xdotool", {"key", "Return"});

        QTRY_COMPARE_WITH_TIMEOUT(targetProcess->state(), QProcess::NotRunning, 20000);
        QCOMPARE(QString::fromUtf8(targetProcess->readAllStandardOutput()), text + u'\n');
        QCOMPARE(r->alerts, 0);
        QCOMPARE(r->pastePlays, 1);
        // The paste-back itself never became a new history entry.
        QCOMPARE(delivered.size(), 0);
    }

    void withoutXTestThePasteStaysOnTheClipboardAndAlerts()
    {
        // A second X server without the extension; Xvfb writes its display number to stdout.
        QProcess *server
            = m_programs.start("Xvfb",
                               {"-displayfd", "1", "-extension", "XTEST", "-nolisten", "tcp"});
        QTRY_VERIFY_WITH_TIMEOUT(server->canReadLine(), 20000);
        const QByteArray display = ':' + server->readLine().trimmed();
        X11KeyPoster keys(display);
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke();

        Paster paster(r->pasteboard, r->workspace, keys, r->sounds, r->prefs);
        int alerts = 0;
        paster.setAlertPresenter([&] { ++alerts; });
        paster.paste(ClipItem::makeText(QStringLiteral("by hand")), std::nullopt, r->monitor);
        QTRY_COMPARE_WITH_TIMEOUT(alerts, 1, 5000);
        QCOMPARE(QString::fromUtf8(
                     Programs::run("xclip", {"-o", "-selection", "clipboard"}).value_or("")),
                 QStringLiteral("by hand"));
    }

    void withoutDisplayNothingIsTrustedOrFound()
    {
        const QByteArray missing(":4093");
        X11KeyPoster keys(missing);
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke();
        X11Workspace workspace(missing);
        QVERIFY(!workspace.isConnected());
        QVERIFY(!workspace.frontmostApplication());
        workspace.activate(RunningApplication{1, "x", 2});
        QVERIFY(!workspace.windowFrame(RunningApplication{1, "x", 2}));
    }

private:
    RunningApplication startZenity(const QString &title, QProcess **process = nullptr);

    Programs m_programs;
    std::unique_ptr<Rig> r;
};

RunningApplication X11PasteTest::startZenity(const QString &title, QProcess **process)
{
    QProcess *zenity = m_programs.start(QStringLiteral("zenity"),
                                        {"--entry", "--title=" + title, "--text=" + title});
    if (process)
        *process = zenity;
    std::optional<RunningApplication> app;
    // openbox gives a new window the focus; it is in front once the window manager says so.
    const bool inFront = QTest::qWaitFor(
        [&] {
            app = r->workspace.frontmostApplication();
            return app && app->pid == zenity->processId();
        },
        30000);
    return inFront ? *app : RunningApplication{};
}

QTEST_MAIN(X11PasteTest)
#include "tst_x11paste.moc"
