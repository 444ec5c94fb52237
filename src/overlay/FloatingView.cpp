#include "FloatingView.h"

#include "ShapeImageProvider.h"

#include <QQmlEngine>
#include <QQuickView>

void qml_register_types_Cliphaven_Overlay();

QQuickView *makeFloatingView(const QString &title,
                             const QString &qmlFile,
                             const QVariantMap &initialProperties,
                             const std::function<void(QQuickView &)> &prepare)
{
    // The module is linked statically: its types are registered by hand, once.
    static const bool registered = [] {
        qml_register_types_Cliphaven_Overlay();
        return true;
    }();
    Q_UNUSED(registered);

    auto *view = new QQuickView;
    view->setTitle(title);
    view->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    QSurfaceFormat format = view->format();
    format.setAlphaBufferSize(8);
    view->setFormat(format);
    view->setColor(Qt::transparent);
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->engine()->addImportPath(QStringLiteral("qrc:/"));
    view->engine()->addImageProvider(QStringLiteral("shapes"), new ShapeImageProvider);
    if (prepare)
        prepare(*view);
    view->setInitialProperties(initialProperties);
    view->setSource(QUrl(QStringLiteral("qrc:/Cliphaven/Overlay/") + qmlFile));
    if (view->status() != QQuickView::Ready) {
        QStringList errors;
        for (const QQmlError &error : view->errors())
            errors.append(error.toString());
        qFatal("%s failed to load: %s", qPrintable(qmlFile), qPrintable(errors.join(u'\n')));
    }
    return view;
}
