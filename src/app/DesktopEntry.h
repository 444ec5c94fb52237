#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The [Desktop Entry] group of a .desktop file, as far as choosing applications needs it.
struct DesktopEntry
{
    // The desktop file id: the path under an applications folder with '/' turned into '-'.
    QString fileId;
    QString type;
    // Localised to the locale given to parse.
    QString name;
    // A theme icon name or an absolute path.
    QString icon;
    QString startupWMClass;
    QString exec;
    // The flatpak application id, when the entry launches a flatpak.
    QString flatpakId;
    bool noDisplay = false;
    bool hidden = false;

    // The program the Exec line starts, without folder or arguments ("env VAR=1 prog" gives
    // "prog").
    QString program() const;
    // What the ignore list stores for this application: the class part of its windows'
    // WM_CLASS as the entry declares it, else the best guess at it (the flatpak id, then the
    // program's name).
    QString identifier() const;
    // Whether a window class (or a stored identifier) names this application; case-insensitive,
    // since toolkits differ in how they capitalise the class.
    bool matches(const QString &windowClass) const;

    // None when the text has no [Desktop Entry] group or no Name. locale is as in LC_MESSAGES
    // ("de_AT.UTF-8@euro"); Name[...] is chosen by the desktop entry rules for it.
    static std::optional<DesktopEntry> parse(const QByteArray &text,
                                             const QString &fileId,
                                             const QString &locale);
};
