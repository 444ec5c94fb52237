#pragma once

#include "common/TestPrefs.h"
#include "paste/Sounds.h"

#include <cmath>
#include <numbers>

// Sounds whose voices count their plays.
class CountingVoice : public Sounds::Voice
{
public:
    explicit CountingVoice(int *plays)
        : m_plays(plays)
    {}
    void play() override { ++*m_plays; }

private:
    int *m_plays;
};

// Sounds whose first voice (copy) and second voice (paste) count into the given integers.
inline Sounds::VoiceFactory countingVoices(int *copyPlays, int *pastePlays)
{
    auto made = std::make_shared<int>(0);
    return [=](const QList<float> &) -> std::unique_ptr<Sounds::Voice> {
        return std::make_unique<CountingVoice>((*made)++ == 0 ? copyPlays : pastePlays);
    };
}

// Amplitude of one frequency in the samples (a single-bin DFT).
inline double amplitudeAt(const float *samples, qsizetype count, double frequency)
{
    double re = 0;
    double im = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const double phase = 2 * std::numbers::pi * frequency * double(i) / Sounds::kSampleRate;
        re += samples[i] * std::cos(phase);
        im += samples[i] * std::sin(phase);
    }
    return std::hypot(re, im) * 2 / double(count);
}
