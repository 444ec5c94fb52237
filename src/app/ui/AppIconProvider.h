#pragma once

#include <QQuickImageProvider>

// "image://appicon/<name>": an application's icon as its desktop entry names it, a theme icon
// name or an absolute file path. An icon that cannot be found gives an empty image, and the
// view shows its placeholder.
class AppIconProvider final : public QQuickImageProvider
{
public:
    static inline const QString kId = QStringLiteral("appicon");

    AppIconProvider();
    QPixmap requestPixmap(const QString &id, QSize *size, const QSize &requestedSize) override;

    // The icon for a desktop entry's Icon value; null when none is found.
    static QIcon findIcon(const QString &name);
};
