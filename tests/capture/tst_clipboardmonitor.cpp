#include "common/CaptureRig.h"
#include "common/Images.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"

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

        const App keePass = RunningApplication{1, QStringLiteral("KeePassXC"), 7};
        QTest::newRow("a copy is read") << false << false << App() << true << true;
        QTest::newRow("own write is swallowed first") << false << true << keePass << false << false;
        QTest::newRow("suppression is used up while paused")
            << true << true << App() << false << false;
        QTest::newRow("paused: the frontmost app is not asked")
            << true << false << keePass << false << false;
        QTest::newRow("ignored frontmost app") << false << false << keePass << false << true;
        QTest::newRow("ignored app in other case")
            << false << false << App(RunningApplication{1, QStringLiteral("keepassxc"), 7}) << false
            << true;
        QTest::newRow("app without identifier")
            << false << false << App(RunningApplication{1, {}, 7}) << true << true;
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
        r->workspace.frontmost = RunningApplication{2, QStringLiteral("firefox"), 8};
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

    void moveOfTheChangeCountPollsAtOnce()
    {
        r->monitor.start();
        r->pasteboard.copy(textFlavors(QStringLiteral("now")));
        // No timer tick has run yet: the change itself started the read.
        QCOMPARE(r->pasteboard.readCount(), 1);
        // Starting again neither doubles the polls nor loses them.
        r->monitor.start();
        r->pasteboard.copy(textFlavors(QStringLiteral("again")));
        QCOMPARE(r->pasteboard.readCount(), 2);
    }

    void newerChangeCancelsOlderRead()
    {
        r->pasteboard.copy(textFlavors(QStringLiteral("first")));
        r->monitor.poll();
        r->pasteboard.copy(textFlavors(QStringLiteral("second")));
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), 2);
        QVERIFY(r->pasteboard.cancelCount() >= 1);

        // The older read answering late, even after the newer one, is dropped either way.
        r->pasteboard.completeRead(1);
        r->pasteboard.completeRead(0, textFlavors(QStringLiteral("first")));
        QVERIFY(r->delivered.wait(5000));
        QTest::qWait(50);
        QCOMPARE(r->delivered.size(), 1);
        QCOMPARE(r->delivered.at(0).at(0).value<ClipItem>().text, QStringLiteral("second"));
        QCOMPARE(r->copyPlays, 1);
    }

    void changeSkippedDuringReadStillDropsTheOlderRead()
    {
        // The owner changed while the read ran, so what it returns may be the newer content,
        // copied while paused; it must not be captured.
        r->pasteboard.copy(textFlavors(QStringLiteral("before pausing")));
        r->monitor.poll();
        r->prefs.setPaused(true);
        r->pasteboard.copy(textFlavors(QStringLiteral("while paused")));
        r->monitor.poll();
        r->pasteboard.completeRead(0);
        QTest::qWait(100);
        QCOMPARE(r->delivered.size(), 0);
    }

    void readWithoutAnItemDeliversNothing_data()
    {
        QTest::addColumn<Flavors>("flavors");
        // A read that gave up (dead owner, deadline passed) returns nothing.
        QTest::newRow("nothing readable") << Flavors();
        QTest::newRow("a password manager's copy")
            << Flavors{{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}};
    }

    void readWithoutAnItemDeliversNothing()
    {
        QFETCH(Flavors, flavors);
        r->pasteboard.copy(flavors);
        r->monitor.poll();
        r->pasteboard.completeRead(0, flavors);
        QTest::qWait(100);
        QCOMPARE(r->delivered.size(), 0);
        QCOMPARE(r->copyPlays, 0);
    }

    void itemRules_data()
    {
        QTest::addColumn<Flavors>("flavors");
        QTest::addColumn<bool>("isImage");
        QTest::addColumn<QString>("text");

        const QByteArray png = encodeImage(testImage(), "png");
        const QByteArray tiff = encodeImage(testImage(), "tiff");
        const QByteArray bmp = encodeImage(testImage(), "bmp");

        QTest::newRow("PNG wins over text")
            << Flavors{{"image/png", png}, {"UTF8_STRING", "caption"}} << true << QString();
        QTest::newRow("TIFF alone becomes an image")
            << Flavors{{"image/tiff", tiff}} << true << QString();
        QTest::newRow("another image type becomes an image")
            << Flavors{{"image/bmp", bmp}, {"TEXT", "x"}} << true << QString();
        QTest::newRow("undecodable TIFF falls through to text")
            << Flavors{{"image/tiff", "garbage"}, {"UTF8_STRING", "words"}} << false << "words";
        QTest::newRow("UTF-8 text, kept untrimmed")
            << Flavors{{"UTF8_STRING", "  two\nlines \n"}} << false << "  two\nlines \n";
        QTest::newRow("text/plain;charset=utf-8 preferred over UTF8_STRING")
            << Flavors{{"UTF8_STRING", "second"},
                       {"text/plain;charset=utf-8", "first"},
                       {"text/plain", "third"}}
            << false << "first";
        QTest::newRow("blank text gets the label")
            << Flavors{{"text/plain", " \t\n "}} << false << "[1 format]  text/plain";
        QTest::newRow("text that is not UTF-8 gets the label")
            << Flavors{{"UTF8_STRING", "caf\xe9 \xff\xfe"}, {"STRING", "caf\xe9"}} << false
            << "[2 formats]  STRING, UTF8_STRING";
        QTest::newRow("no text type gets the label")
            << Flavors{{"text/html", "<b>x</b>"}, {"application/x-thing", ""}, {"STRING", "x"}}
            << false << "[3 formats]  STRING, application/x-thing";
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
            QCOMPARE(*item->imageData, item->flavors->value("image/png"));
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
