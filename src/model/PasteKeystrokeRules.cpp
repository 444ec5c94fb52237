#include "PasteKeystrokeRules.h"

#include <QHash>

namespace PasteKeystrokeRules {

namespace {

// Keys are lower case. Terminals that paste the CLIPBOARD selection take Ctrl+Shift+V; the
// classic X terminals bind Shift+Insert to the PRIMARY selection instead, and Ctrl+Shift+V is
// either unbound there or reaches the shell as a control byte.
const QHash<QString, PasteKeystroke> &table()
{
    static const QHash<QString, PasteKeystroke> terminals = [] {
        QHash<QString, PasteKeystroke> map;
        for (const char *name : {"xterm",
                                 "uxterm",
                                 "urxvt",
                                 "rxvt",
                                 "urxvt-unicode",
                                 "st",
                                 "st-256color",
                                 "aterm",
                                 "eterm",
                                 "mlterm",
                                 "xvt"}) {
            map.insert(QString::fromLatin1(name), PasteKeystroke::shiftInsert);
        }
        for (const char *name : {"gnome-terminal",
                                 "gnome-terminal-server",
                                 "org.gnome.terminal",
                                 "org.gnome.console",
                                 "kgx",
                                 "vte",
                                 "konsole",
                                 "org.kde.konsole",
                                 "yakuake",
                                 "kitty",
                                 "alacritty",
                                 "foot",
                                 "footclient",
                                 "xfce4-terminal",
                                 "terminator",
                                 "wezterm",
                                 "org.wezfurlong.wezterm",
                                 "lxterminal",
                                 "qterminal",
                                 "tilix",
                                 "com.gexperts.tilix",
                                 "guake",
                                 "tilda",
                                 "sakura",
                                 "terminology",
                                 "mate-terminal",
                                 "roxterm",
                                 "deepin-terminal",
                                 "cool-retro-term",
                                 "ghostty",
                                 "com.mitchellh.ghostty",
                                 "blackbox",
                                 "com.raggesilver.blackbox",
                                 "ptyxis",
                                 "org.gnome.ptyxis",
                                 "contour",
                                 "rio",
                                 "warp",
                                 "tabby",
                                 "hyper"}) {
            map.insert(QString::fromLatin1(name), PasteKeystroke::controlShiftV);
        }
        return map;
    }();
    return terminals;
}

} // namespace

std::optional<PasteKeystroke> builtIn(const QString &identifier)
{
    const auto found = table().constFind(identifier.toLower());
    if (found == table().cend())
        return std::nullopt;
    return *found;
}

PasteKeystroke keystrokeFor(const QStringList &identifiers, const QList<Override> &overrides)
{
    for (const QString &identifier : identifiers) {
        if (identifier.isEmpty())
            continue;
        for (const Override &entry : overrides) {
            if (entry.identifier.compare(identifier, Qt::CaseInsensitive) == 0)
                return entry.keystroke;
        }
    }
    for (const QString &identifier : identifiers) {
        if (const std::optional<PasteKeystroke> keystroke = builtIn(identifier))
            return *keystroke;
    }
    return PasteKeystroke::controlV;
}

QString displayName(PasteKeystroke keystroke)
{
    switch (keystroke) {
    case PasteKeystroke::controlV:
        break;
    case PasteKeystroke::controlShiftV:
        return QStringLiteral("Ctrl+Shift+V");
    case PasteKeystroke::shiftInsert:
        return QStringLiteral("Shift+Insert");
    }
    return QStringLiteral("Ctrl+V");
}

QString keystrokeName(PasteKeystroke keystroke)
{
    return displayName(keystroke).toLower();
}

std::optional<PasteKeystroke> keystrokeFromName(const QString &name)
{
    for (const PasteKeystroke keystroke :
         {PasteKeystroke::controlV, PasteKeystroke::controlShiftV, PasteKeystroke::shiftInsert}) {
        if (name.compare(keystrokeName(keystroke), Qt::CaseInsensitive) == 0)
            return keystroke;
    }
    return std::nullopt;
}

QStringList encode(const QList<Override> &overrides)
{
    QStringList entries;
    for (const Override &entry : overrides)
        entries.append(keystrokeName(entry.keystroke) + u' ' + entry.identifier);
    return entries;
}

QList<Override> decode(const QStringList &entries)
{
    QList<Override> overrides;
    for (const QString &entry : entries) {
        const qsizetype space = entry.indexOf(u' ');
        if (space <= 0)
            continue;
        const std::optional<PasteKeystroke> keystroke = keystrokeFromName(entry.left(space));
        const QString identifier = entry.mid(space + 1).trimmed();
        if (!keystroke || identifier.isEmpty())
            continue;
        overrides.removeIf([&](const Override &earlier) {
            return earlier.identifier.compare(identifier, Qt::CaseInsensitive) == 0;
        });
        overrides.append({identifier, *keystroke});
    }
    return overrides;
}

} // namespace PasteKeystrokeRules
