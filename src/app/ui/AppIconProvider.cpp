#include "AppIconProvider.h"

#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QUrl>

AppIconProvider::AppIconProvider()
    : QQuickImageProvider(QQuickImageProvider::Pixmap)
{}

QIcon AppIconProvider::findIcon(const QString &name)
{
    if (name.isEmpty())
        return {};
    if (QDir::isAbsolutePath(name))
        return QFileInfo(name).isFile() ? QIcon(name) : QIcon();
    // Some entries name a file without its folder or with its extension.
    QString themeName = name;
    for (const QString &suffix :
         {QStringLiteral(".png"), QStringLiteral(".svg"), QStringLiteral(".xpm")}) {
        if (themeName.endsWith(suffix))
            themeName.chop(suffix.size());
    }
    QIcon icon = QIcon::fromTheme(themeName);
    if (!icon.isNull())
        return icon;
    // Older programs install only a picture into the shared pixmaps folder.
    for (const QString &suffix :
         {QStringLiteral(".svg"), QStringLiteral(".png"), QStringLiteral(".xpm")}) {
        const QString path = QStringLiteral("/usr/share/pixmaps/") + themeName + suffix;
        if (QFileInfo(path).isFile())
            return QIcon(path);
    }
    return {};
}

QPixmap AppIconProvider::requestPixmap(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QSize wanted = requestedSize.isValid() ? requestedSize : QSize(44, 44);
    const QIcon icon = findIcon(QUrl::fromPercentEncoding(id.toUtf8()));
    const QPixmap pixmap = icon.isNull() ? QPixmap() : icon.pixmap(wanted);
    if (size)
        *size = pixmap.size();
    return pixmap;
}
