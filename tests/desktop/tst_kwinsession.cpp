// KDE Plasma's compositor for real (a private headless KWin): it lends its fake input device and
// its window list only to a program whose desktop entry asks for them; then the window in front
// is known by its app_id and process, its output is where the overlay opens, the open windows
// are listed, a window is brought back to the front, and the paste keystroke reaches GTK
// programs, even while a modifier of the shortcut is still held. (foot 1.13 cannot run here: it
// divides by the output's physical size, which KWin's virtual output reports as -1.)

#include "common/Programs.h"
#include "platform/wayland/KWinKeyPoster.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandWorkspace.h"

#include "fake-input-client-protocol.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <linux/input-event-codes.h>

class KWinSessionTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("CLIPHAVEN_KWIN_APPLICATIONS"),
                 "run this test in the headless KWin session (scripts/with-kwin.sh)");
        QVERIFY(m_dir.isValid());
    }

    void cleanup() { m_programs.stopAll(); }

    // Runs first: the entry is written by the next test.
    void withoutItsDesktopEntryNothingIsLent()
    {
        KWinKeyPoster keys;
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        WaylandWorkspace workspace;
        QVERIFY(!workspace.isActive());
        QVERIFY(!workspace.frontmostApplication());
    }

    void itsDesktopEntryGrantsFakeInputAndWindows()
    {
        // What the installed entry says, for this program's own file.
        QFile entry(qEnvironmentVariable("CLIPHAVEN_KWIN_APPLICATIONS") + "/kwinsession.desktop");
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=KWin session test\nExec="
                    + QCoreApplication::applicationFilePath().toUtf8()
                    + " --no-op\nX-KDE-Wayland-Interfaces=org_kde_kwin_fake_input,"
                      "org_kde_plasma_window_management\n");
        entry.close();
        // KWin rereads the entries when a program connects after they changed.
        QTRY_VERIFY_WITH_TIMEOUT(KWinKeyPoster().isTrusted(), 20000);
        WaylandWorkspace workspace;
        QVERIFY(workspace.isActive());
        QCOMPARE(workspace.protocolName(), QStringLiteral("org_kde_plasma_window_management"));
    }

    // Keys are found where the seat's layout has them: on Dvorak, V is the key US calls the
    // full stop (the rig runs KWin with CLIPHAVEN_KWIN_KEYBOARD_LAYOUT for that).
    void keysAreWhereTheSeatsLayoutHasThem()
    {
        const bool dvorak = qgetenv("CLIPHAVEN_KWIN_KEYBOARD_LAYOUT") == "us(dvorak)";
        KWinKeyPoster keys;
        QVERIFY(keys.isTrusted());
        QCOMPARE(keys.keyCode(XKB_KEY_v), quint32(dvorak ? KEY_DOT : KEY_V));
        QCOMPARE(keys.keyCode(XKB_KEY_Insert), quint32(KEY_INSERT));
        QCOMPARE(keys.keyCode(XKB_KEY_Control_L), quint32(KEY_LEFTCTRL));
    }

    // Two outputs side by side (the test runs with CLIPHAVEN_KWIN_OUTPUTS=2); KWin opens a window
    // on the output under the pointer.
    void activeWindowIsFrontmostByItsAppId()
    {
        WaylandWorkspace workspace;
        QVERIFY(workspace.isActive());
        movePointer(QPoint(300, 300));
        const QProcess *firstProcess = startWindow("first");
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("first"), 20000);
        const RunningApplication first = *workspace.frontmostApplication();
        QCOMPARE(first.pid, firstProcess->processId());
        movePointer(QPoint(1900, 400));
        startWindow("second");
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("second"), 20000);
        const RunningApplication second = *workspace.frontmostApplication();
        QCOMPARE(workspace.applicationIdentifiers(), (QStringList{"first", "second"}));

        // The overlay opens on the output the window is on.
        QCOMPARE(workspace.windowFrame(first), QRect(0, 0, 1280, 800));
        QCOMPARE(workspace.windowFrame(second), QRect(1280, 0, 1280, 800));
        workspace.activate(first);
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("first"), 20000);

        // A window that has gone is neither in front nor anywhere.
        m_programs.stopAll();
        QTRY_VERIFY_WITH_TIMEOUT(workspace.applicationIdentifiers().isEmpty(), 20000);
        QVERIFY(!workspace.frontmostApplication());
        QVERIFY(!workspace.windowFrame(first));
        workspace.activate(first);
    }

    // Into a VTE terminal (lxterminal running cat into a file: Ctrl+Shift+V pastes, Ctrl+V does
    // not) and a GTK entry (zenity, which prints it on Return: Ctrl+V pastes).
    void pasteKeystrokeReachesTheFocusedProgram_data()
    {
        QTest::addColumn<PasteKeystroke>("keystroke");
        QTest::addColumn<bool>("intoTerminal");
        QTest::addColumn<quint32>("heldModifier");
        QTest::newRow("Ctrl+V into an entry") << PasteKeystroke::controlV << false << 0u;
        QTest::newRow("Ctrl+Shift+V into a terminal")
            << PasteKeystroke::controlShiftV << true << 0u;
        QTest::newRow("Super still held from the shortcut")
            << PasteKeystroke::controlShiftV << true << quint32(KEY_LEFTMETA);
    }

    void pasteKeystrokeReachesTheFocusedProgram()
    {
        QFETCH(PasteKeystroke, keystroke);
        QFETCH(bool, intoTerminal);
        QFETCH(quint32, heldModifier);
        const QString expected = QStringLiteral("copied ✓");
        m_programs.start("wl-copy", {"--foreground"}, "copied ✓", true);
        WaylandWorkspace workspace;
        KWinKeyPoster keys;
        QVERIFY(keys.isTrusted());
        const QString pasted = m_dir.filePath("pasted");
        QFile::remove(pasted);
        QProcess *target = nullptr;
        if (intoTerminal) {
            target = startGtk("lxterminal",
                              {"--no-remote", "-e", "sh", "-c", "cat >'" + pasted + "'"});
        } else {
            target = startGtk("zenity", {"--entry", "--text", "paste here"});
        }
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace),
                                  QString(intoTerminal ? "lxterminal" : "zenity"),
                                  20000);
        // GTK takes the keyboard focus a moment after the window is activated.
        QTest::qWait(500);

        // A keyboard of the test's own: the shortcut's modifier still held, and the key that
        // ends the line or the entry.
        WaylandConnection own;
        QVERIFY(own.fetchGlobals(WaylandConnection::Clock::now() + std::chrono::seconds(5)));
        auto *input = static_cast<org_kde_kwin_fake_input *>(
            own.bind(&org_kde_kwin_fake_input_interface, 4));
        QVERIFY(input);
        org_kde_kwin_fake_input_authenticate(input, "test", "the user's own keys");
        const auto press = [&](quint32 key, bool down) {
            org_kde_kwin_fake_input_keyboard_key(input,
                                                 key,
                                                 down ? WL_KEYBOARD_KEY_STATE_PRESSED
                                                      : WL_KEYBOARD_KEY_STATE_RELEASED);
            QVERIFY(own.roundtrip(WaylandConnection::Clock::now() + std::chrono::seconds(5)));
        };
        if (heldModifier)
            press(heldModifier, true);
        keys.postPasteKeystroke(keystroke);
        QTest::qWait(500);
        if (heldModifier)
            press(heldModifier, false);
        press(KEY_ENTER, true);
        press(KEY_ENTER, false);
        org_kde_kwin_fake_input_destroy(input);
        if (intoTerminal) {
            QTRY_COMPARE_WITH_TIMEOUT(readFile(pasted), expected + "\n", 20000);
        } else {
            QVERIFY(target->waitForFinished(20000));
            QCOMPARE(QString::fromUtf8(target->readAllStandardOutput()), expected + "\n");
        }
    }

    void withoutACompositorNothingIsOffered()
    {
        const QByteArray missing = m_dir.filePath("no-compositor").toUtf8();
        WaylandWorkspace workspace(missing);
        QVERIFY(!workspace.isActive());
        KWinKeyPoster keys(missing);
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke(PasteKeystroke::controlV);
    }

