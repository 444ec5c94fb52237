#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

// What a link preview takes from a web page, read with an HTML parser from the start of the page
// (which may be cut off anywhere, or be no valid HTML at all). Only the head is read: parsing
// ends where the body begins.
struct PageHead
{
    // og:title, else the <title> element; entities decoded, white space collapsed; absent
    // when both are missing or blank.
    std::optional<QString> title;
    // og:image (and its :url and :secure_url forms), then twitter:image; absolute http(s) URLs
    // in page order, without repeats.
    QList<QUrl> previewImages;
    // apple-touch-icon links, then icon links, each group largest first by their sizes.
    QList<QUrl> icons;
};

// pageUrl is the address the page finally came from: relative links resolve against it (or
// against the page's <base>). charset is the Content-Type header's, if any; otherwise a byte
// order mark or the page's own <meta> declaration decides, and UTF-8 when there is none.
PageHead parsePageHead(const QByteArray &html, const QUrl &pageUrl, const QByteArray &charset = {});
