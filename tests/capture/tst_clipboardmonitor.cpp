#include "capture/ClipboardMonitor.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"
#include "fakes/TestSounds.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QSignalSpy>
#include <QTest>

namespace {

QByteArray encode(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (!writer.write(image))
        qFatal("cannot encode test image as %s", format);
    return bytes;
}

QImage testImage()
{
    QImage image(7, 5, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    image.setPixel(3, 2, qRgb(250, 10, 20));
    return image;
}

Flavors textFlavors(const QString &text)
{
    return {{QStringLiteral("UTF8_STRING"), text.toUtf8()}};
}

} // namespace

class ClipboardMonitorTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void whatIsOnTheClipboardAtStartIsNeverCaptured();
    void newCopyIsReadAndDelivered();
    void copySoundStartsBeforeTheItemIsHandedOut();
    void moveOfTheChangeCountPollsAtOnce();
    void unchangedCountReadsNothing();
    void suppressionSwallowsExactlyOneChange();
    void suppressionIsConsumedEvenWhilePaused();
    void changeSkippedWhilePausedIsNotCapturedAfterResuming();
    void ignoredApplicationIsNotAskedWhilePaused();
    void copyInIgnoredApplicationIsSkipped_data();
    void copyInIgnoredApplicationIsSkipped();
    void sameContentFromAnotherApplicationIsCaptured();
    void newerChangeCancelsOlderRead();
    void changeSkippedDuringReadStillDropsTheOlderRead();
    void nothingReadableDeliversNothing();
    void passwordManagerCopyIsSkipped();
    void repeatedContentIsDeliveredWithItsSound();
    void itemIsDeliveredSilentlyWhenSoundsAreOff();

    void itemRules_data();
    void itemRules();
    void imageConvertedToPngKeepsItsPixels();
    void itemFieldsAreFresh();
    void formatsLabel_data();
    void formatsLabel();

private:
    std::unique_ptr<TestPrefs> m_prefs;
    std::unique_ptr<FakePasteboard> m_pasteboard;
    std::unique_ptr<FakeWorkspace> m_workspace;
    std::unique_ptr<Sounds> m_sounds;
    std::unique_ptr<ClipboardMonitor> m_monitor;
    int m_copyPlays = 0;
    int m_pastePlays = 0;
};

void ClipboardMonitorTest::init()
{
    m_prefs = std::make_unique<TestPrefs>();
    m_pasteboard = std::make_unique<FakePasteboard>();
    m_workspace = std::make_unique<FakeWorkspace>();
    m_copyPlays = m_pastePlays = 0;
    m_sounds = std::make_unique<Sounds>(m_prefs->prefs, countingVoices(&m_copyPlays, &m_pastePlays));
    m_monitor = std::make_unique<ClipboardMonitor>(*m_pasteboard,
                                                   *m_workspace,
                                                   m_prefs->prefs,
                                                   *m_sounds);
}

void ClipboardMonitorTest::cleanup()
{
    m_monitor.reset();
    m_sounds.reset();
    m_workspace.reset();
    m_pasteboard.reset();
    m_prefs.reset();
}

void ClipboardMonitorTest::whatIsOnTheClipboardAtStartIsNeverCaptured()
{
    QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 0);
}

void ClipboardMonitorTest::newCopyIsReadAndDelivered()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy(textFlavors(QStringLiteral("hello")));
    m_monitor->poll();
    QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());
    QCOMPARE(m_pasteboard->readCount(), 1);
    m_pasteboard->completeLastRead();
    QVERIFY(delivered.wait(5000));
    const auto item = delivered.at(0).at(0).value<ClipItem>();
    QCOMPARE(item.text, QStringLiteral("hello"));
    QCOMPARE(m_copyPlays, 1);
    QCOMPARE(m_pastePlays, 0);
}

void ClipboardMonitorTest::copySoundStartsBeforeTheItemIsHandedOut()
{
    int playsWhenDelivered = -1;
    connect(m_monitor.get(), &ClipboardMonitor::onNew, this, [&] {
        playsWhenDelivered = m_copyPlays;
    });
    m_pasteboard->copy(textFlavors(QStringLiteral("x")));
    m_monitor->poll();
    m_pasteboard->completeLastRead();
    QTRY_COMPARE_WITH_TIMEOUT(playsWhenDelivered, 1, 5000);
}

