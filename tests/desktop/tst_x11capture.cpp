// Capture from real clipboard owners on a real X server: xclip, and a test owner that can
// misbehave. Runs under a private Xvfb with openbox.

#include "common/CaptureRig.h"
#include "common/Images.h"
#include "common/Programs.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakeWorkspace.h"
#include "platform/x11/X11Pasteboard.h"

#include <QGuiApplication>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryFile>

using namespace std::chrono_literals;

namespace {

constexpr auto kRequestTimeout = 500ms;

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator(42).fillRange(reinterpret_cast<quint32 *>(bytes.data()), size / 4);
    return bytes;
}

using Rig = CaptureRig<X11Pasteboard, FakeWorkspace, FakeKeyPoster>;

} // namespace

class X11CaptureTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QGuiApplication::platformName() == u"xcb", "run this test on an X server");
    }

    void init()
    {
        r = std::make_unique<Rig>(kRequestTimeout);
        QVERIFY(r->pasteboard.isConnected());
        m_taken = 0;
        r->monitor.start();
    }

    void cleanup()
    {
        m_programs.stopAll();
        r.reset();
    }

    void xclipCopyBecomesItem_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<ClipKind>("kind");
        QTest::addColumn<QString>("text");

        QTest::newRow("text") << "UTF8_STRING" << QStringLiteral("héllo from xclip ✓\n").toUtf8()
                              << ClipKind::Text << QStringLiteral("héllo from xclip ✓\n");
        QTest::newRow("HTML") << "text/html" << QByteArray("<b>bold</b>") << ClipKind::Text
                              << "[1 format]  text/html";
        QTest::newRow("PNG") << "image/png" << encodeImage(testImage(), "png") << ClipKind::Image
                             << QString();
        QTest::newRow("TIFF") << "image/tiff" << encodeImage(testImage(), "tiff") << ClipKind::Image
                              << QString();
    }

    void xclipCopyBecomesItem()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(ClipKind, kind);
        QFETCH(QString, text);

        copyWithXclip(type, bytes);
        const ClipItem item = nextItem();
        QVERIFY(!item.id.isNull());
        QCOMPARE(item.kind, kind);
        QVERIFY(item.flavors);
        QCOMPARE(item.flavors->value(type), bytes);
        if (kind == ClipKind::Text) {
            QCOMPARE(item.text, text);
        } else {
            QVERIFY(item.imageData);
            QCOMPARE(item.flavors->value("image/png"), *item.imageData);
            QCOMPARE(item.image().convertToFormat(QImage::Format_RGB32), testImage());
        }
        QCOMPARE(r->copyPlays, 1);
    }

    void everyFlavorOfARichCopyIsKept()
    {
        startOwner(QStringLiteral("-t text/html -s <i>rich</i> -t UTF8_STRING -s rich "
                                  "-t text/plain;charset=utf-8 -s rich -t application/x-empty -s")
                       .split(u' ')
                   << QString());
        const ClipItem item = nextItem();
        QCOMPARE(item.text, QStringLiteral("rich"));
        const Flavors expected{{"text/html", "<i>rich</i>"},
                               {"UTF8_STRING", "rich"},
                               {"text/plain;charset=utf-8", "rich"},
                               {"application/x-empty", ""}};
        QCOMPARE(*item.flavors, expected);
    }

    void largeImageArrivesWhole()
    {
        const QByteArray big = randomBytes(50 * 1024 * 1024);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(big);
        file.close();
        copyWithXclip("image/png", {}, file.fileName());
        const ClipItem item = nextItem();
        QCOMPARE(item.kind, ClipKind::Image);
        QCOMPARE(item.imageData->size(), big.size());
        QVERIFY(*item.imageData == big);
    }

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
        startOwner(arguments.replace(QStringLiteral("BIGFILE"), file.fileName()).split(u' '));
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 0);
        QCOMPARE(r->copyPlays, 0);

        // The reader is free again for the next copy.
        copyWithXclip("UTF8_STRING", "after");
        QCOMPARE(nextItem().text, QStringLiteral("after"));
        QCOMPARE(r->delivered.size(), 1);
    }

    void slowOwnerWithinTheDeadlineIsRead()
    {
        startOwner({"--delay", "150", "-t", "UTF8_STRING", "-s", "slowly"});
        QCOMPARE(nextItem().text, QStringLiteral("slowly"));
    }

    void copyDuringASlowReadIsDeliveredOnce()
    {
        // Each answer of this owner takes 0.3 s: its read is still running when the next copy
        // comes, which supersedes it.
        startOwner(
            {"--delay", "300", "-t", "UTF8_STRING", "-s", "slow", "-t", "text/html", "-s", "s"});
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        copyWithXclip("UTF8_STRING", "newer");
        QCOMPARE(nextItem().text, QStringLiteral("newer"));
        QTest::qWait(4 * int(kRequestTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);
    }

    void ownWriteIsServedButNotCaptured()
    {
        // Someone else owns the clipboard first, as when pasting back after a copy elsewhere.
        copyWithXclip("UTF8_STRING", "theirs");
        QCOMPARE(nextItem().text, QStringLiteral("theirs"));

        const qint64 before = r->pasteboard.changeCount();
        const Flavors flavors{{"text/html", "<b>ours</b>"},
                              {"UTF8_STRING", "ours ✓"},
                              {"image/png", encodeImage(testImage(), "png")},
                              {"application/x-custom", QByteArray("\0\1\2", 3)}};
        r->monitor.setSuppressNextChange(true);
        r->pasteboard.writeFlavors(flavors);
        QTRY_VERIFY_WITH_TIMEOUT(r->pasteboard.changeCount() > before, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QVERIFY(!r->monitor.suppressNextChange());

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

private:
    void copyWithXclip(const QString &type, const QByteArray &bytes, const QString &file = {});
    void startOwner(const QStringList &arguments);
    ClipItem nextItem();
    QByteArray pasteWithXclip(const QString &type);

    Programs m_programs;
    std::unique_ptr<Rig> r;
    qsizetype m_taken = 0;
};

void X11CaptureTest::copyWithXclip(const QString &type, const QByteArray &bytes, const QString &file)
{
    const qint64 before = r->pasteboard.changeCount();
    QStringList arguments{"-quiet", "-selection", "clipboard", "-t", type, "-i"};
    if (!file.isEmpty())
        arguments << file;
    m_programs.start(QStringLiteral("xclip"), arguments, bytes, file.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(r->pasteboard.changeCount() > before, 20000);
}

void X11CaptureTest::startOwner(const QStringList &arguments)
{
    QProcess *owner = m_programs.start(QStringLiteral(CLIPBOARD_OWNER), arguments);
    QTRY_VERIFY_WITH_TIMEOUT(owner->canReadLine(), 20000);
    QCOMPARE(owner->readLine(), QByteArray("ready\n"));
}

ClipItem X11CaptureTest::nextItem()
{
    if (!QTest::qWaitFor([&] { return r->delivered.size() > m_taken; }, 30000))
        return {};
    return r->delivered.at(m_taken++).at(0).value<ClipItem>();
}

QByteArray X11CaptureTest::pasteWithXclip(const QString &type)
{
    // xclip asks on its own connection; this process answers from its event loop meanwhile.
    return Programs::run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard", "-t", type})
        .value_or(QByteArray());
}

QTEST_MAIN(X11CaptureTest)
#include "tst_x11capture.moc"
