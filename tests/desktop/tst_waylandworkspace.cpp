// The toplevels and the virtual keyboard of a real Wayland compositor (a private headless sway):
// which program is in front and by what name, the output its window is on, activating it, the
// open windows, and typing the paste keystroke into foot.

#include "common/Files.h"
#include "common/Programs.h"
#include "platform/wayland/WaylandKeyPoster.h"
#include "platform/wayland/WaylandWorkspace.h"

#include <QTemporaryDir>
#include <QTest>

class WaylandWorkspaceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("SWAYSOCK"),
                 "run this test in the headless Wayland session");
        QVERIFY(m_dir.isValid());
        QVERIFY(writeFile(m_dir.filePath("foot.ini"),
                          "[key-bindings]\nclipboard-paste=Control+v Control+Shift+v\n"
                          "primary-paste=Shift+Insert\n"));
    }

    void cleanup() { m_programs.stopAll(); }

    void activatedToplevelIsFrontmostByItsAppId()
    {
        WaylandWorkspace workspace;
        QVERIFY(workspace.isActive());
        startFoot("first");
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("first"), 20000);
        const RunningApplication first = *workspace.frontmostApplication();
        startFoot("second");
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("second"), 20000);
        QCOMPARE(workspace.applicationIdentifiers(), (QStringList{"first", "second"}));

        // The overlay opens on the output the window is on.
        QCOMPARE(workspace.windowFrame(first), QRect(0, 0, 1280, 800));
        workspace.activate(first);
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("first"), 20000);

        // A window that has gone is neither in front nor anywhere.
        m_programs.stopAll();
        QTRY_VERIFY_WITH_TIMEOUT(workspace.applicationIdentifiers().isEmpty(), 20000);
        QVERIFY(!workspace.frontmostApplication());
        QVERIFY(!workspace.windowFrame(first));
        workspace.activate(first);
    }

    void toplevelWithoutAppIdHasNoIdentifier()
    {
        WaylandWorkspace workspace;
        startFoot("");
        QTRY_VERIFY_WITH_TIMEOUT(workspace.frontmostApplication().has_value(), 20000);
        QCOMPARE(workspace.frontmostApplication()->identifier, QString());
        QVERIFY(workspace.applicationIdentifiers().isEmpty());
    }

    // Two modifiers held through the virtual keyboard, as for a terminal.
    void pasteKeystrokeReachesTheFocusedProgram()
    {
        WaylandWorkspace workspace;
        WaylandKeyPoster keys;
        QVERIFY(keys.isTrusted());
        const QString file = m_dir.filePath("pasted");
        QFile::remove(file);
        m_programs.start("wl-copy", {"--foreground"}, "typed ✓\n", true);
        startFoot("target", {"sh", "-c", "cat >'" + file + "'"});
        QTRY_COMPARE_WITH_TIMEOUT(frontmost(workspace), QStringLiteral("target"), 20000);
        keys.postPasteKeystroke(PasteKeystroke::controlShiftV);
        QTRY_COMPARE_WITH_TIMEOUT(readFile(file), QByteArray("typed ✓\n"), 20000);
    }

    void withoutACompositorNothingIsOffered()
    {
        const QByteArray missing = m_dir.filePath("no-compositor").toUtf8();
        WaylandWorkspace workspace(missing);
        QVERIFY(!workspace.isActive());
        QVERIFY(!workspace.frontmostApplication());
        WaylandKeyPoster keys(missing);
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke(PasteKeystroke::controlV);
    }

private:
    void startFoot(const QString &appId, const QStringList &command = {"sleep", "600"})
    {
        m_programs.start("foot",
                         QStringList{"--config", m_dir.filePath("foot.ini"), "--app-id", appId}
                             + command);
    }
    static QString frontmost(WaylandWorkspace &workspace)
    {
        const auto app = workspace.frontmostApplication();
        return app ? app->identifier : QStringLiteral("(none)");
    }

    QTemporaryDir m_dir;
    Programs m_programs;
};

QTEST_GUILESS_MAIN(WaylandWorkspaceTest)
#include "tst_waylandworkspace.moc"
