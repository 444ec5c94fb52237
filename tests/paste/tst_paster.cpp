#include "common/CaptureRig.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const RunningApplication kEditor{0x2a00007, QStringLiteral("Gedit"), 4242, QStringLiteral("gedit")};

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

// Paste-back: what is written, activation and the keystroke, the alert, and the sounds.
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

    // The keystroke the target takes follows its activation after a delay; without a target,
    // nothing is activated and Ctrl+V is posted.
    void keystrokeForTheTarget_data()
    {
        using Target = std::optional<RunningApplication>;
        QTest::addColumn<Target>("target");
        QTest::addColumn<QStringList>("choices");
        QTest::addColumn<PasteKeystroke>("keystroke");
        QTest::addColumn<QStringList>("primary");

        const RunningApplication xterm{0x1400001, "XTerm", 77, "xterm"};
        QTest::newRow("an editor")
            << Target(kEditor) << QStringList() << PasteKeystroke::controlV << QStringList();
        QTest::newRow("no remembered application")
            << Target() << QStringList() << PasteKeystroke::controlV << QStringList();
        QTest::newRow("xterm: the text selection first, then Shift+Insert")
            << Target(xterm) << QStringList() << PasteKeystroke::shiftInsert << QStringList{"hi ✓"};
        QTest::newRow("the user's choice for a program")
            << Target(kEditor) << QStringList{"shift+insert gedit"} << PasteKeystroke::shiftInsert
            << QStringList{"hi ✓"};
    }

    void keystrokeForTheTarget()
    {
        QFETCH(std::optional<RunningApplication>, target);
        QFETCH(QStringList, choices);
        QFETCH(PasteKeystroke, keystroke);
        QFETCH(QStringList, primary);

        r->prefs.setPasteKeystrokes(choices);
        r->paster.paste(textItem("hi ✓", Flavors{{"UTF8_STRING", "hi ✓"}}), target, r->monitor);
        QCOMPARE(r->workspace.activated.size(), target ? 1 : 0);
        // Set at once, well before the keystroke asks for it.
        QCOMPARE(r->pasteboard.primaryWrites(), primary);
        // Not at once: the reactivated window gets time to take the focus.
        QVERIFY(r->keys.keystrokes.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(r->keys.keystrokes, QList<PasteKeystroke>{keystroke}, 5000);
        // The clipboard itself gets the item whichever keystroke follows.
        QCOMPARE(r->pasteboard.writes().size(), 1);
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
        QVERIFY(r->keys.keystrokes.isEmpty());
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

    // No sound server to talk to: the real voices stay silent and never hold anything up.
    void withoutAServerSoundsPlaySilently()
    {
        qputenv("PULSE_SERVER", "unix:/nonexistent/native");
        TestPrefs prefs;
        Sounds sounds(prefs.prefs);
        for (int i = 0; i < 3; ++i) {
            sounds.copy();
            sounds.paste();
            QTest::qWait(20);
        }
    }

    void voices_data()
    {
        QTest::addColumn<bool>("soundsOn");
        QTest::addColumn<bool>("copyVoiceMissing");
        QTest::addColumn<int>("copies");
        QTest::addColumn<int>("pastes");
        QTest::newRow("each sound on its own voice") << true << false << 2 << 1;
        QTest::newRow("silent when sounds are off") << false << false << 0 << 0;
        QTest::newRow("a missing voice silences only its sound") << true << true << 0 << 1;
    }

    void voices()
    {
        QFETCH(bool, soundsOn);
        QFETCH(bool, copyVoiceMissing);
        QFETCH(int, copies);
        QFETCH(int, pastes);

        TestPrefs prefs;
        prefs.prefs.setPlaySounds(soundsOn);
        int copyPlays = 0;
        int pastePlays = 0;
        const Sounds::VoiceFactory counting = countingVoices(&copyPlays, &pastePlays);
        bool first = true;
        Sounds sounds(prefs.prefs,
                      [&](const QList<float> &samples) -> std::unique_ptr<Sounds::Voice> {
                          auto voice = counting(samples);
                          return std::exchange(first, false) && copyVoiceMissing ? nullptr
                                                                                 : std::move(voice);
                      });
        sounds.copy();
        sounds.copy();
        sounds.paste();
        QCOMPARE(copyPlays, copies);
        QCOMPARE(pastePlays, pastes);
        // Switched on again, the sounds play.
        prefs.prefs.setPlaySounds(true);
        sounds.paste();
        QCOMPARE(pastePlays, pastes + 1);
    }

private:
    std::unique_ptr<Rig> r;
};

QTEST_GUILESS_MAIN(PasterTest)
#include "tst_paster.moc"
