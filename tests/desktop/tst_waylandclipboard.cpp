// The clipboard of a real Wayland compositor through its data-control protocol, under a private
// headless sway: capture from wl-copy and from a test source that can misbehave, serving our own
// writes to wl-paste, and a compositor that goes away.

#include "common/CaptureRig.h"
#include "common/DesktopClipboard.h"
#include "common/Images.h"
#include "common/Programs.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakeWorkspace.h"
#include "platform/wayland/WaylandPasteboard.h"

#include <QSignalSpy>
#include <QTemporaryFile>

using namespace std::chrono_literals;

namespace {

constexpr auto kTypeTimeout = 500ms;

using Rig = CaptureRig<WaylandPasteboard, FakeWorkspace, FakeKeyPoster>;

} // namespace

class WaylandClipboardTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariable("WAYLAND_DISPLAY").startsWith(u'/'),
                 "run this test in the headless Wayland session");
    }

    void init()
    {
        r = std::make_unique<Rig>(QByteArray(), kTypeTimeout);
        QVERIFY(r->pasteboard.isActive());
        m_taken = 0;
        r->monitor.start();
    }

    void cleanup()
    {
        m_programs.stopAll();
        r.reset();
    }

    void wlCopyBecomesItem_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<ClipKind>("kind");
        QTest::addColumn<QString>("text");

        QTest::newRow("text") << "text/plain;charset=utf-8"
                              << QStringLiteral("héllo from wl-copy ✓\nline 2").toUtf8()
                              << ClipKind::Text << QStringLiteral("héllo from wl-copy ✓\nline 2");
        // wl-copy offers HTML under the text types too.
        QTest::newRow("HTML") << "text/html" << QByteArray("<b>bold</b>") << ClipKind::Text
                              << "<b>bold</b>";
        QTest::newRow("PNG") << "image/png" << encodeImage(testImage(), "png") << ClipKind::Image
                             << QString();
    }

    void wlCopyBecomesItem()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(ClipKind, kind);
        QFETCH(QString, text);

        copy({"wl-copy", "--foreground", "--type", type}, bytes);
        const ClipItem item = nextDelivered(r->delivered, m_taken);
        QVERIFY(!item.id.isNull());
        QCOMPARE(item.kind, kind);
        QVERIFY(item.flavors);
        QCOMPARE(item.flavors->value(type), bytes);
        if (kind == ClipKind::Text) {
            QCOMPARE(item.text, text);
        } else {
            QCOMPARE(item.flavors->value("image/png"), *item.imageData);
            QCOMPARE(item.image().convertToFormat(QImage::Format_RGB32), testImage());
        }
        QCOMPARE(r->copyPlays, 1);
    }

    void everyFlavorOfARichCopyIsKept()
    {
        startReady(m_programs,
                   QStringLiteral(WAYLAND_SOURCE),
                   {"-t",
                    "text/html",
                    "-s",
                    "<i>rich</i>",
                    "-t",
                    "text/plain;charset=utf-8",
                    "-s",
                    "rich ✓",
                    "-t",
                    "application/x-custom",
                    "-s",
                    "\x01\x02"});
        const ClipItem item = nextDelivered(r->delivered, m_taken);
        QCOMPARE(item.text, QStringLiteral("rich ✓"));
        const Flavors expected{{"text/html", "<i>rich</i>"},
                               {"text/plain;charset=utf-8", "rich ✓"},
                               {"application/x-custom", "\x01\x02"}};
        QCOMPARE(*item.flavors, expected);
    }

    // Each type has its own deadline: one that fails costs only itself.
    void misbehavingTypeIsLeftOutAndTheOthersKept_data()
    {
        QTest::addColumn<QString>("behaviour");
        QTest::newRow("never answers") << "--silent";
        QTest::newRow("closes its pipe at once") << "--close";
        // Ten deadlines at most.
        QTest::newRow("trickles forever") << "--trickle";
    }

    void misbehavingTypeIsLeftOutAndTheOthersKept()
    {
        QFETCH(QString, behaviour);
        startReady(m_programs,
                   QStringLiteral(WAYLAND_SOURCE),
                   {"-t",
                    "text/html",
                    behaviour,
                    "-t",
                    "text/plain;charset=utf-8",
                    "-s",
                    "kept",
                    "-t",
                    "image/x-broken",
                    behaviour});
        const ClipItem item = nextDelivered(r->delivered, m_taken);
        QCOMPARE(item.text, QStringLiteral("kept"));
        QCOMPARE(item.flavors->keys(), QStringList{"text/plain;charset=utf-8"});

        // The reader is free again for the next copy.
        copy({"wl-copy", "--foreground"}, "after");
        QCOMPARE(nextDelivered(r->delivered, m_taken).text, QStringLiteral("after"));
    }

    void largeCopyArrivesWhole()
    {
        const QByteArray big = randomBytes(50 * 1024 * 1024);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(big);
        file.close();
        copy({"wl-copy", "--foreground", "--type", "image/png"}, {}, file.fileName());
        const ClipItem item = nextDelivered(r->delivered, m_taken);
        QCOMPARE(item.kind, ClipKind::Image);
        QCOMPARE(item.imageData->size(), big.size());
        QVERIFY(*item.imageData == big);
    }

    void secretCopyIsSkipped()
    {
        startReady(m_programs,
                   QStringLiteral(WAYLAND_SOURCE),
                   {"-t",
                    "text/plain;charset=utf-8",
                    "-s",
                    "hunter2",
                    "-t",
                    "x-kde-passwordManagerHint",
                    "-s",
                    "secret"});
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        copy({"wl-copy", "--foreground"}, "public");
        QCOMPARE(nextDelivered(r->delivered, m_taken).text, QStringLiteral("public"));
        QCOMPARE(r->delivered.size(), 1);
    }

    void ownWriteIsServedButNotCaptured()
    {
        copy({"wl-copy", "--foreground"}, "theirs");
        QCOMPARE(nextDelivered(r->delivered, m_taken).text, QStringLiteral("theirs"));

        const qint64 before = r->pasteboard.changeCount();
        const Flavors flavors{{"text/html", "<b>ours</b>"},
                              {"text/plain;charset=utf-8", "ours ✓\nsecond line"},
                              {"image/png", encodeImage(testImage(), "png")},
                              {"application/x-custom", QByteArray("\0\1\2", 3)}};
        r->monitor.setSuppressNextChange(true);
        r->pasteboard.writeFlavors(flavors);
        QTRY_VERIFY_WITH_TIMEOUT(r->pasteboard.changeCount() > before, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QVERIFY(!r->monitor.suppressNextChange());

        for (auto it = flavors.cbegin(); it != flavors.cend(); ++it)
            QCOMPARE(paste(it.key()), it.value());
        // Readers asking for the generic text types get the UTF-8 text.
        QCOMPARE(paste("text/plain"), QByteArray("ours ✓\nsecond line"));
        QCOMPARE(paste("UTF8_STRING"), QByteArray("ours ✓\nsecond line"));

        r->monitor.setSuppressNextChange(true);
        r->pasteboard.writeString(QStringLiteral("grüße"));
        QTRY_COMPARE_WITH_TIMEOUT(QString::fromUtf8(paste("text/plain;charset=utf-8")),
                                  QStringLiteral("grüße"),
                                  10000);
        QTest::qWait(4 * int(kTypeTimeout.count()));
        QCOMPARE(r->delivered.size(), 1);

        // Another program taking the clipboard ends our ownership; its copy is recorded.
        copy({"wl-copy", "--foreground"}, "next");
        QCOMPARE(nextDelivered(r->delivered, m_taken).text, QStringLiteral("next"));
    }

    // A reader that takes one byte and goes away must not stop us serving the next one.
    void readerThatGoesAwayEarlyDoesNotHurt()
    {
        const QByteArray big = randomBytes(4 * 1024 * 1024);
        r->monitor.setSuppressNextChange(true);
        r->pasteboard.writeFlavors({{"application/octet-stream", big}});
        QTRY_COMPARE_WITH_TIMEOUT(r->monitor.lastChange(), r->pasteboard.changeCount(), 10000);
        QVERIFY(Programs::succeeds("sh",
                                   {"-c",
                                    "wl-paste --type application/octet-stream | head -c 1 "
                                    ">/dev/null"}));
        QCOMPARE(paste("application/octet-stream").size(), big.size());
    }

    void compositorThatGoesAwayIsReported()
    {
        // A second session of its own, ended by the test.
        QProcess *session = m_programs.start(QStringLiteral(CLIPHAVEN_SOURCE_DIR
                                                            "/scripts/with-headless-sway.sh"),
                                             {"sh",
                                              "-c",
                                              "echo \"$WAYLAND_DISPLAY\"; exec sleep 600"});
        QTRY_VERIFY_WITH_TIMEOUT(session->canReadLine(), 30000);
        const QByteArray socket = session->readLine().trimmed();
        WaylandPasteboard pasteboard(socket, kTypeTimeout);
        QVERIFY(pasteboard.isActive());
        QSignalSpy lost(&pasteboard, &WaylandPasteboard::compositorLost);
        session->terminate();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 20000);
        // Nothing can be read or written any more, and asking does not hang.
        pasteboard.writeString(QStringLiteral("nowhere"));
        std::optional<Flavors> read;
        pasteboard.readFirstItem([&](Flavors flavors) { read = std::move(flavors); });
        QTest::qWait(200);
        QVERIFY(!read || read->isEmpty());
    }

    void withoutACompositorNothingIsActive()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        WaylandPasteboard pasteboard(file.fileName().toUtf8() + ".missing", kTypeTimeout);
        QVERIFY(!pasteboard.isActive());
        QCOMPARE(pasteboard.changeCount(), 0);
        std::optional<Flavors> read;
        pasteboard.readFirstItem([&](Flavors flavors) { read = std::move(flavors); });
        QTRY_VERIFY(read.has_value());
        QVERIFY(read->isEmpty());
        pasteboard.writeString(QStringLiteral("nowhere"));
    }

private:
    void copy(const QStringList &command, const QByteArray &bytes, const QString &file = {});
    QByteArray paste(const QString &type);

    Programs m_programs;
    std::unique_ptr<Rig> r;
    qsizetype m_taken = 0;
};

void WaylandClipboardTest::copy(const QStringList &command,
                                const QByteArray &bytes,
                                const QString &file)
{
    const qint64 before = r->pasteboard.changeCount();
    if (file.isEmpty()) {
        m_programs.start(command.first(), command.mid(1), bytes, true);
    } else {
        m_programs.start(QStringLiteral("sh"),
                         QStringList{"-c", "exec \"$@\" < \"$0\"", file, command.first()}
                             + command.mid(1));
    }
    QTRY_VERIFY_WITH_TIMEOUT(r->pasteboard.changeCount() > before, 20000);
}

QByteArray WaylandClipboardTest::paste(const QString &type)
{
    return Programs::run("wl-paste", {"--no-newline", "--type", type}).value_or(QByteArray());
}

QTEST_GUILESS_MAIN(WaylandClipboardTest)
#include "tst_waylandclipboard.moc"
