#include "capture/ClipboardMonitor.h"
#include "fakes/FakeKeyPoster.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeWorkspace.h"
#include "fakes/TestSounds.h"
#include "paste/Paster.h"

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

} // namespace

class PasterTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_prefs = std::make_unique<TestPrefs>();
        m_pasteboard = std::make_unique<FakePasteboard>();
        m_workspace = std::make_unique<FakeWorkspace>();
        m_keys = std::make_unique<FakeKeyPoster>();
        m_copyPlays = m_pastePlays = m_alerts = 0;
        m_sounds = std::make_unique<Sounds>(m_prefs->prefs,
                                            countingVoices(&m_copyPlays, &m_pastePlays));
        m_monitor = std::make_unique<ClipboardMonitor>(*m_pasteboard,
                                                       *m_workspace,
                                                       m_prefs->prefs,
                                                       *m_sounds);
        m_paster = std::make_unique<Paster>(*m_pasteboard,
                                            *m_workspace,
                                            *m_keys,
                                            *m_sounds,
                                            m_prefs->prefs);
        m_paster->setAlertPresenter([this] { ++m_alerts; });
    }

    void cleanup()
    {
        m_paster.reset();
        m_monitor.reset();
        m_sounds.reset();
        m_keys.reset();
        m_workspace.reset();
        m_pasteboard.reset();
        m_prefs.reset();
    }

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
        QTest::newRow("image flavors win over image data")
            << imageItem("png bytes", Flavors{{"image/tiff", "tiff"}, {"image/png", "png bytes"}})
            << false << Flavors{{"image/tiff", "tiff"}, {"image/png", "png bytes"}} << QString();
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

        m_paster->paste(item, kEditor, *m_monitor);
        QCOMPARE(m_pasteboard->writes().size(), 1);
        const FakePasteboard::Write &write = m_pasteboard->writes().first();
        QCOMPARE(write.kind == FakePasteboard::Write::String, asString);
        if (asString)
            QCOMPARE(write.text, text);
        else
            QCOMPARE(write.flavors, flavors);
        // The paste sound and activation happen whatever was written.
        QCOMPARE(m_pastePlays, 1);
        QCOMPARE(m_workspace->activated, QList<RunningApplication>{kEditor});
    }

    void ownWriteIsNotCapturedButTheNextCopyIs()
    {
        m_paster->paste(textItem("again"), kEditor, *m_monitor);
        QVERIFY(m_monitor->suppressNextChange());
        m_monitor->poll();
        QCOMPARE(m_pasteboard->readCount(), 0);
        QCOMPARE(m_monitor->lastChange(), m_pasteboard->changeCount());

        m_pasteboard->copy({{"UTF8_STRING", "user copy"}});
        m_monitor->poll();
        QCOMPARE(m_pasteboard->readCount(), 1);
    }

    void soundAndActivationFollowTheWrite()
    {
        struct Probe : FakeWorkspace
        {
            const FakePasteboard *pasteboard = nullptr;
            const int *pastePlays = nullptr;
            qsizetype writesAtActivation = -1;
            int playsAtActivation = -1;
            void activate(const RunningApplication &app) override
            {
                writesAtActivation = pasteboard->writes().size();
                playsAtActivation = *pastePlays;
                FakeWorkspace::activate(app);
            }
        } probe;
        probe.pasteboard = m_pasteboard.get();
        probe.pastePlays = &m_pastePlays;
        Paster paster(*m_pasteboard, probe, *m_keys, *m_sounds, m_prefs->prefs);
        paster.paste(textItem("x"), kEditor, *m_monitor);
        QCOMPARE(probe.writesAtActivation, 1);
        QCOMPARE(probe.playsAtActivation, 1);
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
        m_paster->paste(textItem("x"), target, *m_monitor);
        QCOMPARE(m_workspace->activated.size(), target ? 1 : 0);
        // Not at once: the reactivated window gets time to take the focus.
        QCOMPARE(m_keys->keystrokes, 0);
        QTRY_COMPARE_WITH_TIMEOUT(m_keys->keystrokes, 1, 5000);
        QCOMPARE(m_keys->trustChecks, 1);
        // Trusted: never an alert, and nothing is marked.
        QCOMPARE(m_alerts, 0);
        QVERIFY(!m_prefs->prefs.settings().contains(AppPrefs::kAccessibilityPromptedKey));
    }

    void untrustedPasteLeavesItemAndAlertsOnce()
    {
        m_keys->trusted = false;
        m_paster->paste(textItem("first"), kEditor, *m_monitor);
        // Marked before the alert is even shown.
        QVERIFY(m_prefs->prefs.settings().value(AppPrefs::kAccessibilityPromptedKey).toBool());
        QTRY_COMPARE_WITH_TIMEOUT(m_alerts, 1, 5000);
        m_paster->paste(textItem("second"), kEditor, *m_monitor);
        QTest::qWait(3 * Paster::kKeystrokeDelayMs);
        QCOMPARE(m_alerts, 1);
        QCOMPARE(m_keys->keystrokes, 0);
        QCOMPARE(m_pasteboard->writes().size(), 2);
        QCOMPARE(m_pasteboard->writes().last().text, QStringLiteral("second"));
        QCOMPARE(m_workspace->activated.size(), 2);
    }

    void alertIsNeverShownAgainAfterRelaunch()
    {
        m_keys->trusted = false;
        m_prefs->prefs.settings().setValue(AppPrefs::kAccessibilityPromptedKey, true);
        m_prefs->prefs.settings().sync();
        AppPrefs relaunched(std::make_unique<QSettings>(m_prefs->prefs.settings().fileName(),
                                                        QSettings::IniFormat));
        Paster paster(*m_pasteboard, *m_workspace, *m_keys, *m_sounds, relaunched);
        int alerts = 0;
        paster.setAlertPresenter([&] { ++alerts; });
        paster.paste(textItem("x"), kEditor, *m_monitor);
        QTest::qWait(50);
        QCOMPARE(alerts, 0);
    }

private:
    std::unique_ptr<TestPrefs> m_prefs;
    std::unique_ptr<FakePasteboard> m_pasteboard;
    std::unique_ptr<FakeWorkspace> m_workspace;
    std::unique_ptr<FakeKeyPoster> m_keys;
    std::unique_ptr<Sounds> m_sounds;
    std::unique_ptr<ClipboardMonitor> m_monitor;
    std::unique_ptr<Paster> m_paster;
    int m_copyPlays = 0;
    int m_pastePlays = 0;
    int m_alerts = 0;
};

QTEST_GUILESS_MAIN(PasterTest)
#include "tst_paster.moc"
