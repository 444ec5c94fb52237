#pragma once

#include "common/TestPrefs.h"
#include "paste/Sounds.h"

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
