#include "JsonReader.h"

#include <QStringDecoder>

#include <charconv>
#include <cstring>

namespace Json {

namespace {

constexpr int kMaxDepth = 256;

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Reads the four hex digits after "\u"; -1 when malformed.
int readHex4(std::string_view s, size_t at)
{
    if (at + 4 > s.size())
        return -1;
    int value = 0;
    for (size_t i = at; i < at + 4; ++i) {
        const int d = hexDigit(s[i]);
        if (d < 0)
            return -1;
        value = value * 16 + d;
    }
    return value;
}

void appendUtf8(QByteArray &out, char32_t cp)
{
    if (cp < 0x80) {
        out.append(char(cp));
    } else if (cp < 0x800) {
        out.append(char(0xC0 | (cp >> 6)));
        out.append(char(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.append(char(0xE0 | (cp >> 12)));
        out.append(char(0x80 | ((cp >> 6) & 0x3F)));
        out.append(char(0x80 | (cp & 0x3F)));
    } else {
        out.append(char(0xF0 | (cp >> 18)));
        out.append(char(0x80 | ((cp >> 12) & 0x3F)));
        out.append(char(0x80 | ((cp >> 6) & 0x3F)));
        out.append(char(0x80 | (cp & 0x3F)));
    }
}

// Unescapes a string body that the parser has already validated.
QByteArray unescape(std::string_view raw)
{
    QByteArray out;
    out.reserve(qsizetype(raw.size()));
    for (size_t i = 0; i < raw.size(); ++i) {
        const char c = raw[i];
        if (c != '\\') {
            out.append(c);
            continue;
        }
        const char e = raw[++i];
        switch (e) {
        case 'b':
            out.append('\b');
            break;
        case 'f':
            out.append('\f');
            break;
        case 'n':
            out.append('\n');
            break;
        case 'r':
            out.append('\r');
            break;
        case 't':
            out.append('\t');
            break;
        case 'u': {
            char32_t cp = char32_t(readHex4(raw, i + 1));
            i += 4;
            if (cp >= 0xD800 && cp <= 0xDBFF && raw.substr(i + 1, 2) == "\\u") {
                const int low = readHex4(raw, i + 3);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    cp = 0x10000 + ((cp - 0xD800) << 10) + char32_t(low - 0xDC00);
                    i += 6;
                }
            }
            // A lone surrogate cannot be UTF-8; it becomes the replacement character.
            if (cp >= 0xD800 && cp <= 0xDFFF)
                cp = 0xFFFD;
            appendUtf8(out, cp);
            break;
        }
        default:
            out.append(e);
            break; // '"', '\\' and '/'
        }
    }
    return out;
}

} // namespace

class Parser
{
public:
    explicit Parser(std::string_view text)
        : m_s(text)
    {}

    std::optional<Value> parseDocument()
    {
        // A UTF-8 byte order mark is tolerated, as most readers do.
        if (m_s.substr(0, 3) == "\xEF\xBB\xBF")
            m_pos = 3;
        Value root;
        if (!parseValue(root, 0))
            return std::nullopt;
        skipSpace();
        if (m_pos != m_s.size())
            return std::nullopt;
        return root;
    }

private:
    void skipSpace()
    {
        while (m_pos < m_s.size()) {
            const char c = m_s[m_pos];
            if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
                return;
            ++m_pos;
        }
    }

    bool literal(std::string_view word)
    {
        if (m_s.substr(m_pos, word.size()) != word)
            return false;
        m_pos += word.size();
        return true;
    }

    bool parseValue(Value &v, int depth)
    {
        if (depth > kMaxDepth)
            return false;
        skipSpace();
        if (m_pos >= m_s.size())
            return false;
        switch (m_s[m_pos]) {
        case '{':
            return parseObject(v, depth);
        case '[':
            return parseArray(v, depth);
        case '"':
            return parseString(v);
        case 't':
            v.m_type = Value::Type::Bool;
            v.m_bool = true;
            return literal("true");
        case 'f':
            v.m_type = Value::Type::Bool;
            v.m_bool = false;
            return literal("false");
        case 'n':
            v.m_type = Value::Type::Null;
            return literal("null");
        default:
            return parseNumber(v);
        }
    }