void ClipboardMonitorTest::moveOfTheChangeCountPollsAtOnce()
{
    m_monitor->start();
    m_pasteboard->copy(textFlavors(QStringLiteral("now")));
    // No timer tick has run yet: the change itself started the read.
    QCOMPARE(m_pasteboard->readCount(), 1);
    // Starting again neither doubles the polls nor loses them.
    m_monitor->start();
    m_pasteboard->copy(textFlavors(QStringLiteral("again")));
    QCOMPARE(m_pasteboard->readCount(), 2);
}

void ClipboardMonitorTest::unchangedCountReadsNothing()
{
    m_pasteboard->copy(textFlavors(QStringLiteral("once")));
    m_monitor->poll();
    m_monitor->poll();
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 1);
    QCOMPARE(m_workspace->queries, 1);
}

void ClipboardMonitorTest::suppressionSwallowsExactlyOneChange()
{
    m_monitor->setSuppressNextChange(true);
    m_pasteboard->copy(textFlavors(QStringLiteral("own write")));
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 0);
    QVERIFY(!m_monitor->suppressNextChange());
    QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());

    m_pasteboard->copy(textFlavors(QStringLiteral("user copy")));
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 1);
}

void ClipboardMonitorTest::suppressionIsConsumedEvenWhilePaused()
{
    m_prefs->prefs.setPaused(true);
    m_monitor->setSuppressNextChange(true);
    m_pasteboard->copy(textFlavors(QStringLiteral("own write")));
    m_monitor->poll();
    QVERIFY(!m_monitor->suppressNextChange());
}

void ClipboardMonitorTest::changeSkippedWhilePausedIsNotCapturedAfterResuming()
{
    m_prefs->prefs.setPaused(true);
    m_pasteboard->copy(textFlavors(QStringLiteral("private")));
    m_monitor->poll();
    QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());
    m_prefs->prefs.setPaused(false);
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 0);
}

void ClipboardMonitorTest::ignoredApplicationIsNotAskedWhilePaused()
{
    m_prefs->prefs.setPaused(true);
    m_pasteboard->copy(textFlavors(QStringLiteral("x")));
    m_monitor->poll();
    QCOMPARE(m_workspace->queries, 0);
}

void ClipboardMonitorTest::copyInIgnoredApplicationIsSkipped_data()
{
    QTest::addColumn<QStringList>("ignored");
    QTest::addColumn<std::optional<RunningApplication>>("frontmost");
    QTest::addColumn<bool>("captured");

    const QStringList list{QStringLiteral("KeePassXC"), QString()};
    QTest::newRow("identifier on the list")
        << list << std::optional(RunningApplication{1, "KeePassXC", 7}) << false;
    QTest::newRow("identifier differs in case")
        << list << std::optional(RunningApplication{1, "keepassxc", 7}) << false;
    QTest::newRow("application without identifier")
        << list << std::optional(RunningApplication{1, {}, 7}) << true;
    QTest::newRow("no frontmost application")
        << list << std::optional<RunningApplication>() << true;
    QTest::newRow("empty list") << QStringList()
                                << std::optional(RunningApplication{1, "KeePassXC", 7}) << true;
}

void ClipboardMonitorTest::copyInIgnoredApplicationIsSkipped()
{
    QFETCH(QStringList, ignored);
    QFETCH(std::optional<RunningApplication>, frontmost);
    QFETCH(bool, captured);

    m_prefs->prefs.setIgnoredApps(ignored);
    m_workspace->frontmost = frontmost;
    m_pasteboard->copy(textFlavors(QStringLiteral("secret-ish")));
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), captured ? 1 : 0);
    QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());
}

void ClipboardMonitorTest::sameContentFromAnotherApplicationIsCaptured()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_prefs->prefs.setIgnoredApps({QStringLiteral("KeePassXC")});
    m_workspace->frontmost = RunningApplication{1, QStringLiteral("KeePassXC"), 7};
    m_pasteboard->copy(textFlavors(QStringLiteral("same")));
    m_monitor->poll();

    m_workspace->frontmost = RunningApplication{2, QStringLiteral("firefox"), 8};
    m_pasteboard->copy(textFlavors(QStringLiteral("same")));
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 1);
    m_pasteboard->completeLastRead();
    QVERIFY(delivered.wait(5000));
    QCOMPARE(delivered.at(0).at(0).value<ClipItem>().text, QStringLiteral("same"));
}

