#include "fakes/TestSounds.h"

#include <QTest>

namespace {

float peak(const QList<float> &samples, qsizetype from = 0, qsizetype to = -1)
{
    float result = 0;
    for (qsizetype i = from; i < (to < 0 ? samples.size() : to); ++i)
        result = std::max(result, std::abs(samples[i]));
    return result;
}

} // namespace

class SoundsTest : public QObject
{
    Q_OBJECT

private slots:
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

    void toneShape_data()
    {
        QTest::addColumn<bool>("copy");
        QTest::addColumn<int>("frames");
        QTest::addColumn<double>("bound");
        QTest::addColumn<double>("attack");
        QTest::addColumn<double>("endEnvelope");

        QTest::newRow("copy") << true << 2646 << 0.55 * (0.42 + 0.16) << 0.002
                              << std::exp(-58.0 / 30);
        QTest::newRow("paste") << false << 4410 << 0.55 * 0.8 << 0.004 << std::exp(-96.0 / 60);
    }

    void toneShape()
    {
        QFETCH(bool, copy);
        QFETCH(int, frames);
        QFETCH(double, bound);
        QFETCH(double, attack);
        QFETCH(double, endEnvelope);

        const QList<float> samples = Sounds::synthesize(copy ? Sounds::copyTone()
                                                             : Sounds::pasteTone());
        QCOMPARE(samples.size(), frames);
        QCOMPARE(samples.first(), 0.0f);
        QVERIFY(peak(samples) <= bound);
        // The envelope peaks right after the attack, then only falls.
        const qsizetype attackEnd = qsizetype(attack * Sounds::kSampleRate);
        const qsizetype window = 100;
        QVERIFY(peak(samples, 0, attackEnd / 4) < peak(samples, attackEnd, attackEnd + window));
        QVERIFY(peak(samples, attackEnd, attackEnd + window) > 0.5 * bound);
        QVERIFY(peak(samples, frames - window) < bound * endEnvelope * 1.2);
        QVERIFY(peak(samples, frames - window) > bound * endEnvelope * 0.3);
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
};

QTEST_GUILESS_MAIN(SoundsTest)
#include "tst_sounds.moc"