    bool parseString(Value &v)
    {
        ++m_pos; // opening quote
        const size_t start = m_pos;
        bool escapes = false;
        const char *data = m_s.data();
        const size_t size = m_s.size();
        while (m_pos < size) {
            // Fast path: Base64 payloads are long runs of plain characters.
            const auto c = static_cast<unsigned char>(data[m_pos]);
            if (c == '"') {
                v.m_type = Value::Type::String;
                v.m_raw = m_s.substr(start, m_pos - start);
                v.m_hasEscapes = escapes;
                ++m_pos;
                return true;
            }
            if (c < 0x20)
                return false;
            if (c == '\\') {
                escapes = true;
                if (++m_pos >= size)
                    return false;
                const char e = data[m_pos];
                if (e == 'u') {
                    if (readHex4(m_s, m_pos + 1) < 0)
                        return false;
                    m_pos += 4;
                } else if (!std::strchr("\"\\/bfnrt", e) || e == '\0') {
                    return false;
                }
            }
            ++m_pos;
        }
        return false;
    }

    bool parseNumber(Value &v)
    {
        const size_t start = m_pos;
        auto digits = [&] {
            const size_t from = m_pos;
            while (m_pos < m_s.size() && m_s[m_pos] >= '0' && m_s[m_pos] <= '9')
                ++m_pos;
            return m_pos - from;
        };
        if (m_pos < m_s.size() && m_s[m_pos] == '-')
            ++m_pos;
        if (m_pos < m_s.size() && m_s[m_pos] == '0') {
            ++m_pos;
        } else if (digits() == 0) {
            return false;
        }
        if (m_pos < m_s.size() && m_s[m_pos] == '.') {
            ++m_pos;
            if (digits() == 0)
                return false;
        }
        if (m_pos < m_s.size() && (m_s[m_pos] == 'e' || m_s[m_pos] == 'E')) {
            ++m_pos;
            if (m_pos < m_s.size() && (m_s[m_pos] == '+' || m_s[m_pos] == '-'))
                ++m_pos;
            if (digits() == 0)
                return false;
        }
        double number = 0;
        const auto result = std::from_chars(m_s.data() + start, m_s.data() + m_pos, number);
        if (result.ec != std::errc()) // out of range included: no infinities
            return false;
        v.m_type = Value::Type::Number;
        v.m_number = number;
        return true;
    }

    bool parseArray(Value &v, int depth)
    {
        ++m_pos;
        v.m_type = Value::Type::Array;
        skipSpace();
        if (m_pos < m_s.size() && m_s[m_pos] == ']') {
            ++m_pos;
            return true;
        }
        while (true) {
            v.m_elements.emplace_back();
            if (!parseValue(v.m_elements.back(), depth + 1))
                return false;
            skipSpace();
            if (m_pos >= m_s.size())
                return false;
            const char c = m_s[m_pos++];
            if (c == ']')
                return true;
            if (c != ',')
                return false;
        }
    }

    bool parseObject(Value &v, int depth)
    {
        ++m_pos;
        v.m_type = Value::Type::Object;
        skipSpace();
        if (m_pos < m_s.size() && m_s[m_pos] == '}') {
            ++m_pos;
            return true;
        }
        while (true) {
            skipSpace();
            if (m_pos >= m_s.size() || m_s[m_pos] != '"')
                return false;
            v.m_members.emplace_back();
            auto &[key, value] = v.m_members.back();
            if (!parseString(key))
                return false;
            skipSpace();
            if (m_pos >= m_s.size() || m_s[m_pos++] != ':')
                return false;
            if (!parseValue(value, depth + 1))
                return false;
            skipSpace();
            if (m_pos >= m_s.size())
                return false;
            const char c = m_s[m_pos++];
            if (c == '}')
                return true;
            if (c != ',')
                return false;
        }
    }

    std::string_view m_s;
    size_t m_pos = 0;
};

QByteArray Value::stringBytes() const
{
    if (!m_hasEscapes)
        return QByteArray(m_raw.data(), qsizetype(m_raw.size()));
    return unescape(m_raw);
}

std::optional<QString> Value::toString() const
{
    const QByteArray bytes = stringBytes();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

const Value *Value::member(std::string_view key) const
{
    for (auto it = m_members.rbegin(); it != m_members.rend(); ++it) {
        const Value &k = it->first;
        if (k.m_hasEscapes ? k.stringBytes() == QByteArrayView(key.data(), qsizetype(key.size()))
                           : k.m_raw == key)
            return &it->second;
    }
    return nullptr;
}

std::optional<Value> parse(std::string_view text)
{
    return Parser(text).parseDocument();
}

} // namespace Json