void ClipboardMonitorTest::newerChangeCancelsOlderRead()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy(textFlavors(QStringLiteral("first")));
    m_monitor->poll();
    m_pasteboard->copy(textFlavors(QStringLiteral("second")));
    m_monitor->poll();
    QCOMPARE(m_pasteboard->readCount(), 2);
    QVERIFY(m_pasteboard->cancelCount() >= 1);

    // The older read answering late, even after the newer one, is dropped either way.
    m_pasteboard->completeRead(1);
    m_pasteboard->completeRead(0, textFlavors(QStringLiteral("first")));
    QVERIFY(delivered.wait(5000));
    QTest::qWait(50);
    QCOMPARE(delivered.size(), 1);
    QCOMPARE(delivered.at(0).at(0).value<ClipItem>().text, QStringLiteral("second"));
    QCOMPARE(m_copyPlays, 1);
}

void ClipboardMonitorTest::changeSkippedDuringReadStillDropsTheOlderRead()
{
    // The owner changed while the read ran, so what it returns may be the newer content,
    // copied while paused; it must not be captured.
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy(textFlavors(QStringLiteral("before pausing")));
    m_monitor->poll();
    m_prefs->prefs.setPaused(true);
    m_pasteboard->copy(textFlavors(QStringLiteral("while paused")));
    m_monitor->poll();
    m_pasteboard->completeRead(0);
    QTest::qWait(100);
    QCOMPARE(delivered.size(), 0);
}

void ClipboardMonitorTest::nothingReadableDeliversNothing()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy({{QStringLiteral("text/plain"), "unreadable"}});
    m_monitor->poll();
    // A read that gave up (dead owner, deadline passed) returns nothing.
    m_pasteboard->completeRead(0, {});
    QTest::qWait(100);
    QCOMPARE(delivered.size(), 0);
    QCOMPARE(m_copyPlays, 0);
}

void ClipboardMonitorTest::passwordManagerCopyIsSkipped()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy({{QStringLiteral("UTF8_STRING"), "hunter2"},
                        {QStringLiteral("x-kde-passwordManagerHint"), "secret"}});
    m_monitor->poll();
    m_pasteboard->completeLastRead();
    QTest::qWait(100);
    QCOMPARE(delivered.size(), 0);
    QCOMPARE(m_copyPlays, 0);
}

void ClipboardMonitorTest::repeatedContentIsDeliveredWithItsSound()
{
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    for (int i = 0; i < 2; ++i) {
        m_pasteboard->copy(textFlavors(QStringLiteral("again")));
        m_monitor->poll();
        m_pasteboard->completeLastRead();
        QTRY_COMPARE_WITH_TIMEOUT(delivered.size(), i + 1, 5000);
    }
    QCOMPARE(m_copyPlays, 2);
}

void ClipboardMonitorTest::itemIsDeliveredSilentlyWhenSoundsAreOff()
{
    m_prefs->prefs.setPlaySounds(false);
    QSignalSpy delivered(m_monitor.get(), &ClipboardMonitor::onNew);
    m_pasteboard->copy(textFlavors(QStringLiteral("quiet")));
    m_monitor->poll();
    m_pasteboard->completeLastRead();
    QVERIFY(delivered.wait(5000));
    QCOMPARE(m_copyPlays, 0);
}

