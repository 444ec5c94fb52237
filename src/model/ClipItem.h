#pragma once

#include "Timestamp.h"

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

enum class ClipKind { Text, Image };

QString clipKindRawValue(ClipKind kind);
std::optional<ClipKind> clipKindFromRawValue(QStringView raw);

// Every representation a clipboard entry carried, keyed by its type (for example "text/html").
using Flavors = QMap<QString, QByteArray>;

// One captured clipboard entry. A plain value: copies are cheap (implicit sharing), and equality
// covers every field; sameContent() is the comparison the history's dedupe uses.
struct ClipItem
{
    QUuid id;
    ClipKind kind = ClipKind::Text;
    std::optional<QString> text;
    std::optional<QByteArray> imageData;
    Timestamp createdAt;
    std::optional<Flavors> flavors;
    std::optional<QString> ocrText;

    static ClipItem makeText(const QString &text, Timestamp createdAt = Timestamp::now());
    static ClipItem makeImage(const QByteArray &png, Timestamp createdAt = Timestamp::now());

    // "Image" for images; the trimmed text for texts.
    QString preview() const;
    // The decoded image; null when there are no bytes or they do not decode.
    QImage image() const;
    // Same kind, same text and same image bytes; id, date, flavors and OCR text do not count.
    bool sameContent(const ClipItem &other) const;
    // A web link when the whole trimmed text is one (a bare host name with a real top-level
    // domain counts), with a non-empty host.
    std::optional<QUrl> detectedURL() const;
    // #RGB, #RGBA, #RRGGBB or #RRGGBBAA (the # optional) as an sRGB colour.
    std::optional<QColor> detectedHexColor() const;

    friend bool operator==(const ClipItem &, const ClipItem &) = default;
};

size_t qHash(const ClipItem &item, size_t seed = 0) noexcept;

// Parses the hex colour rule on its own, for callers that hold only a string.
std::optional<QColor> parseHexColor(QStringView text);
