#include "QuickLookController.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTextBoundaryFinder>

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A directory (not a link to one) owned by this user.
bool isOwnDirectory(const QByteArray &path, struct stat *info)
{
    return ::lstat(path.constData(), info) == 0 && S_ISDIR(info->st_mode)
           && info->st_uid == ::geteuid();
}

// Replaces path in one step: readers see the old file or the new one, never a partial one,
// and a link planted at path is replaced, not followed.
bool writeAtomically(const QString &path, const QByteArray &bytes)
{
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    file.setAutoRemove(true);
    if (!file.open() || file.write(bytes) != bytes.size() || !file.flush())
        return false;
    if (::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData())
        != 0)
        return false;
    file.setAutoRemove(false);
    return true;
}

// The first count user-perceived characters, so a title never ends in half an emoji.
QString leadingCharacters(const QString &text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int taken = 0;
    while (taken < count && finder.toNextBoundary() != -1)
        ++taken;
    return taken < count ? text : text.left(finder.position());
}

} // namespace

QuickLookController &QuickLookController::shared()
{
    static QuickLookController controller(defaultFolder());
    return controller;
}

QString QuickLookController::defaultFolder()
{
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    struct stat info
    {};
    if (!runtime.isEmpty() && isOwnDirectory(runtime, &info) && (info.st_mode & 077) == 0)
        return QFile::decodeName(runtime) + u'/' + kFolderName;
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
           + QStringLiteral("/Cliphaven/") + kFolderName;
}

QuickLookController::QuickLookController(QString folder)
    : m_folder(std::move(folder))
{
    ensureFolder();
}

bool QuickLookController::ensureFolder() const
{
    if (m_folder.isEmpty())
        return false;
    const QByteArray path = QFile::encodeName(m_folder);
    if (::mkdir(path.constData(), 0700) != 0 && errno == ENOENT) {
        // The cache folder itself may not exist yet; the parents take the usual permissions.
        QDir().mkpath(QFileInfo(m_folder).absolutePath());
        ::mkdir(path.constData(), 0700);
    }
    struct stat info
    {};
    if (!isOwnDirectory(path, &info))
        return false;
    if ((info.st_mode & 077) != 0 && ::chmod(path.constData(), 0700) != 0)
        return false;
    return true;
}

QString QuickLookController::title(const ClipItem &clip)
{
    if (clip.kind == ClipKind::Image)
        return QStringLiteral("Image");
    const QString text = clip.text.value_or(QString());
    QString title = leadingCharacters(text, kTitleLength);
    const bool cut = title.size() < text.size();
    const bool breakInWord = cut && !text.at(title.size()).isSpace();
    title.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    title.replace(u'\n', u' ');
    title.replace(u'\r', u' ');
    if (cut) {
        // Shortened: at a word's end when one lies in the second half, and saying so.
        const qsizetype space = title.lastIndexOf(u' ');
        if (breakInWord && space > title.size() / 2)
            title.truncate(space);
        title = title.trimmed() + u'\u2026';
    }
    return title.trimmed().isEmpty() ? QStringLiteral("Text") : title;
}

std::optional<QuickLookItem> QuickLookController::makeItem(const ClipItem &clip) const
{
    QByteArray bytes;
    QString suffix;
    if (clip.kind == ClipKind::Text) {
        if (!clip.text)
            return std::nullopt;
        bytes = clip.text->toUtf8();
        suffix = QStringLiteral(".txt");
    } else {
        if (!clip.imageData)
            return std::nullopt;
        bytes = *clip.imageData;
        suffix = QStringLiteral(".png");
    }
    if (!ensureFolder())
        return std::nullopt;
    const QString path = m_folder + u'/' + clip.id.toString(QUuid::WithoutBraces).toUpper()
                         + suffix;
    if (!writeAtomically(path, bytes))
        return std::nullopt;
    return QuickLookItem{QUrl::fromLocalFile(path), title(clip)};
}
