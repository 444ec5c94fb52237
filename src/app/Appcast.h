#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

// One release in an update feed: an RSS <item> with the update framework's version elements.
struct AppcastItem
{
    QString title;
    // The machine-comparable version (sparkle:version).
    QString version;
    // The version as shown to people (sparkle:shortVersionString); may be empty.
    QString shortVersionString;
    QUrl releaseNotesLink;
    // The package itself (<enclosure url>).
    QUrl enclosureUrl;
    // The release's web page (<link>); may be empty.
    QUrl link;

    QString displayVersion() const
    {
        return shortVersionString.isEmpty() ? version : shortVersionString;
    }
    // Where a person downloads the release: its page, else the package itself.
    QUrl downloadPage() const { return link.isValid() ? link : enclosureUrl; }

    friend bool operator==(const AppcastItem &, const AppcastItem &) = default;
};

namespace Appcast {

inline constexpr auto kSparkleNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";

// The items of an RSS feed, in feed order. Items without a version, items for another
// operating system and items on a named (non-default) channel are left out. Relative links
// are resolved against base. None when the text is not a well-formed RSS document; error then
// says why.
std::optional<QList<AppcastItem>> parse(const QByteArray &xml,
                                        const QUrl &base = {},
                                        QString *error = nullptr);

// The newest item that is newer than currentVersion; none when the program is up to date.
std::optional<AppcastItem> newestUpdate(const QList<AppcastItem> &items,
                                        const QString &currentVersion);

} // namespace Appcast
