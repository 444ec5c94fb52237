#include "SceneGraphBackend.h"

#include <QDir>
#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QSGRendererInterface>

namespace SceneGraphBackend {

namespace {

// Without a GPU device node, Mesa can only offer llvmpipe or softpipe; asking OpenGL would
// load LLVM just to hear that.
bool hasGpuDevice()
{
    const QStringList renderNodes = QDir(QStringLiteral("/dev/dri"))
                                        .entryList({QStringLiteral("renderD*"),
                                                    QStringLiteral("card*")},
                                                   QDir::System);
    return !renderNodes.isEmpty() || QFile::exists(QStringLiteral("/dev/nvidiactl"));
}

QByteArray openGLRenderer()
{
    QOpenGLContext context;
    if (!context.create())
        return {};
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!context.makeCurrent(&surface))
        return {};
    const auto *name = reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER));
    QByteArray renderer(name ? name : "");
    context.doneCurrent();
    return renderer;
}

} // namespace

bool isSoftwareRenderer(const QByteArray &renderer)
{
    const QByteArray lower = renderer.toLower();
    return lower.isEmpty() || lower.contains("llvmpipe") || lower.contains("softpipe")
           || lower.contains("swrast") || lower.contains("software rasterizer");
}

Choice choose()
{
    Q_ASSERT(qGuiApp);
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        return Choice::Environment;
    const QString platform = QGuiApplication::platformName();
    const bool software = platform == u"offscreen" || platform == u"minimal"
                          || qEnvironmentVariableIntValue("LIBGL_ALWAYS_SOFTWARE") == 1
                          || !hasGpuDevice() || isSoftwareRenderer(openGLRenderer());
    if (!software)
        return Choice::Hardware;
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    return Choice::Software;
}

} // namespace SceneGraphBackend
