#include "DesktopEntry.h"

#include <QList>
#include <QStringList>

namespace {

QString unescape(QStringView value)
{
    QString result;
    result.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c != u'\\' || i + 1 == value.size()) {
            result.append(c);
            continue;
        }
        switch (value.at(++i).unicode()) {
        case 's':
            result.append(u' ');
            break;
        case 'n':
            result.append(u'\n');
            break;
        case 't':
            result.append(u'\t');
            break;
        case 'r':
            result.append(u'\r');
            break;
        default: // "\\" and unknown escapes keep the character
            result.append(value.at(i));
        }
    }
    return result;
}

// The locale keys to look for, best first: lang_COUNTRY@MODIFIER, lang_COUNTRY, lang@MODIFIER,
// lang.
QStringList localeCandidates(const QString &locale)
{
    QString rest = locale;
    QString modifier;
    if (const qsizetype at = rest.indexOf(u'@'); at >= 0) {
        modifier = rest.mid(at + 1);
        rest.truncate(at);
    }
    if (const qsizetype dot = rest.indexOf(u'.'); dot >= 0)
        rest.truncate(dot);
    QString lang = rest;
    QString country;
    if (const qsizetype underscore = rest.indexOf(u'_'); underscore >= 0) {
        lang = rest.left(underscore);
        country = rest.mid(underscore + 1);
    }
    QStringList candidates;
    if (lang.isEmpty() || lang == u"C" || lang == u"POSIX")
        return candidates;
    if (!country.isEmpty() && !modifier.isEmpty())
        candidates << lang + u'_' + country + u'@' + modifier;
    if (!country.isEmpty())
        candidates << lang + u'_' + country;
    if (!modifier.isEmpty())
        candidates << lang + u'@' + modifier;
    candidates << lang;
    return candidates;
}

// Splits an Exec value into arguments, honouring double quotes and backslash escapes.
QStringList execArguments(const QString &exec)
{
    QStringList arguments;
    QString current;
    bool quoted = false;
    bool any = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (quoted) {
            if (c == u'\\' && i + 1 < exec.size())
                current.append(exec.at(++i));
            else if (c == u'"')
                quoted = false;
            else
                current.append(c);
        } else if (c == u'"') {
            quoted = true;
            any = true;
        } else if (c.isSpace()) {
            if (any || !current.isEmpty())
                arguments.append(current);
            current.clear();
            any = false;
        } else {
            current.append(c);
        }
    }
    if (any || !current.isEmpty())
        arguments.append(current);
    return arguments;
}

bool isTrue(const QString &value)
{
    return value.trimmed() == u"true";
}

} // namespace

QString DesktopEntry::program() const
{
    QStringList arguments = execArguments(exec);
    // "env [-u NAME] NAME=value ... program"
    if (!arguments.isEmpty() && arguments.front().section(u'/', -1) == u"env") {
        arguments.removeFirst();
        while (!arguments.isEmpty()
               && (arguments.front().contains(u'=') || arguments.front().startsWith(u'-'))) {
            const QString option = arguments.takeFirst();
            if ((option == u"-u" || option == u"-C" || option == u"-S") && !arguments.isEmpty())
                arguments.removeFirst();
        }
    }
    return arguments.isEmpty() ? QString() : arguments.front().section(u'/', -1);
}

QString DesktopEntry::identifier() const
{
    if (!startupWMClass.isEmpty())
        return startupWMClass;
    if (!flatpakId.isEmpty())
        return flatpakId;
    return program();
}

bool DesktopEntry::matches(const QString &windowClass) const
{
    if (windowClass.isEmpty())
        return false;
    const auto same = [&](const QString &candidate) {
        return !candidate.isEmpty() && candidate.compare(windowClass, Qt::CaseInsensitive) == 0;
    };
    QString baseId = fileId;
    if (baseId.endsWith(QStringLiteral(".desktop")))
        baseId.chop(8);
    // Reverse-domain ids ("org.gnome.Calculator") often leave only the last part in WM_CLASS.
    return same(startupWMClass) || same(flatpakId) || same(program()) || same(baseId)
           || (baseId.count(u'.') >= 2 && same(baseId.section(u'.', -1)));
}

std::optional<DesktopEntry> DesktopEntry::parse(const QByteArray &text,
                                                const QString &fileId,
                                                const QString &locale)
{
    const QStringList candidates = localeCandidates(locale);
    DesktopEntry entry;
    entry.fileId = fileId;
    bool inGroup = false;
    bool sawGroup = false;
    qsizetype nameRank = candidates.size() + 1; // lower is better; size() is the plain Name

    for (const QByteArray &rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[')) {
            // Keys after the first group belong to actions and other groups.
            if (sawGroup && inGroup)
                break;
            inGroup = line == u"[Desktop Entry]";
            sawGroup = sawGroup || inGroup;
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals <= 0)
            continue;
        QString key = line.left(equals).trimmed();
        const QString value = unescape(QStringView(line).mid(equals + 1).trimmed());
        QString keyLocale;
        if (const qsizetype bracket = key.indexOf(u'['); bracket > 0 && key.endsWith(u']')) {
            keyLocale = key.mid(bracket + 1, key.size() - bracket - 2);
            key.truncate(bracket);
        }

        if (key == u"Name") {
            const qsizetype rank = keyLocale.isEmpty() ? candidates.size()
                                                       : candidates.indexOf(keyLocale);
            if (rank >= 0 && rank < nameRank) {
                entry.name = value;
                nameRank = rank;
            }
        } else if (!keyLocale.isEmpty()) {
            continue;
        } else if (key == u"Type") {
            entry.type = value;
        } else if (key == u"Icon") {
            entry.icon = value;
        } else if (key == u"StartupWMClass") {
            entry.startupWMClass = value;
        } else if (key == u"Exec") {
            entry.exec = value;
        } else if (key == u"X-Flatpak") {
            entry.flatpakId = value;
        } else if (key == u"NoDisplay") {
            entry.noDisplay = isTrue(value);
        } else if (key == u"Hidden") {
            entry.hidden = isTrue(value);
        }
    }
    if (!sawGroup || entry.name.isEmpty())
        return std::nullopt;
    return entry;
}
