#include "common/CaptureRig.h"
#include "common/Images.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using App = std::optional<RunningApplication>;

namespace {

Flavors textFlavors(const QString &text)
{
    return {{QStringLiteral("UTF8_STRING"), text.toUtf8()}};
}

using Rig = CaptureRig<FakePasteboard, FakeWorkspace, FakeKeyPoster>;

} // namespace

class ClipboardMonitorTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { r = std::make_unique<Rig>(); }
    void cleanup() { r.reset(); }

    void whatIsOnTheClipboardAtStartIsNeverCaptured()
    {
        QCOMPARE(r->monitor.lastChange(), r->pasteboard.changeCount());
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), 0);
    }

    // A change is checked against suppression, then the pause, then the frontmost application;
    // a check that skips it asks nothing further, and the skipped change stays skipped.
    void orderOfChecks_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("suppress");
        QTest::addColumn<App>("frontmost");
        QTest::addColumn<bool>("read");
        QTest::addColumn<bool>("asked");

        const App keePass = RunningApplication{1, QStringLiteral("KeePassXC"), 7, {}};
        QTest::newRow("a copy is read") << false << false << App() << true << true;
        QTest::newRow("own write is swallowed first") << false << true << keePass << false << false;
        QTest::newRow("suppression is used up while paused")
            << true << true << App() << false << false;
        QTest::newRow("paused: the frontmost app is not asked")
            << true << false << keePass << false << false;
        QTest::newRow("ignored frontmost app") << false << false << keePass << false << true;
        QTest::newRow("ignored app in other case")
            << false << false << App(RunningApplication{1, QStringLiteral("keepassxc"), 7, {}})
            << false << true;
        QTest::newRow("app without identifier")
            << false << false << App(RunningApplication{1, {}, 7, {}}) << true << true;
        // Chosen from a desktop entry without StartupWMClass: its program's name, which this
        // window carries as the instance part of WM_CLASS.
        QTest::newRow("ignored by the other part of the window class")
            << false << false
            << App(RunningApplication{1,
                                      QStringLiteral("TelegramDesktop"),
                                      7,
                                      QStringLiteral("telegram-desktop")})
            << false << true;
    }

    void orderOfChecks()
    {
        QFETCH(bool, paused);
        QFETCH(bool, suppress);
        QFETCH(App, frontmost);
        QFETCH(bool, read);
        QFETCH(bool, asked);

        r->prefs.setIgnoredApps(
            {QStringLiteral("KeePassXC"), QString(), QStringLiteral("telegram-desktop")});
        r->prefs.setPaused(paused);
        r->monitor.setSuppressNextChange(suppress);
        r->workspace.frontmost = frontmost;
        r->pasteboard.copy(textFlavors(QStringLiteral("same")));
        r->monitor.poll();
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), read ? 1 : 0);
        QCOMPARE(r->workspace.queries, asked ? 1 : 0);
        QCOMPARE(r->monitor.lastChange(), r->pasteboard.changeCount());
        QVERIFY(!r->monitor.suppressNextChange());

        // Resuming does not bring back what was skipped; the next copy, of the same content in
        // another application, is read.
        r->prefs.setPaused(false);
        r->workspace.frontmost = RunningApplication{2, QStringLiteral("firefox"), 8, {}};
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), read ? 1 : 0);
        r->pasteboard.copy(textFlavors(QStringLiteral("same")));
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), read ? 2 : 1);
    }

    // With the copy sound first (whether sounds are on is the sounds' own test).
    void delivery()
    {
        QList<int> playsWhenDelivered;
        connect(&r->monitor, &ClipboardMonitor::onNew, this, [&] {
            playsWhenDelivered.append(r->copyPlays);
        });
        // The same content twice is delivered twice: the store decides about repeats.
        for (int i = 1; i <= 2; ++i) {
            r->pasteboard.copy(textFlavors(QStringLiteral("hello")));
            r->monitor.poll();
            r->pasteboard.completeLastRead();
            QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), i, 5000);
        }
        QCOMPARE(r->delivered.at(1).at(0).value<ClipItem>().text, QStringLiteral("hello"));
        QCOMPARE(playsWhenDelivered, QList<int>({1, 2}));
        QCOMPARE(r->pastePlays, 0);
    }

    // One line per recorded copy under cliphaven.capture, with its figures but never its content.
    void captureLogLine()
    {
        static QStringList lines;
        lines.clear();
        QLoggingCategory::setFilterRules(QStringLiteral("cliphaven.capture.debug=true"));
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &context, const QString &message) {
                if (QByteArray(context.category) == "cliphaven.capture")
                    lines.append(message);
            });
        r->pasteboard.copy({{QStringLiteral("UTF8_STRING"), "secret words"},
                            {QStringLiteral("text/html"), "<b>secret words</b>"}});
        r->monitor.poll();
        r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 1, 5000);
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());

        QCOMPARE(lines.size(), 1);
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^captured text, 12 bytes, 2 flavors, [0-9.]+ ms$"))
                     .match(lines[0])
                     .hasMatch(),
                 qPrintable(lines[0]));
    }

    // The older read answering late, even after the newer one, is dropped: what it returns may
    // be the newer content, which while paused must not be captured.
    void newerChangeCancelsOlderRead_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::newRow("newer change read") << false;
        QTest::newRow("newer change while paused") << true;
    }

    void newerChangeCancelsOlderRead()
    {
        QFETCH(bool, paused);
        r->pasteboard.copy(textFlavors(QStringLiteral("first")));
        r->monitor.poll();
        r->prefs.setPaused(paused);
        r->pasteboard.copy(textFlavors(QStringLiteral("second")));
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), paused ? 1 : 2);
        if (!paused) {
            QVERIFY(r->pasteboard.cancelCount() >= 1);
            r->pasteboard.completeRead(1);
        }
        r->pasteboard.completeRead(0);
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), paused ? 0 : 1, 5000);
        QTest::qWait(100);
        QCOMPARE(r->delivered.size(), paused ? 0 : 1);
        QCOMPARE(r->copyPlays, paused ? 0 : 1);
        if (!paused)
            QCOMPARE(r->delivered.at(0).at(0).value<ClipItem>().text, QStringLiteral("second"));
    }

    // Pasting into Cliphaven's own fields reads through the monitor: one read serves both a
    // capture and the paste, and a change in between moves the paste to the newer content.
    void textForAFieldSharesTheCaptureRead()
    {
        QStringList pasted;
        const auto paste = [&](const QString &text) { pasted.append(text); };

        // Idle: a read of its own, and no capture from it.
        r->pasteboard.copy(textFlavors(QStringLiteral("seen at start")));
        r->monitor.poll();
        r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 1, 5000);
        r->monitor.readText(paste);
        QCOMPARE(r->pasteboard.readCount(), 2);
        r->pasteboard.completeLastRead();
        QCOMPARE(pasted, QStringList{"seen at start"});

        // During a capture's read: no second read, both answered by the one.
        r->pasteboard.copy(textFlavors(QStringLiteral("copied")));
        r->monitor.poll();
        r->monitor.readText(paste);
        QCOMPARE(r->pasteboard.readCount(), 3);
        r->pasteboard.completeLastRead();
        QCOMPARE(pasted, (QStringList{"seen at start", "copied"}));
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 2, 5000);

        // Paused, a change while the paste's read runs: read again, the newer text pasted once.
        r->prefs.setPaused(true);
        r->monitor.readText(paste);
        r->pasteboard.copy(textFlavors(QStringLiteral("newer")));
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), 5);
        r->pasteboard.completeRead(3, textFlavors(QStringLiteral("older")));
        r->pasteboard.completeLastRead();
        QCOMPARE(pasted, (QStringList{"seen at start", "copied", "newer"}));
        QTest::qWait(50);
        QCOMPARE(r->delivered.size(), 2);
    }

    // A read that gave up (dead owner, deadline passed) returns nothing.
    void readThatGaveUpDeliversNothing()
    {
        r->pasteboard.copy({});
        r->monitor.poll();
        r->pasteboard.completeRead(0, {});
        QTest::qWait(100);
        QCOMPARE(r->delivered.size(), 0);
        QCOMPARE(r->copyPlays, 0);
    }

    // The last copy is put back when its owner quits, unless it was never recorded.
    void copyWhenItsOwnerQuits_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("concealed");
        QTest::newRow("a recorded copy is put back") << false << false;
        QTest::newRow("copied while paused") << true << false;
        QTest::newRow("a password manager's copy") << false << true;
    }

    void copyWhenItsOwnerQuits()
    {
        QFETCH(bool, paused);
        QFETCH(bool, concealed);
        const bool recorded = !paused && !concealed;
        r->monitor.start();
        r->pasteboard.copy(textFlavors(QStringLiteral("recorded earlier")));
        r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 1, 5000);

        r->prefs.setPaused(paused);
        Flavors last = textFlavors(QStringLiteral("last"));
        if (concealed)
            last.insert(ItemRules::kPasswordManagerHintType, "secret");
        r->pasteboard.copy(last);
        if (!paused)
            r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), recorded ? 2 : 1, 5000);
        QTest::qWait(50);
        r->pasteboard.ownerQuits();
        QCOMPARE(r->pasteboard.writes().size(), recorded ? 1 : 0);
        QCOMPARE(r->pasteboard.content(), recorded ? last : Flavors());
        // Putting it back is neither a copy nor a sound, and no later copy is swallowed.
        QCOMPARE(r->monitor.lastChange(), r->pasteboard.changeCount());
        QVERIFY(!r->monitor.suppressNextChange());
        QTest::qWait(50);
        QCOMPARE(r->delivered.size(), recorded ? 2 : 1);
        QCOMPARE(r->copyPlays, recorded ? 2 : 1);
    }

    void transientCopies_data()
    {
        QTest::addColumn<bool>("forget");
        QTest::addColumn<QString>("clearedBy");
        QTest::addColumn<Flavors>("clearing");
        QTest::addColumn<bool>("forgotten");

        const Flavors blank{{"UTF8_STRING", ""}, {"TEXT", " \n"}};
        QTest::newRow("cleared by its own program") << true << "/usr/bin/xclip" << blank << true;
        QTest::newRow("emptied by its own program")
            << true << "/usr/bin/xclip" << Flavors() << true;
        QTest::newRow("cleared by another program") << true << "/usr/bin/other" << blank << false;
        QTest::newRow("by a program that is not known") << true << "" << blank << false;
        QTest::newRow("replaced with content by its own program")
            << true << "/usr/bin/xclip" << textFlavors(QStringLiteral("next")) << false;
        QTest::newRow("switched off") << false << "/usr/bin/xclip" << blank << false;
    }

    void transientCopies()
    {
        QFETCH(bool, forget);
        QFETCH(QString, clearedBy);
        QFETCH(Flavors, clearing);
        QFETCH(bool, forgotten);

        QCOMPARE(r->prefs.forgetTransientCopies(), true);
        r->prefs.setForgetTransientCopies(forget);
        QSignalSpy cleared(&r->monitor, &ClipboardMonitor::transientCopyCleared);
        r->monitor.start();
        const QString owner = QStringLiteral("/usr/bin/xclip");
        r->pasteboard.copy(textFlavors(QStringLiteral("s3cret")), clearedBy.isEmpty() ? "" : owner);
        r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 1, 5000);

        r->pasteboard.copy(clearing, clearedBy);
        r->pasteboard.completeLastRead();
        QTest::qWait(50);
        QCOMPARE(cleared.size(), forgotten ? 1 : 0);
        if (forgotten) {
            QCOMPARE(cleared.first().first().value<ClipItem>().text, QStringLiteral("s3cret"));
            // The clearing is no copy, and the secret does not come back when its program goes.
            QCOMPARE(r->delivered.size(), 1);
            r->pasteboard.ownerQuits();
            QVERIFY(r->pasteboard.writes().isEmpty());
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), clearing.isEmpty() ? 1 : 2, 5000);
        }
    }

    // A selection growing under the mouse changes many times; it is read once it settles.
    void selectionIsReadOnceSettled()
    {
        r->monitor.settleSelection(100);
        r->monitor.start();
        for (const char *text : {"s", "sel", "selected ✓"})
            r->pasteboard.copy({{"UTF8_STRING", text}, {"text/html", "<b>x</b>"}});
        QCOMPARE(r->pasteboard.readCount(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(r->pasteboard.readCount(), 1, 5000);
        r->pasteboard.completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(r->delivered.size(), 1, 5000);
        const ClipItem item = r->delivered.first().first().value<ClipItem>();
        QCOMPARE(item.text, QStringLiteral("selected ✓"));
        QCOMPARE(*item.flavors, textFlavors(QStringLiteral("selected ✓")));

        // Only text is a selection worth recording.
        r->pasteboard.copy({{"image/png", encodeImage(testImage(), "png")}});
        QTRY_COMPARE_WITH_TIMEOUT(r->pasteboard.readCount(), 2, 5000);
        r->pasteboard.completeLastRead();
        // This process's own selection is not read at all.
        r->pasteboard.ownContent = true;
        r->pasteboard.copy(textFlavors(QStringLiteral("ours")));
        QTest::qWait(300);
        QCOMPARE(r->pasteboard.readCount(), 2);
        QCOMPARE(r->delivered.size(), 1);
        // Nor kept alive when its owner goes.
        r->pasteboard.ownerQuits();
        QVERIFY(r->pasteboard.writes().isEmpty());
    }

    void itemRules_data()
    {
        QTest::addColumn<Flavors>("flavors");
        QTest::addColumn<bool>("isImage");
        QTest::addColumn<QString>("text");

        const QByteArray png = encodeImage(testImage(), "png");
        const QByteArray tiff = encodeImage(testImage(), "tiff");

        QTest::newRow("PNG wins over text")
            << Flavors{{"image/png", png}, {"UTF8_STRING", "caption"}} << true << QString();
        QTest::newRow("TIFF alone becomes an image")
            << Flavors{{"image/tiff", tiff}} << true << QString();
        QTest::newRow("undecodable TIFF falls through to text")
            << Flavors{{"image/tiff", "garbage"}, {"UTF8_STRING", "words"}} << false << "words";
        QTest::newRow("UTF-8 text, kept untrimmed")
            << Flavors{{"UTF8_STRING", "  two\nlines \n"}} << false << "  two\nlines \n";
        QTest::newRow("blank text gets the label")
            << Flavors{{"text/plain", " \t\n "}} << false << "[1 format]  text/plain";
        QTest::newRow("text that decodes in no text type gets the label")
            << Flavors{{"UTF8_STRING", "\xff\xfe"}, {"text/html", "x"}} << false
            << "[2 formats]  UTF8_STRING, text/html";
        Flavors twelve;
        for (int i = 10; i < 22; ++i)
            twelve.insert(QStringLiteral("t%1").arg(i), {});
        QTest::newRow("the label counts all, names the two smallest")
            << twelve << false << "[12 formats]  t10, t11";
    }

    void itemRules()
    {
        QFETCH(Flavors, flavors);
        QFETCH(bool, isImage);
        QFETCH(QString, text);

        const std::optional<ClipItem> item = ClipboardMonitor::itemFromFlavors(flavors);
        QVERIFY(item);
        QCOMPARE(item->kind, isImage ? ClipKind::Image : ClipKind::Text);
        if (isImage) {
            QVERIFY(!item->text);
            QVERIFY(item->imageData);
            // One buffer, not two copies: a 40 MB image would otherwise take 80.
            QCOMPARE(item->imageData->constData(), item->flavors->value("image/png").constData());
            // Every flavor is kept, with PNG added when it was missing, of the same pixels.
            if (!flavors.contains("image/png")) {
                const QImage converted = QImage::fromData(*item->imageData, "PNG");
                QCOMPARE(converted.convertToFormat(QImage::Format_RGB32), testImage());
            }
            Flavors expected = flavors;
            expected.insert("image/png", *item->imageData);
            QCOMPARE(*item->flavors, expected);
        } else {
            QVERIFY(!item->imageData);
            QCOMPARE(item->text, text);
            QCOMPARE(item->flavors, flavors);
        }
    }

private:
    std::unique_ptr<Rig> r;
};

QTEST_GUILESS_MAIN(ClipboardMonitorTest)
#include "tst_clipboardmonitor.moc"
