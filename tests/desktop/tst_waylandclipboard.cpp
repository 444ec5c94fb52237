// The clipboard of a real Wayland compositor through its data-control protocol, under a private
// headless sway: capture from wl-copy and from a test source that can misbehave, serving our own
// writes to wl-paste, and a compositor that goes away.

#include "common/DesktopClipboard.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakeWorkspace.h"
#include "platform/wayland/WaylandPasteboard.h"

#include <QSignalSpy>
#include <QTemporaryFile>

using namespace std::chrono_literals;

namespace {

constexpr auto kTypeTimeout = 500ms;

using Rig = DesktopRig<WaylandPasteboard, FakeWorkspace, FakeKeyPoster>;

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
    }

    void cleanup() { r.reset(); }

    void wlCopyBecomesItem_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<ClipKind>("kind");
        QTest::addColumn<QString>("text");

        QTest::newRow("text") << "text/plain;charset=utf-8"
                              << QStringLiteral("héllo from wl-copy ✓\nline 2").toUtf8()
                              << ClipKind::Text << QStringLiteral("héllo from wl-copy ✓\nline 2");
        QTest::newRow("PNG") << "image/png" << encodeImage(testImage(), "png") << ClipKind::Image
                             << QString();
    }

    void wlCopyBecomesItem()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(ClipKind, kind);
        QFETCH(QString, text);

        QVERIFY(r->copy({"wl-copy", "--foreground", "--type", type}, bytes));
        r->checkNextItem(type, bytes, kind, text);
    }

    void everyFlavorOfARichCopyIsKept()
    {
        startReady(r->programs,
                   QStringLiteral(WAYLAND_SOURCE),
                   QStringLiteral(
                       "-t text/html -s <i>rich</i> -t text/plain;charset=utf-8 -s rich✓ "
                       "-t application/x-custom -s")
                           .split(u' ')
                       << "\x01\x02");
        const ClipItem item = r->next();
        QCOMPARE(item.text, QStringLiteral("rich✓"));
        const Flavors expected{{"text/html", "<i>rich</i>"},
                               {"text/plain;charset=utf-8", "rich✓"},
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
        startReady(r->programs,
                   QStringLiteral(WAYLAND_SOURCE),
                   QStringLiteral("-t text/html %1 -t text/plain;charset=utf-8 -s kept "
                                  "-t image/x-broken %1")
                       .arg(behaviour)
                       .split(u' '));
        const ClipItem item = r->next();
        QCOMPARE(item.text, QStringLiteral("kept"));
        QCOMPARE(item.flavors->keys(), QStringList{"text/plain;charset=utf-8"});

        // The reader is free again for the next copy.
        QVERIFY(r->copy({"wl-copy", "--foreground"}, "after"));
        QCOMPARE(r->next().text, QStringLiteral("after"));
    }

    void largeCopyArrivesWhole()
    {
        r->checkLargeCopy({"wl-copy", "--foreground", "--type", "image/png"});
    }

    void ownWriteIsServedButNotCaptured()
    {
        QVERIFY(r->copy({"wl-copy", "--foreground"}, "theirs"));
        QCOMPARE(r->next().text, QStringLiteral("theirs"));

        const Flavors flavors{{"text/html", "<b>ours</b>"},
                              {"text/plain;charset=utf-8", "ours ✓\nsecond line"},
                              {"image/png", encodeImage(testImage(), "png")},
                              {"application/x-custom", QByteArray("\0\1\2", 3)}};
        QVERIFY(r->writeOwn(flavors));

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
        QVERIFY(r->copy({"wl-copy", "--foreground"}, "next"));
        QCOMPARE(r->next().text, QStringLiteral("next"));
    }

    // A reader that takes one byte and goes away must not stop us serving the next one.
    void readerThatGoesAwayEarlyDoesNotHurt()
    {
        const QByteArray big = randomBytes(4 * 1024 * 1024);
        QVERIFY(r->writeOwn({{"application/octet-stream", big}}));
        QVERIFY(Programs::succeeds("sh",
                                   {"-c",
                                    "wl-paste --type application/octet-stream | head -c 1 "
                                    ">/dev/null"}));
        QCOMPARE(paste("application/octet-stream").size(), big.size());
    }

    void compositorThatGoesAwayIsReported()
    {
        // A second session of its own, ended by the test.
        QProcess *session = r->programs.start(QStringLiteral(CLIPHAVEN_SOURCE_DIR
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
    QByteArray paste(const QString &type);

    std::unique_ptr<Rig> r;
};

QByteArray WaylandClipboardTest::paste(const QString &type)
{
    return Programs::run("wl-paste", {"--no-newline", "--type", type}).value_or(QByteArray());
}

QTEST_GUILESS_MAIN(WaylandClipboardTest)
#include "tst_waylandclipboard.moc"
