#include "JsonWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr char kBase64Alphabet[]
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Standard Base64 with padding, no line breaks, written to out (which has room).
void encodeBase64(const unsigned char *in, qsizetype size, char *out)
{
    qsizetype i = 0;
    for (; i + 3 <= size; i += 3) {
        const quint32 n = (quint32(in[i]) << 16) | (quint32(in[i + 1]) << 8) | in[i + 2];
        *out++ = kBase64Alphabet[(n >> 18) & 63];
        *out++ = kBase64Alphabet[(n >> 12) & 63];
        *out++ = kBase64Alphabet[(n >> 6) & 63];
        *out++ = kBase64Alphabet[n & 63];
    }
    const qsizetype rest = size - i;
    if (rest == 1) {
        const quint32 n = quint32(in[i]) << 16;
        *out++ = kBase64Alphabet[(n >> 18) & 63];
        *out++ = kBase64Alphabet[(n >> 12) & 63];
        *out++ = '=';
        *out++ = '=';
    } else if (rest == 2) {
        const quint32 n = (quint32(in[i]) << 16) | (quint32(in[i + 1]) << 8);
        *out++ = kBase64Alphabet[(n >> 18) & 63];
        *out++ = kBase64Alphabet[(n >> 12) & 63];
        *out++ = kBase64Alphabet[(n >> 6) & 63];
        *out++ = '=';
    }
}

} // namespace

JsonWriter::JsonWriter(qsizetype expectedSize)
{
    m_out.reserve(expectedSize > 0 ? expectedSize : 4096);
}

JsonWriter::JsonWriter(Sink sink)
    : m_sink(std::move(sink))
{
    m_out.reserve(kChunkBytes + 4096);
}

void JsonWriter::flushIfFull()
{
    if (!m_sink || m_out.size() < kChunkBytes)
        return;
    if (!m_sinkFailed && !m_sink(m_out))
        m_sinkFailed = true;
    m_out.resize(0);
}

bool JsonWriter::finish()
{
    if (m_sink && !m_sinkFailed && !m_out.isEmpty() && !m_sink(m_out))
        m_sinkFailed = true;
    m_out.resize(0);
    return !m_sinkFailed;
}

void JsonWriter::separate()
{
    flushIfFull();
    if (m_needComma)
        m_out.append(',');
    m_needComma = true;
}

void JsonWriter::beginObject()
{
    separate();
    m_out.append('{');
    m_needComma = false;
}

void JsonWriter::endObject()
{
    m_out.append('}');
    m_needComma = true;
}

void JsonWriter::beginArray()
{
    separate();
    m_out.append('[');
    m_needComma = false;
}

void JsonWriter::endArray()
{
    m_out.append(']');
    m_needComma = true;
}

void JsonWriter::key(QStringView name)
{
    separate();
    m_out.append('"');
    appendEscaped(name);
    m_out.append("\":", 2);
    m_needComma = false;
}

void JsonWriter::string(QStringView text)
{
    separate();
    m_out.append('"');
    appendEscaped(text);
    m_out.append('"');
}

void JsonWriter::appendEscaped(QStringView text)
{
    const QByteArray utf8 = text.toUtf8();
    for (char c : utf8) {
        switch (c) {
        case '"':
            m_out.append("\\\"", 2);
            break;
        case '\\':
            m_out.append("\\\\", 2);
            break;
        case '\n':
            m_out.append("\\n", 2);
            break;
        case '\r':
            m_out.append("\\r", 2);
            break;
        case '\t':
            m_out.append("\\t", 2);
            break;
        case '\b':
            m_out.append("\\b", 2);
            break;
        case '\f':
            m_out.append("\\f", 2);
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[7];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned(c));
                m_out.append(escaped, 6);
            } else {
                m_out.append(c);
            }
        }
    }
}

void JsonWriter::base64(const QByteArray &bytes)
{
    separate();
    m_out.append('"');
    if (m_sink) {
        // Slices of whole 3-byte groups, so each encodes on its own.
        constexpr qsizetype slice = kChunkBytes / 4 * 3;
        for (qsizetype from = 0; from < bytes.size(); from += slice) {
            const qsizetype length = std::min(slice, bytes.size() - from);
            const qsizetype at = m_out.size();
            m_out.resize(at + base64Size(length));
            encodeBase64(reinterpret_cast<const unsigned char *>(bytes.constData()) + from,
                         length,
                         m_out.data() + at);
            flushIfFull();
        }
        m_out.append('"');
        return;
    }
    const auto keyOf = std::make_pair(bytes.constData(), bytes.size());
    const qsizetype encodedSize = base64Size(bytes.size());
    const qsizetype at = m_out.size();
    if (const auto seen = m_written.constFind(keyOf); seen != m_written.cend() && !bytes.isEmpty()) {
        // Copy within the buffer: resize first, since it may move the data.
        m_out.resize(at + encodedSize);
        std::memcpy(m_out.data() + at, m_out.constData() + seen->first, size_t(seen->second));
    } else {
        m_out.resize(at + encodedSize);
        encodeBase64(reinterpret_cast<const unsigned char *>(bytes.constData()),
                     bytes.size(),
                     m_out.data() + at);
        if (!bytes.isEmpty())
            m_written.insert(keyOf, {at, encodedSize});
    }
    m_out.append('"');
}

void JsonWriter::number(double value)
{
    Q_ASSERT(std::isfinite(value));
    separate();
    // The shortest form that reads back as the same double.
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    Q_ASSERT(result.ec == std::errc());
    m_out.append(buffer, result.ptr - buffer);
}

QByteArray JsonWriter::take()
{
    return std::exchange(m_out, {});
}
