// The clipboard on a real X server, under a private Xvfb with openbox: capture from xclip and from
// a test owner that can misbehave, serving our own writes, and paste-back into a real
// application (zenity) with and without the XTest extension.

#include "common/DesktopClipboard.h"
#include "platform/x11/X11KeyPoster.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryFile>

using namespace std::chrono_literals;

namespace {

constexpr auto kRequestTimeout = 500ms;

using Rig = DesktopRig<X11Pasteboard, X11Workspace, X11KeyPoster>;

} // namespace

class X11ClipboardTest : public QObject
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
        r = std::make_unique<Rig>(kRequestTimeout);
        QVERIFY(r->pasteboard.isConnected());
    }

    void cleanup() { r.reset(); }

    void xclipCopyBecomesItem_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<ClipKind>("kind");
        QTest::addColumn<QString>("text");

        QTest::newRow("text") << "UTF8_STRING" << QStringLiteral("héllo from xclip ✓\n").toUtf8()
                              << ClipKind::Text << QStringLiteral("héllo from xclip ✓\n");
        QTest::newRow("PNG") << "image/png" << encodeImage(testImage(), "png") << ClipKind::Image
                             << QString();
    }

    void xclipCopyBecomesItem()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(ClipKind, kind);
        QFETCH(QString, text);

        QVERIFY(r->copy(xclipCopy(type), bytes));
        r->checkNextItem(type, bytes, kind, text);
    }

    void everyFlavorOfARichCopyIsKept()
    {
        startReady(r->programs,
                   QStringLiteral(CLIPBOARD_OWNER),
                   QStringLiteral("-t text/html -s <i>rich</i> -t UTF8_STRING -s rich "
                                  "-t text/plain;charset=utf-8 -s rich -t application/x-empty -s")
                           .split(u' ')
                       << QString());
        const ClipItem item = r->next();
        QCOMPARE(item.text, QStringLiteral("rich"));
        const Flavors expected{{"text/html", "<i>rich</i>"},
                               {"UTF8_STRING", "rich"},
                               {"text/plain;charset=utf-8", "rich"},
                               {"application/x-empty", ""}};
        QCOMPARE(*item.flavors, expected);
    }

    void largeImageArrivesWhole() { r->checkLargeCopy(xclipCopy("image/png")); }

    void ownerThatGivesNoItem_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::newRow("never answers") << "--silent -t UTF8_STRING -s never";
        QTest::newRow("refuses every target") << "--refuse -t UTF8_STRING -s x -t image/png -s y";
        // The owner's exit is a change of its own; the read of its data yields nothing.
        QTest::newRow("exits mid-transfer")
            << "--chunk 4096 --die-after-chunks 3 -t image/png -f BIGFILE";
    }

    void ownerThatGivesNoItem()
    {
        QFETCH(QString, arguments);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(randomBytes(1024 * 1024));
        file.close();
        startReady(r->programs,
                   QStringLiteral(CLIPBOARD_OWNER),
                   arguments.replace(QStringLiteral("BIGFILE"), file.fileName()).split(u' '));
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 0);
        QCOMPARE(r->copyPlays, 0);

        // The reader is free again for the next copy.
        QVERIFY(r->copy(xclipCopy(), "after"));
        QCOMPARE(r->next().text, QStringLiteral("after"));
        QCOMPARE(r->delivered.size(), 1);
    }

    void copyDuringASlowReadIsDeliveredOnce()
    {
        // Each answer of this owner takes 0.3 s: its read is still running when the next copy
        // comes, which supersedes it.
        startReady(
            r->programs,
            QStringLiteral(CLIPBOARD_OWNER),
            {"--delay", "300", "-t", "UTF8_STRING", "-s", "slow", "-t", "text/html", "-s", "s"});
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QVERIFY(r->copy(xclipCopy(), "newer"));
        QCOMPARE(r->next().text, QStringLiteral("newer"));
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);
    }

    void ownWriteIsServedButNotCaptured()
    {
        // Someone else owns the clipboard first, as when pasting back after a copy elsewhere.
        QVERIFY(r->copy(xclipCopy(), "theirs"));
        QCOMPARE(r->next().text, QStringLiteral("theirs"));

        const Flavors flavors{{"text/html", "<b>ours</b>"},
                              {"UTF8_STRING", "ours ✓"},
                              {"image/png", encodeImage(testImage(), "png")},
                              {"application/x-custom", QByteArray("\0\1\2", 3)}};
        QVERIFY(r->writeOwn(flavors));

        for (auto it = flavors.cbegin(); it != flavors.cend(); ++it)
            QCOMPARE(pasteWithXclip(it.key()), it.value());
        // Text-only readers asking for the generic types get the UTF-8 text.
        QCOMPARE(pasteWithXclip("text/plain"), QByteArray("ours ✓"));
        // A plain string is served as text too.
        r->monitor.setSuppressNextChange(true);
        r->pasteboard.writeString(QStringLiteral("grüße"));
        QCOMPARE(QString::fromUtf8(pasteWithXclip("UTF8_STRING")), QStringLiteral("grüße"));
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);
    }

    // Ignored by the class of its window, or by the instance part of WM_CLASS, which is what an
    // application chosen from a desktop entry without StartupWMClass is stored by (its program).
    void copyWhileIgnoredApplicationIsInFrontIsSkipped_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("ignored");
        QTest::newRow("by its class") << QStringList() << QStringLiteral("Zenity");
        QTest::newRow("by its instance, the class being a brand")
            << QStringList{"--name=vault-keeper", "--class=VaultBrand"}
            << QStringLiteral("vault-keeper");
    }
    void copyWhileIgnoredApplicationIsInFrontIsSkipped()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, ignored);
        r->prefs.setIgnoredApps({ignored});
        const RunningApplication vault = startZenity("Vault", nullptr, options);
        QVERIFY(vault.window != 0);
        if (!options.isEmpty()) {
            QCOMPARE(vault.identifier, QStringLiteral("VaultBrand"));
            QCOMPARE(vault.instanceName, QStringLiteral("vault-keeper"));
        }
        QVERIFY(r->copy(xclipCopy(), "private"));
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        r->prefs.setIgnoredApps({});
        QVERIFY(r->copy(xclipCopy(), "public"));
        QCOMPARE(r->next().text, QStringLiteral("public"));
        QCOMPARE(r->delivered.size(), 1);
    }

    // With Shift still held from the overlay's shortcut, as users do.
    void pickedItemPastesIntoTheRememberedWindow()
    {
        QProcess *targetProcess = nullptr;
        const RunningApplication target = startZenity("Target", &targetProcess);
        QVERIFY(target.window != 0);
        // The overlay opens on the screen of this window: its frame is on the desktop.
        const std::optional<QRect> frame = r->workspace.windowFrame(target);
        QVERIFY(frame && !frame->isEmpty());
        QVERIFY(QRect(0, 0, 1920, 1080).contains(frame->center()));
        QVERIFY(!r->workspace.windowFrame(RunningApplication{0x7ffffff, {}, 0, {}}));
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
        QCOMPARE(r->delivered.size(), 0);
    }

    void withoutDisplayNothingIsTrustedOrFound()
    {
        const QByteArray missing(":4093");
        X11KeyPoster keys(missing);
        QVERIFY(!keys.isTrusted());
        keys.postPasteKeystroke(PasteKeystroke::controlV);
        X11Workspace workspace(missing);
        QVERIFY(!workspace.isConnected());
        QVERIFY(!workspace.frontmostApplication());
        workspace.activate(RunningApplication{1, "x", 2, {}});
        QVERIFY(!workspace.windowFrame(RunningApplication{1, "x", 2, {}}));
    }

private:
    RunningApplication startZenity(const QString &title,
                                   QProcess **process = nullptr,
                                   const QStringList &options = {});

    std::unique_ptr<Rig> r;
};

RunningApplication X11ClipboardTest::startZenity(const QString &title,
                                                 QProcess **process,
                                                 const QStringList &options)
{
    QProcess *zenity = r->programs.start(QStringLiteral("zenity"),
                                         QStringList{"--entry",
                                                     "--title=" + title,
                                                     "--text=" + title}
                                             + options);
    if (process)
        *process = zenity;
    return waitInFront(r->workspace, zenity);
}

QTEST_MAIN(X11ClipboardTest)
#include "tst_x11clipboard.moc"
