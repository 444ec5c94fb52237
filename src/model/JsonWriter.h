#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <utility>

// Writes compact JSON into one growing buffer. Byte arrays are written as Base64 strings
// encoded straight into the output; a buffer written twice (an image and its PNG flavor share
// one) is encoded once and copied the second time.
class JsonWriter
{
public:
    explicit JsonWriter(qsizetype expectedSize = 0);

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

    static qsizetype base64Size(qsizetype bytes) { return (bytes + 2) / 3 * 4; }

private:
    void separate();
    void appendEscaped(QStringView text);

    QByteArray m_out;
    bool m_needComma = false;
    // Where each buffer's Base64 text already stands in the output, keyed by its data pointer.
    QHash<std::pair<const char *, qsizetype>, std::pair<qsizetype, qsizetype>> m_written;
};
