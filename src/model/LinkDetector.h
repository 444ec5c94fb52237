#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// The link a text is, when the whole text is one web link: with a scheme (http, https, ftp)
// or as a bare host name whose top-level domain is real ("example.com/docs" but not
// "main.cpp"). The text is expected trimmed; the link must have a non-empty host.
std::optional<QUrl> detectWholeTextLink(const QString &text);