void ClipboardMonitorTest::itemRules_data()
{
    QTest::addColumn<Flavors>("flavors");
    QTest::addColumn<bool>("isImage");
    QTest::addColumn<QString>("text");

    const QByteArray png = encode(testImage(), "png");
    const QByteArray tiff = encode(testImage(), "tiff");
    const QByteArray bmp = encode(testImage(), "bmp");

    QTest::newRow("PNG wins over text")
        << Flavors{{"image/png", png}, {"UTF8_STRING", "caption"}} << true << QString();
    QTest::newRow("PNG bytes are taken as they are")
        << Flavors{{"image/png", "not really a png"}} << true << QString();
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
    QTest::newRow("UTF8_STRING preferred over text/plain")
        << Flavors{{"UTF8_STRING", "second"}, {"text/plain", "third"}} << false << "second";
    QTest::newRow("non-ASCII text")
        << Flavors{{"text/plain", "gr\xc3\xbc\xc3\x9f dich \xe2\x9c\x93"}} << false
        << QStringLiteral("grüß dich ✓");
    QTest::newRow("blank text gets the label")
        << Flavors{{"text/plain", " \t\n "}} << false << "[1 format]  text/plain";
    QTest::newRow("text that is not UTF-8 gets the label")
        << Flavors{{"UTF8_STRING", "caf\xe9 \xff\xfe"}, {"STRING", "caf\xe9"}} << false
        << "[2 formats]  STRING, UTF8_STRING";
    QTest::newRow("no text type gets the label")
        << Flavors{{"text/html", "<b>x</b>"}, {"application/x-thing", ""}, {"STRING", "x"}} << false
        << "[3 formats]  STRING, application/x-thing";
    QTest::newRow("password manager hint other than secret is captured")
        << Flavors{{"UTF8_STRING", "visible"}, {"x-kde-passwordManagerHint", "public"}} << false
        << "visible";
}

void ClipboardMonitorTest::itemRules()
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
        // Every flavor is kept, with PNG added when it was missing.
        Flavors expected = flavors;
        expected.insert("image/png", *item->imageData);
        QCOMPARE(*item->flavors, expected);
    } else {
        QVERIFY(!item->imageData);
        QCOMPARE(item->text, text);
        QCOMPARE(item->flavors, flavors);
    }
}

void ClipboardMonitorTest::imageConvertedToPngKeepsItsPixels()
{
    const auto item = ClipboardMonitor::itemFromFlavors(
        {{"image/tiff", encode(testImage(), "tiff")}});
    QVERIFY(item && item->imageData);
    QImage decoded;
    QVERIFY(decoded.loadFromData(*item->imageData, "PNG"));
    QCOMPARE(decoded.convertToFormat(QImage::Format_RGB32), testImage());
}

void ClipboardMonitorTest::itemFieldsAreFresh()
{
    QVERIFY(!ClipboardMonitor::itemFromFlavors({}));
    QVERIFY(!ClipboardMonitor::itemFromFlavors(
        {{"UTF8_STRING", "pw"}, {"x-kde-passwordManagerHint", "secret"}}));

    const Timestamp before = Timestamp::now();
    const auto a = ClipboardMonitor::itemFromFlavors(textFlavors("same"));
    const auto b = ClipboardMonitor::itemFromFlavors(textFlavors("same"));
    QVERIFY(a && b);
    QVERIFY(!a->id.isNull());
    QVERIFY(a->id != b->id);
    QVERIFY(!(a->createdAt < before));
    QVERIFY(!a->ocrText);
    QVERIFY(a->sameContent(*b));
}

void ClipboardMonitorTest::formatsLabel_data()
{
    QTest::addColumn<Flavors>("flavors");
    QTest::addColumn<QString>("label");
    QTest::newRow("one") << Flavors{{"text/plain", ""}} << "[1 format]  text/plain";
    QTest::newRow("two") << Flavors{{"b", ""}, {"a", ""}} << "[2 formats]  a, b";
    QTest::newRow("three, two smallest in order")
        << Flavors{{"text/html", ""}, {"TARGETS-like", ""}, {"image/x", ""}}
        << "[3 formats]  TARGETS-like, image/x";
    QTest::newRow("twelve") << [] {
        Flavors many;
        for (int i = 10; i < 22; ++i)
            many.insert(QStringLiteral("t%1").arg(i), {});
        return many;
    }() << "[12 formats]  t10, t11";
}

void ClipboardMonitorTest::formatsLabel()
{
    QFETCH(Flavors, flavors);
    QFETCH(QString, label);
    QCOMPARE(ClipboardMonitor::formatsLabel(flavors), label);
}

QTEST_GUILESS_MAIN(ClipboardMonitorTest)
#include "tst_clipboardmonitor.moc"
