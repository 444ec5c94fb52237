#include "TextFlavors.h"

#include <QStringDecoder>

#include <algorithm>

namespace TextFlavors {

namespace {

constexpr char kEsc = '\x1b';
const QByteArray kUtf8Begin = QByteArrayLiteral("\x1b%G");
const QByteArray kUtf8End = QByteArrayLiteral("\x1b%@");

std::optional<QString> decodeUtf8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

QString normalizeLineEnds(QString text)
{
    if (text.contains(u'\r')) {
        text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        text.replace(u'\r', u'\n');
    }
    return text;
}

std::optional<QString> decode(const QString &type, const QByteArray &bytes)
{
    if (type == kString)
        return QString::fromLatin1(bytes);
    if (type == kCompoundText)
        return decodeCompoundText(bytes);
    return decodeUtf8(bytes);
}

bool isLatin1(char16_t c)
{
    return c < 0x100;
}

} // namespace

std::optional<QString> plainText(const Flavors &flavors)
{
    for (const QString &type : kReadOrder) {
        const auto found = flavors.constFind(type);
        if (found == flavors.cend())
            continue;
        if (std::optional<QString> text = decode(type, *found))
            return normalizeLineEnds(*text);
    }
    return std::nullopt;
}

QByteArray bytesFor(const QString &type, const QString &text)
{
    if (type == kText)
        return bytesFor(replyType(type, text), text);
    if (type == kString) {
        QByteArray latin1;
        latin1.reserve(text.size());
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text.at(i);
            if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
                ++i;
            latin1.append(isLatin1(c.unicode()) ? char(c.unicode()) : '?');
        }
        return latin1;
    }
    if (type == kCompoundText)
        return encodeCompoundText(text);
    return text.toUtf8();
}

QString replyType(const QString &type, const QString &text)
{
    if (type != kText)
        return type;
    const bool latin1 = std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return isLatin1(c.unicode());
    });
    return latin1 ? kString : kCompoundText;
}

QByteArray encodeCompoundText(const QString &text)
{
    // The initial state is ASCII on the left half and Latin-1 on the right: Latin-1 text needs
    // no designation at all. Control characters other than tab and newline are not allowed in
    // the Latin-1 parts, so they travel in UTF-8 segments too.
    auto plainLatin1 = [](char16_t c) {
        return isLatin1(c)
               && (c == u'\t' || c == u'\n' || (c >= 0x20 && c != 0x7f && c < 0x80) || c >= 0xa0);
    };
    QByteArray out;
    out.reserve(text.size() + 8);
    qsizetype i = 0;
    while (i < text.size()) {
        if (plainLatin1(text.at(i).unicode())) {
            out.append(char(text.at(i).unicode()));
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < text.size() && !plainLatin1(text.at(end).unicode()))
            ++end;
        out.append(kUtf8Begin);
        out.append(QStringView(text).mid(i, end - i).toUtf8());
        out.append(kUtf8End);
        i = end;
    }
    return out;
}

std::optional<QString> decodeCompoundText(const QByteArray &bytes)
{
    QString text;
    qsizetype i = 0;
    while (i < bytes.size()) {
        const auto c = quint8(bytes.at(i));
        if (c != quint8(kEsc)) {
            if (c < 0x20 && c != '\t' && c != '\n')
                return std::nullopt;
            text.append(QChar(c));
            ++i;
            continue;
        }
        const QByteArray rest = bytes.mid(i, 3);
        if (rest == kUtf8Begin) {
            const qsizetype end = bytes.indexOf(kUtf8End, i + 3);
            const std::optional<QString> segment = decodeUtf8(
                QByteArrayView(bytes).sliced(i + 3, (end < 0 ? bytes.size() : end) - i - 3));
            if (!segment)
                return std::nullopt;
            text += *segment;
            i = end < 0 ? bytes.size() : end + 3;
        } else if (rest == "\x1b(B" || rest == "\x1b-A") {
            // ASCII on the left half, Latin-1 on the right: the initial state.
            i += 3;
        } else {
            return std::nullopt;
        }
    }
    return text;
}

} // namespace TextFlavors
