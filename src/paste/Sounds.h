#pragma once

#include <QList>

#include <functional>
#include <memory>
#include <utility>

class AppPrefs;

// The two feedback sounds: a bright tick for a capture ("copy") and a softer drop for a
// paste-back ("paste"). Both are synthesized once, when the object is made, and each plays on a
// voice of its own, so a paste never cuts off a copy nor the other way round. Silent while the
// user's sound setting is off. Main thread only.
class Sounds
{
public:
    static constexpr int kSampleRate = 44100;
    static constexpr double kGain = 0.55;

    // A sum of sine partials under a linear attack and an exponential decay.
    struct Tone
    {
        double duration = 0;
        QList<std::pair<double, double>> partials; // (frequency in Hz, amplitude)
        double attack = 0;
        double decayTimeConstant = 0;
    };
    static const Tone &copyTone();
    static const Tone &pasteTone();
    // Mono float samples at kSampleRate.
    static QList<float> synthesize(const Tone &tone);

    // Plays one fixed sound; play() restarts it from the beginning, cutting off any earlier play
    // still sounding.
    class Voice
    {
    public:
        virtual ~Voice() = default;
        virtual void play() = 0;
    };
    // Makes the voice for a sound; nullptr leaves that sound silent.
    using VoiceFactory = std::function<std::unique_ptr<Voice>(const QList<float> &samples)>;
    // Voices on the desktop's sound server; silent when there is none.
    static VoiceFactory audioSinkVoices();

    explicit Sounds(AppPrefs &prefs, const VoiceFactory &makeVoice = audioSinkVoices());
    ~Sounds();

    void copy();
    void paste();

private:
    AppPrefs &m_prefs;
    std::unique_ptr<Voice> m_copyVoice;
    std::unique_ptr<Voice> m_pasteVoice;
};
