// Copy and paste with real programs on a private Xvfb with openbox: GTK's text served back with
// the right bytes for every text type, pasting into a plain and a VTE terminal, and copies whose
// owner misbehaves in one target only.

#include "common/DesktopClipboard.h"
#include "common/Files.h"
#include "model/TextFlavors.h"
#include "platform/x11/X11KeyPoster.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace std::chrono_literals;

namespace {

constexpr auto kRequestTimeout = 500ms;
const QString kUnicode = QStringLiteral("gtk ünïcode € “quotes” 🙂");

using Rig = DesktopRig<X11Pasteboard, X11Workspace, X11KeyPoster>;

} // namespace

class X11ProgramsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // GTK would otherwise wait for an accessibility bus that is not there.
        qputenv("NO_AT_BRIDGE", "1");
        QVERIFY2(QGuiApplication::platformName() == u"xcb", "run this test on an X server");
        QVERIFY(m_dir.isValid());
    }

    void init()
    {
        r = std::make_unique<Rig>(kRequestTimeout);
        QVERIFY(r->pasteboard.isConnected());
    }

    void cleanup() { r.reset(); }

    // GTK offers "text/plain" as ASCII with escapes; every text type must come back as the
    // real text in that type's encoding.
    void gtkTextIsServedWithTheRightBytesForEveryType()
    {
        const RunningApplication zenity = startProgram("zenity",
                                                       {"--entry",
                                                        "--title=Source",
                                                        "--text=Source",
                                                        "--entry-text=" + kUnicode});
        QVERIFY(zenity.window != 0);
        Programs::run("xdotool", {"key", "--clearmodifiers", "ctrl+a", "ctrl+c"});
        const ClipItem item = r->next();
        QCOMPARE(item.text, kUnicode);
        QVERIFY(item.flavors);
        // GTK's own escaped form is what made this necessary; it must still be there.
        QVERIFY(item.flavors->value(TextFlavors::kPlain).startsWith("gtk \\u00fc"));

        // GTK goes away; the item comes back from the history.
        r->programs.stopAll();
        QVERIFY(r->writeOwn(*item.flavors));

        const QByteArray latin1("gtk \xfcn\xef"
                                "code ? ?quotes? ?");
        const QList<std::pair<QString, QByteArray>> expected{
            {TextFlavors::kUtf8String, kUnicode.toUtf8()},
            {TextFlavors::kPlainUtf8, kUnicode.toUtf8()},
            {TextFlavors::kPlain, kUnicode.toUtf8()},
            {TextFlavors::kString, latin1},
            {TextFlavors::kText, TextFlavors::encodeCompoundText(kUnicode)},
            {TextFlavors::kCompoundText, TextFlavors::encodeCompoundText(kUnicode)},
        };
        for (const auto &[type, bytes] : expected)
            QCOMPARE(pasteWithXclip(type), bytes);
        const QByteArray targets = pasteWithXclip("TARGETS");
        for (const auto &[type, bytes] : expected)
            QVERIFY2(targets.contains(type.toLatin1()), qPrintable(type));
    }

    void copyOutlivesTheProgramThatMadeIt_data()
    {
        QTest::addColumn<bool>("killed");
        // Closed, GTK first asks the clipboard manager to save its clipboard.
        QTest::newRow("the program closes") << false;
        QTest::newRow("the program is killed") << true;
    }

    void copyOutlivesTheProgramThatMadeIt()
    {
        QFETCH(bool, killed);
        const QString text = QStringLiteral("outlives ✓ its program");
        QProcess *process = nullptr;
        QVERIFY(startProgram("zenity",
                             {"--entry", "--title=Gone", "--text=Gone", "--entry-text=" + text},
                             {},
                             &process)
                    .window
                != 0);
        Programs::run("xdotool", {"key", "--clearmodifiers", "ctrl+a", "ctrl+c"});
        QCOMPARE(r->next().text, text);

        if (killed)
            process->kill();
        else
            Programs::run("xdotool", {"key", "Escape"});
        QTRY_COMPARE_WITH_TIMEOUT(process->state(), QProcess::NotRunning, 20000);
        QByteArray pasted;
        QTRY_COMPARE_WITH_TIMEOUT((pasted = pasteWithXclip(TextFlavors::kUtf8String)),
                                  text.toUtf8(),
                                  20000);
        // Put back, not copied again.
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);
    }

    void pasteIntoATerminal_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("identifier");

        // xterm pastes PRIMARY on Shift+Insert, VTE pastes CLIPBOARD on Ctrl+Shift+V.
        QTest::newRow("xterm") << "xterm" << QStringList{"-u8", "-e"} << "XTerm";
        QTest::newRow("VTE (lxterminal)")
            << "lxterminal" << QStringList{"--no-remote", "-e"} << "Lxterminal";
    }

    // The program in the terminal writes every byte it receives to a file: the text arrives,
    // and no control byte with it.
    void pasteIntoATerminal()
    {
        QFETCH(QString, program);
        QFETCH(QStringList, arguments);
        QFETCH(QString, identifier);

        const QString received = m_dir.filePath(program + ".received");
        const QString script = m_dir.filePath(program + ".sh");
        QVERIFY(writeFile(script,
                          "#!/bin/sh\nstty raw -echo\nexec cat > '" + received.toUtf8() + "'\n"));
        QVERIFY(
            QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

        const RunningApplication terminal = startProgram(program, arguments << script, identifier);
        QVERIFY(terminal.window != 0);
        // The terminal's shell is ready once the script has created the file.
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(received), 20000);

        const QString text = QStringLiteral("echo Pasted ✓ € 42");
        ClipItem item = ClipItem::makeText(text);
        item.flavors = Flavors{{TextFlavors::kUtf8String, text.toUtf8()}};
        r->paster.paste(item, terminal, r->monitor);

        QByteArray bytes;
        const bool arrived = QTest::qWaitFor(
            [&] { return (bytes = readFile(received)).size() >= text.toUtf8().size(); }, 20000);
        QVERIFY2(arrived, bytes.toHex(' ').constData());
        QCOMPARE(QString::fromUtf8(bytes), text);
        QCOMPARE(r->delivered.size(), 0);
    }

    void copyClearedByItsProgramIsForgotten_data()
    {
        QTest::addColumn<bool>("detached");
        QTest::newRow("by a program that stays") << false;
        // As keepassxc-cli runs it: xclip forks into the background, its first process exits.
        QTest::newRow("by xclip forking into the background") << true;
    }

    // As password tools on the command line do: xclip copies, another xclip clears.
    void copyClearedByItsProgramIsForgotten()
    {
        QFETCH(bool, detached);
        QSignalSpy cleared(&r->monitor, &ClipboardMonitor::transientCopyCleared);
        const auto copy = [&](const QString &text) {
            if (!detached)
                return r->copy(xclipCopy(), text.toUtf8());
            const qint64 before = r->pasteboard.changeCount();
            // Ends by itself when the next copy takes the clipboard, or with the X server.
            return Programs::succeeds("sh",
                                      {"-c",
                                       "printf '" + text + "' | xclip -selection clipboard -i"})
                   && QTest::qWaitFor([&] { return r->pasteboard.changeCount() > before; }, 20000);
        };
        QVERIFY(copy("s3cret"));
        QCOMPARE(r->next().text, QStringLiteral("s3cret"));
        QVERIFY(copy(""));
        QTRY_COMPARE_WITH_TIMEOUT(cleared.size(), 1, 20000);
        QCOMPARE(cleared.first().first().value<ClipItem>().text, QStringLiteral("s3cret"));
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);

        // Another program's blank copy is not a clearing.
        QVERIFY(r->copy(xclipCopy(), "public"));
        QCOMPARE(r->next().text, QStringLiteral("public"));
        startReady(r->programs, QStringLiteral(CLIPBOARD_OWNER), {"-t", "UTF8_STRING", "-s", ""});
        QCOMPARE(r->next().text, QStringLiteral("[1 format]  UTF8_STRING"));
        QCOMPARE(cleared.size(), 1);
    }

    void selectionIsRecordedOnceSettled()
    {
        X11Pasteboard primary(kRequestTimeout, nullptr, X11Pasteboard::Selection::primary);
        ClipboardMonitor monitor(primary, r->workspace, r->prefs, r->sounds);
        // Longer than the real second, so that slow starts of xclip still count as one growing
        // selection.
        monitor.settleSelection(5000);
        QSignalSpy recorded(&monitor, &ClipboardMonitor::onNew);
        monitor.start();
        for (const char *text : {"sel", "select", "selected ✓"}) {
            const qint64 before = primary.changeCount();
            r->programs.start(QStringLiteral("xclip"),
                              {"-quiet", "-selection", "primary", "-i"},
                              text,
                              true);
            QTRY_VERIFY_WITH_TIMEOUT(primary.changeCount() > before, 20000);
        }
        QTRY_COMPARE_WITH_TIMEOUT(recorded.size(), 1, 30000);
        QCOMPARE(recorded.first().first().value<ClipItem>().text, QStringLiteral("selected ✓"));

        // The selection set for a Shift+Insert paste is not recorded.
        r->pasteboard.writePrimaryString(QStringLiteral("ours"));
        QTest::qWait(6000);
        QCOMPARE(recorded.size(), 1);
        QCOMPARE(r->delivered.size(), 0);
    }

    void aTargetThatNeverAnswersIsLeftOut()
    {
        const QString png = m_dir.filePath("copy.png");
        QVERIFY(writeFile(png, encodeImage(testImage(), "png")));
        startReady(r->programs,
                   QStringLiteral(CLIPBOARD_OWNER),
                   QStringLiteral("--ignore text/html -t image/jpeg -s not-fetched -t UTF8_STRING "
                                  "-s kept -t text/html -s <b>never</b> -t image/png -f")
                           .split(u' ')
                       << png);
        const ClipItem item = r->next();
        QCOMPARE(item.kind, ClipKind::Image);
        // PNG came first; the other image encoding was never asked for.
        QCOMPARE(QSet<QString>(item.flavors->keyBegin(), item.flavors->keyEnd()),
                 (QSet<QString>{"image/png", "UTF8_STRING"}));
        QCOMPARE(item.flavors->value("UTF8_STRING"), QByteArray("kept"));
    }

private:
    RunningApplication startProgram(const QString &program,
                                    const QStringList &arguments,
                                    const QString &identifier = {},
                                    QProcess **started = nullptr);

    QTemporaryDir m_dir;
    std::unique_ptr<Rig> r;
};

RunningApplication X11ProgramsTest::startProgram(const QString &program,
                                                 const QStringList &arguments,
                                                 const QString &identifier,
                                                 QProcess **started)
{
    QProcess *process = r->programs.start(program, arguments);
    if (started)
        *started = process;
    return waitInFront(r->workspace, process, identifier);
}

QTEST_MAIN(X11ProgramsTest)
#include "tst_x11programs.moc"
