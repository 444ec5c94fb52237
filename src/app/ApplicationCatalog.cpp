#include "ApplicationCatalog.h"

#include <QCollator>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSet>

#include <algorithm>

namespace {

// Desktop files are small; anything far larger is not one.
constexpr qint64 kMaxEntryBytes = 256 * 1024;

QStringList splitPaths(const QString &value)
{
    QStringList paths;
    for (const QString &path : value.split(u':', Qt::SkipEmptyParts)) {
        // Relative entries are invalid and ignored.
        if (QDir::isAbsolutePath(path))
            paths.append(QDir::cleanPath(path));
    }
    return paths;
}

} // namespace

QStringList ApplicationCatalog::defaultDataDirs()
{
    const QString home = qEnvironmentVariable("XDG_DATA_HOME");
    QStringList dirs = {QDir::isAbsolutePath(home)
                            ? QDir::cleanPath(home)
                            : QDir::homePath() + QStringLiteral("/.local/share")};
    QStringList system = splitPaths(qEnvironmentVariable("XDG_DATA_DIRS"));
    if (system.isEmpty())
        system = {QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")};
    dirs.append(system);
    dirs.removeDuplicates();
    return dirs;
}

QString ApplicationCatalog::messagesLocale()
{
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty())
            return value;
    }
    return QStringLiteral("C");
}

ApplicationCatalog::ApplicationCatalog(const QStringList &dataDirs, const QString &locale)
{
    QSet<QString> seenIds;
    for (const QString &dataDir : dataDirs) {
        const QString root = dataDir + QStringLiteral("/applications");
        QDirIterator files(root,
                           {QStringLiteral("*.desktop")},
                           QDir::Files | QDir::Readable,
                           QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        QStringList paths;
        while (files.hasNext())
            paths.append(files.next());
        // The folder's own order is arbitrary; keep results stable.
        paths.sort();
        for (const QString &path : paths) {
            const QString fileId = QDir(root).relativeFilePath(path).replace(u'/', u'-');
            if (seenIds.contains(fileId))
                continue;
            seenIds.insert(fileId);
            QFile file(path);
            if (file.size() > kMaxEntryBytes || !file.open(QIODevice::ReadOnly))
                continue;
            std::optional<DesktopEntry> entry = DesktopEntry::parse(file.readAll(), fileId, locale);
            if (entry && !entry->hidden && entry->type == u"Application")
                m_entries.append(std::move(*entry));
        }
    }
}

QList<DesktopEntry> ApplicationCatalog::applications() const
{
    QList<DesktopEntry> result;
    QSet<QString> identifiers;
    for (const DesktopEntry &entry : m_entries) {
        const QString identifier = entry.identifier();
        if (entry.noDisplay || identifier.isEmpty() || identifiers.contains(identifier))
            continue;
        identifiers.insert(identifier);
        result.append(entry);
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    std::stable_sort(result.begin(),
                     result.end(),
                     [&](const DesktopEntry &a, const DesktopEntry &b) {
                         return collator.compare(a.name, b.name) < 0;
                     });
    return result;
}

std::optional<DesktopEntry> ApplicationCatalog::find(const QString &identifier) const
{
    // An entry that declares the class wins over one whose program merely has that name.
    for (const DesktopEntry &entry : m_entries) {
        if (!entry.startupWMClass.isEmpty()
            && entry.startupWMClass.compare(identifier, Qt::CaseInsensitive) == 0)
            return entry;
    }
    for (const DesktopEntry &entry : m_entries) {
        if (entry.matches(identifier))
            return entry;
    }
    return std::nullopt;
}
