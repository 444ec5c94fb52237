#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

// A strict JSON (RFC 8259) parser for the store file. Strings are kept as views into the
// parsed buffer, so large Base64 payloads are decoded straight from the file, never copied
// into an intermediate tree. The buffer must outlive the values.
namespace Json {

class Value
{
public:
    enum class Type { Null, Bool, Number, String, Array, Object };

    Type type() const { return m_type; }
    bool isNull() const { return m_type == Type::Null; }
    bool isString() const { return m_type == Type::String; }
    bool isNumber() const { return m_type == Type::Number; }
    bool isArray() const { return m_type == Type::Array; }
    bool isObject() const { return m_type == Type::Object; }

    bool toBool() const { return m_bool; }
    double toNumber() const { return m_number; }

    // The string's text exactly as written between its quotes, escapes included.
    std::string_view rawString() const { return m_raw; }
    bool stringHasEscapes() const { return m_hasEscapes; }
    // The string's bytes after unescaping (UTF-8).
    QByteArray stringBytes() const;
    // The decoded string; nullopt when it is not valid UTF-8.
    std::optional<QString> toString() const;

    const std::vector<Value> &elements() const { return m_elements; }
    const std::vector<std::pair<Value, Value>> &members() const { return m_members; }
    // The last member with this (unescaped) key, as decoders that ignore duplicates do.
    const Value *member(std::string_view key) const;

private:
    friend class Parser;
    Type m_type = Type::Null;
    bool m_bool = false;
    bool m_hasEscapes = false;
    double m_number = 0;
    std::string_view m_raw;
    std::vector<Value> m_elements;
    std::vector<std::pair<Value, Value>> m_members;
};

// Parses one JSON text; nullopt on any syntax error, trailing content or nesting deeper than
// 256 levels.
std::optional<Value> parse(std::string_view text);

} // namespace Json
