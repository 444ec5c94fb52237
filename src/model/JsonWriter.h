#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <functional>

#include <utility>

// Writes compact JSON into one growing buffer, or in pieces of about kChunkBytes handed to a
// sink as it goes. Byte arrays are written as Base64 strings encoded straight into the output;
// into one buffer, a buffer written twice (an image and its PNG flavor share one) is encoded
// once and copied the second time.
class JsonWriter
{
public:
    // Takes the next piece of output; false stops the writing (nothing more is handed over).
    using Sink = std::function<bool(QByteArrayView)>;
    static constexpr qsizetype kChunkBytes = 1024 * 1024;

    explicit JsonWriter(qsizetype expectedSize = 0);
    // Streams: the output never stands whole in memory, whatever the size of the payloads.
    explicit JsonWriter(Sink sink);

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // Starts a member of the current object; the value follows.
    void key(QStringView name);

    void string(QStringView text);
    void base64(const QByteArray &bytes);
    void number(double value);

    QByteArray take();
    // Streaming: hands over what is left; false when the sink refused any piece.
    bool finish();

    static qsizetype base64Size(qsizetype bytes) { return (bytes + 2) / 3 * 4; }

private:
    void separate();
    void flushIfFull();
    void appendEscaped(QStringView text);

    QByteArray m_out;
    Sink m_sink;
    bool m_sinkFailed = false;
    bool m_needComma = false;
    // Where each buffer's Base64 text already stands in the output, keyed by its data pointer.
    QHash<std::pair<const char *, qsizetype>, std::pair<qsizetype, qsizetype>> m_written;
};
