#include "Sounds.h"

#include "app/AppPrefs.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QBuffer>
#include <QMediaDevices>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

// Pulls the whole sound from memory. The sink is kept for the life of the process: a new play
// stops the stream (cutting off a tick still sounding) and starts it again from the beginning.
// A sink that has drained is stopped a little later, once the server has played the tail it
// still holds (Idle comes before the sound is heard), so an idle process holds no stream open.
class AudioSinkVoice final : public Sounds::Voice
{
public:
    static constexpr int kCloseAfterIdleMs = 500;

    AudioSinkVoice(const QAudioDevice &device, const QAudioFormat &format, const QByteArray &pcm)
        : m_pcm(pcm)
        , m_sink(device, format)
    {
        m_buffer.setBuffer(&m_pcm);
        m_buffer.open(QIODevice::ReadOnly);
        m_closeTimer.setSingleShot(true);
        m_closeTimer.setInterval(kCloseAfterIdleMs);
        QObject::connect(&m_closeTimer, &QTimer::timeout, &m_sink, [this] { m_sink.stop(); });
        QObject::connect(&m_sink, &QAudioSink::stateChanged, &m_sink, [this](QAudio::State state) {
            if (state == QAudio::IdleState)
                m_closeTimer.start();
        });
    }

    void play() override
    {
        m_closeTimer.stop();
        if (m_sink.state() != QAudio::StoppedState)
            m_sink.stop();
        m_buffer.seek(0);
        // Without a sound server this fails at once with an open error; the next play retries.
        m_sink.start(&m_buffer);
    }

private:
    QByteArray m_pcm;
    QBuffer m_buffer;
    QAudioSink m_sink;
    QTimer m_closeTimer;
};

} // namespace

const Sounds::Tone &Sounds::copyTone()
{
    static const Tone tone{0.06, {{1320, 0.42}, {2640, 0.16}}, 0.002, 0.03};
    return tone;
}

const Sounds::Tone &Sounds::pasteTone()
{
    static const Tone tone{0.1, {{520, 0.5}, {780, 0.2}, {1040, 0.1}}, 0.004, 0.06};
    return tone;
}

QList<float> Sounds::synthesize(const Tone &tone)
{
    const double sampleRate = kSampleRate;
    const double frames = std::floor(sampleRate * tone.duration);
    if (!(frames >= 0 && frames <= std::numeric_limits<quint32>::max()))
        qFatal("Sounds: %f frames cannot be a frame count", frames);
    const qsizetype count = static_cast<qsizetype>(frames);

    QList<float> samples(count);
    for (qsizetype i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        const double ramp = std::min(t / tone.attack, 1.0);
        const double decay = std::exp(-std::max(t - tone.attack, 0.0) / tone.decayTimeConstant);
        double sum = 0;
        for (const auto &[frequency, amplitude] : tone.partials)
            sum += amplitude * std::sin(2 * std::numbers::pi * frequency * t);
        samples[i] = static_cast<float>(sum * ramp * decay * kGain);
    }
    return samples;
}

Sounds::VoiceFactory Sounds::audioSinkVoices()
{
    return [](const QList<float> &samples) -> std::unique_ptr<Voice> {
        const QAudioDevice device = QMediaDevices::defaultAudioOutput();
        if (device.isNull())
            return nullptr;
        QAudioFormat format;
        format.setSampleRate(kSampleRate);
        format.setChannelCount(1);
        format.setSampleFormat(QAudioFormat::Float);
        const QByteArray pcm(reinterpret_cast<const char *>(samples.constData()),
                             samples.size() * qsizetype(sizeof(float)));
        return std::make_unique<AudioSinkVoice>(device, format, pcm);
    };
}

Sounds::Sounds(AppPrefs &prefs, const VoiceFactory &makeVoice)
    : m_prefs(prefs)
    , m_copyVoice(makeVoice(synthesize(copyTone())))
    , m_pasteVoice(makeVoice(synthesize(pasteTone())))
{}

Sounds::~Sounds() = default;

void Sounds::copy()
{
    if (m_prefs.playSounds() && m_copyVoice)
        m_copyVoice->play();
}

void Sounds::paste()
{
    if (m_prefs.playSounds() && m_pasteVoice)
        m_pasteVoice->play();
}
