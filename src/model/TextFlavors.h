#pragma once

#include "model/ClipItem.h"

#include <QString>
#include <QStringList>

#include <optional>

// The text of a copy and the bytes of each text type a receiver may ask for, both derived from
// the copy's one Unicode text. Owners name and encode their text types differently: GTK serves
// "text/plain" as ASCII with backslash-u escapes and its UTF-8 types with CRLF line ends; old
// programs serve only Latin-1 STRING or COMPOUND_TEXT. Safe on any thread.
namespace TextFlavors {

inline const QString kUtf8String = QStringLiteral("UTF8_STRING");
inline const QString kPlainUtf8 = QStringLiteral("text/plain;charset=utf-8");
inline const QString kPlain = QStringLiteral("text/plain");
inline const QString kString = QStringLiteral("STRING");
inline const QString kText = QStringLiteral("TEXT");
inline const QString kCompoundText = QStringLiteral("COMPOUND_TEXT");

// Where the text is read from, best first.
inline const QStringList kReadOrder = {kUtf8String, kPlainUtf8, kPlain, kString, kCompoundText};
// Every text type a receiver may ask for, each answered from the text.
inline const QStringList kServedTypes
    = {kUtf8String, kPlainUtf8, kPlain, kString, kText, kCompoundText};

// The text of the first type in the read order whose bytes decode, with CRLF and lone CR line
// ends turned into LF. None when no text type decodes.
std::optional<QString> plainText(const Flavors &flavors);

// The bytes that answer a request for one of the served types: UTF-8 for the UTF-8 and
// "text/plain" types (so the escapes never travel on), Latin-1 for STRING with one "?" per
// character it cannot hold, COMPOUND_TEXT with runs beyond Latin-1 in UTF-8 segments. TEXT
// lets the owner choose: STRING when Latin-1 holds the text, else COMPOUND_TEXT.
QByteArray bytesFor(const QString &type, const QString &text);
// The type the reply is labelled with: the requested type, except for TEXT (see bytesFor).
QString replyType(const QString &type, const QString &text);

// COMPOUND_TEXT in the parts X programs write: ASCII and Latin-1 with their designations,
// and UTF-8 segments. None for other character sets or broken sequences.
std::optional<QString> decodeCompoundText(const QByteArray &bytes);
QByteArray encodeCompoundText(const QString &text);

} // namespace TextFlavors
