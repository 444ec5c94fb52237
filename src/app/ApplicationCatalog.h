#pragma once

#include "DesktopEntry.h"

#include <QList>
#include <QStringList>

#include <optional>

// The installed applications, read from the desktop entries under the XDG data folders.
class ApplicationCatalog
{
public:
    // $XDG_DATA_HOME (or ~/.local/share), then $XDG_DATA_DIRS (or /usr/local/share:/usr/share).
    static QStringList defaultDataDirs();
    // The LC_ALL, LC_MESSAGES or LANG of the environment, as desktop entries are localised by.
    static QString messagesLocale();

    // Reads "applications" under each folder, earlier folders first: an entry there hides
    // every entry with the same desktop file id further down, and a hidden one removes it.
    explicit ApplicationCatalog(const QStringList &dataDirs = defaultDataDirs(),
                                const QString &locale = messagesLocale());

    // Applications a person would pick from a menu: not hidden, not NoDisplay, with an
    // identifier; one per identifier, sorted by name.
    QList<DesktopEntry> applications() const;
    // The installed application a stored identifier or window class names, including ones
    // kept out of menus.
    std::optional<DesktopEntry> find(const QString &identifier) const;

private:
    QList<DesktopEntry> m_entries;
};
