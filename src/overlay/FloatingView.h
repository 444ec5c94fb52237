#pragma once

#include <QString>
#include <QVariantMap>

#include <functional>

class QQuickView;

// A frameless, translucent, always-on-top tool window showing one view of the overlay's QML
// module, as the overlay and the preview are. prepare runs before the view loads (image
// providers, a first geometry). A view that fails to load is a programming error.
QQuickView *makeFloatingView(const QString &title,
                             const QString &qmlFile,
                             const QVariantMap &initialProperties,
                             const std::function<void(QQuickView &)> &prepare = {});