private:
    void movePointer(QPoint to)
    {
        WaylandConnection connection;
        QVERIFY(connection.fetchGlobals(WaylandConnection::Clock::now() + std::chrono::seconds(5)));
        auto *input = static_cast<org_kde_kwin_fake_input *>(
            connection.bind(&org_kde_kwin_fake_input_interface, 4));
        QVERIFY(input);
        org_kde_kwin_fake_input_authenticate(input, "test", "the user's own pointer");
        org_kde_kwin_fake_input_pointer_motion_absolute(input,
                                                        wl_fixed_from_int(to.x()),
                                                        wl_fixed_from_int(to.y()));
        org_kde_kwin_fake_input_destroy(input);
        QVERIFY(connection.roundtrip(WaylandConnection::Clock::now() + std::chrono::seconds(5)));
    }
    // A Qt window whose app_id is appId.
    QProcess *startWindow(const QString &appId)
    {
        return m_programs.start(KWIN_KEYS, {"window", appId});
    }
    QProcess *startGtk(const QString &program, const QStringList &arguments)
    {
        QProcess *process = m_programs.start("env",
                                             QStringList{"GDK_BACKEND=wayland", program}
                                                 + arguments);
        return process;
    }
    static QString frontmost(WaylandWorkspace &workspace)
    {
        const auto app = workspace.frontmostApplication();
        return app ? app->identifier : QStringLiteral("(none)");
    }
    static QString readFile(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QTemporaryDir m_dir;
    Programs m_programs;
};

QTEST_GUILESS_MAIN(KWinSessionTest)
#include "tst_kwinsession.moc"
