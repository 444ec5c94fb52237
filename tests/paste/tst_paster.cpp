#include "common/CaptureRig.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const RunningApplication kEditor{0x2a00007, QStringLiteral("Gedit"), 4242};

ClipItem textItem(std::optional<QString> text, std::optional<Flavors> flavors = std::nullopt)
{
    ClipItem item = ClipItem::makeText(text.value_or(QString()));
    item.text = text;
    item.flavors = flavors;
    return item;
}

ClipItem imageItem(std::optional<QByteArray> png, std::optional<Flavors> flavors = std::nullopt)
{
    ClipItem item = ClipItem::makeImage(png.value_or(QByteArray()));
    item.imageData = png;
    item.flavors = flavors;
    return item;
}

using Rig = CaptureRig<FakePasteboard, FakeWorkspace, FakeKeyPoster>;

} // namespace

class PasterTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { r = std::make_unique<Rig>(); }
    void cleanup() { r.reset(); }

    void writesTheItem_data()
    {
        QTest::addColumn<ClipItem>("item");
        QTest::addColumn<bool>("asString");
        QTest::addColumn<Flavors>("flavors");
        QTest::addColumn<QString>("text");

        const Flavors rich{{"text/html", "<b>hi</b>"},
                           {"UTF8_STRING", "hi"},
                           {"application/x-odd", QByteArray("\0\1", 2)}};
        QTest::newRow("every flavor of a rich copy")
            << textItem("hi", rich) << false << rich << QString();
        QTest::newRow("text without flavors") << textItem("plain") << true << Flavors() << "plain";
        QTest::newRow("text with an empty flavor map")
            << textItem("plain", Flavors()) << true << Flavors() << "plain";
        QTest::newRow("text without text or flavors")
            << textItem(std::nullopt) << true << Flavors() << "";
        QTest::newRow("image without flavors")
            << imageItem("png bytes") << false << Flavors{{"image/png", "png bytes"}} << QString();
        QTest::newRow("image without data leaves the clipboard empty")
            << imageItem(std::nullopt) << false << Flavors() << QString();
    }

    void writesTheItem()
    {
        QFETCH(ClipItem, item);
        QFETCH(bool, asString);
        QFETCH(Flavors, flavors);
        QFETCH(QString, text);

        r->paster.paste(item, kEditor, r->monitor);
        QCOMPARE(r->pasteboard.writes().size(), 1);
        const FakePasteboard::Write &write = r->pasteboard.writes().first();
        QCOMPARE(write.kind == FakePasteboard::Write::String, asString);
        if (asString)
            QCOMPARE(write.text, text);
        else
            QCOMPARE(write.flavors, flavors);
        // The paste sound and activation happen whatever was written.
        QCOMPARE(r->pastePlays, 1);
        QCOMPARE(r->workspace.activated, QList<RunningApplication>{kEditor});
    }

    void ownWriteIsNotCapturedButTheNextCopyIs()
    {
        r->paster.paste(textItem("again"), kEditor, r->monitor);
        QVERIFY(r->monitor.suppressNextChange());
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), 0);
        QCOMPARE(r->monitor.lastChange(), r->pasteboard.changeCount());

        r->pasteboard.copy({{"UTF8_STRING", "user copy"}});
        r->monitor.poll();
        QCOMPARE(r->pasteboard.readCount(), 1);
    }

    void keystrokeFollowsActivationAfterADelay_data()
    {
        QTest::addColumn<std::optional<RunningApplication>>("target");
        QTest::newRow("into the remembered application") << std::optional(kEditor);
        QTest::newRow("without one, nothing is activated") << std::optional<RunningApplication>();
    }

    void keystrokeFollowsActivationAfterADelay()
    {
        QFETCH(std::optional<RunningApplication>, target);
        r->paster.paste(textItem("x"), target, r->monitor);
        QCOMPARE(r->workspace.activated.size(), target ? 1 : 0);
        // Not at once: the reactivated window gets time to take the focus.
        QCOMPARE(r->keys.keystrokes, 0);
        QTRY_COMPARE_WITH_TIMEOUT(r->keys.keystrokes, 1, 5000);
        QCOMPARE(r->keys.trustChecks, 1);
        // Trusted: never an alert, and nothing is marked.
        QCOMPARE(r->alerts, 0);
        QVERIFY(!r->prefs.settings().contains(AppPrefs::kAccessibilityPromptedKey));
    }

    void untrustedPasteLeavesItemAndAlertsOnceEver()
    {
        r->keys.trusted = false;
        r->paster.paste(textItem("first"), kEditor, r->monitor);
        // Marked before the alert is even shown.
        QVERIFY(r->prefs.settings().value(AppPrefs::kAccessibilityPromptedKey).toBool());
        QTRY_COMPARE_WITH_TIMEOUT(r->alerts, 1, 5000);
        r->paster.paste(textItem("second"), kEditor, r->monitor);
        QTest::qWait(3 * Paster::kKeystrokeDelayMs);
        QCOMPARE(r->alerts, 1);
        QCOMPARE(r->keys.keystrokes, 0);
        QCOMPARE(r->pasteboard.writes().size(), 2);
        QCOMPARE(r->pasteboard.writes().last().text, QStringLiteral("second"));
        QCOMPARE(r->workspace.activated.size(), 2);

        // Nor after a relaunch.
        r->prefs.settings().sync();
        AppPrefs relaunched(
            std::make_unique<QSettings>(r->prefs.settings().fileName(), QSettings::IniFormat));
        Paster paster(r->pasteboard, r->workspace, r->keys, r->sounds, relaunched);
        paster.setAlertPresenter([&] { ++r->alerts; });
        paster.paste(textItem("x"), kEditor, r->monitor);
        QTest::qWait(3 * Paster::kKeystrokeDelayMs);
        QCOMPARE(r->alerts, 1);
    }

private:
    std::unique_ptr<Rig> r;
};

QTEST_GUILESS_MAIN(PasterTest)
#include "tst_paster.moc"
