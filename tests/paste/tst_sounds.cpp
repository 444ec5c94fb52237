#include "fakes/TestSounds.h"

#include <QTest>

#include <cmath>
#include <numbers>

namespace {

// Amplitude of one frequency in the samples (a single-bin DFT).
double amplitudeAt(const QList<float> &samples, double frequency)
{
    double re = 0;
    double im = 0;
    for (qsizetype i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * frequency * double(i) / Sounds::kSampleRate;
        re += samples[i] * std::cos(phase);
        im += samples[i] * std::sin(phase);
    }
    return std::hypot(re, im) * 2 / double(samples.size());
}

float peak(const QList<float> &samples, qsizetype from = 0, qsizetype to = -1)
{
    if (to < 0)
        to = samples.size();
    float result = 0;
    for (qsizetype i = from; i < to; ++i)
        result = std::max(result, std::abs(samples[i]));
    return result;
}

} // namespace

class SoundsTest : public QObject
{
    Q_OBJECT

private slots:
    void toneShape_data();
    void toneShape();
    void partialsKeepTheirRatio();
    void eachSoundPlaysOnItsOwnVoice();
    void silentWhenSoundsAreOff();
    void missingVoiceLeavesOnlyThatSoundSilent();
};

void SoundsTest::toneShape_data()
{
    QTest::addColumn<bool>("copy");
    QTest::addColumn<int>("frames");
    QTest::addColumn<double>("bound");
    QTest::addColumn<double>("attack");
    QTest::addColumn<double>("endEnvelope");

    QTest::newRow("copy") << true << 2646 << 0.55 * (0.42 + 0.16) << 0.002 << std::exp(-58.0 / 30);
    QTest::newRow("paste") << false << 4410 << 0.55 * 0.8 << 0.004 << std::exp(-96.0 / 60);
}

void SoundsTest::toneShape()
{
    QFETCH(bool, copy);
    QFETCH(int, frames);
    QFETCH(double, bound);
    QFETCH(double, attack);
    QFETCH(double, endEnvelope);

    const QList<float> samples = Sounds::synthesize(copy ? Sounds::copyTone() : Sounds::pasteTone());
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

void SoundsTest::partialsKeepTheirRatio()
{
    const QList<float> copy = Sounds::synthesize(Sounds::copyTone());
    const double low = amplitudeAt(copy, 1320);
    const double high = amplitudeAt(copy, 2640);
    QVERIFY(low > 5 * amplitudeAt(copy, 1000));
    QCOMPARE_GE(high, 0.3 * low);
    QCOMPARE_LE(high, 0.5 * low);

    const QList<float> paste = Sounds::synthesize(Sounds::pasteTone());
    const double a = amplitudeAt(paste, 520);
    QVERIFY(a > amplitudeAt(paste, 780));
    QVERIFY(amplitudeAt(paste, 780) > amplitudeAt(paste, 1040));
    QVERIFY(a > 5 * amplitudeAt(paste, 1320));
}

void SoundsTest::eachSoundPlaysOnItsOwnVoice()
{
    TestPrefs prefs;
    int copies = 0;
    int pastes = 0;
    Sounds sounds(prefs.prefs, countingVoices(&copies, &pastes));
    sounds.copy();
    sounds.copy();
    sounds.paste();
    QCOMPARE(copies, 2);
    QCOMPARE(pastes, 1);
}

void SoundsTest::silentWhenSoundsAreOff()
{
    TestPrefs prefs;
    prefs.prefs.setPlaySounds(false);
    int copies = 0;
    int pastes = 0;
    Sounds sounds(prefs.prefs, countingVoices(&copies, &pastes));
    sounds.copy();
    sounds.paste();
    QCOMPARE(copies, 0);
    QCOMPARE(pastes, 0);

    prefs.prefs.setPlaySounds(true);
    sounds.paste();
    QCOMPARE(pastes, 1);
}

void SoundsTest::missingVoiceLeavesOnlyThatSoundSilent()
{
    TestPrefs prefs;
    int pastes = 0;
    int made = 0;
    Sounds sounds(prefs.prefs, [&](const QList<float> &) -> std::unique_ptr<Sounds::Voice> {
        if (made++ == 0)
            return nullptr;
        return std::make_unique<CountingVoice>(&pastes);
    });
    sounds.copy();
    sounds.paste();
    QCOMPARE(pastes, 1);
}

QTEST_GUILESS_MAIN(SoundsTest)
#include "tst_sounds.moc"
