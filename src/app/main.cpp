#include "app/CommandRunner.h"
#include "app/QuitOnSignals.h"
#include "app/SingleInstance.h"
#include "app/ui/AppDelegate.h"
#include "app/ui/PlatformSession.h"
#include "overlay/SceneGraphBackend.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <QTimer>

#include "model/Store.h"

#include <QCoreApplication>

#include <cstdio>
#include <malloc.h>

namespace {

// A command of the command line comes here only when no Cliphaven answered the launcher: it
// reads the saved history, and the commands that change something refuse. No display needed.
int runCommandOnSavedHistory(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QString error;
    std::optional<CommandRunner> runner = CommandRunner::fromStoreFile(Store::defaultStoreFilePath(),
                                                                       error);
    if (!runner) {
        std::fprintf(stderr, "cliphaven: %s\n", qPrintable(error));
        return 1;
    }
    const CommandReply reply = runner->run(QCoreApplication::arguments().mid(1));
    std::fwrite(reply.out.constData(), 1, size_t(reply.out.size()), stdout);
    std::fwrite(reply.err.constData(), 1, size_t(reply.err.size()), stderr);
    return std::fflush(stdout) == 0 ? reply.status : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // Images are decoded a few megabytes at a time on worker threads and dropped once scaled
    // down; a fixed mmap threshold hands that memory straight back instead of letting it
    // collect in per-thread heaps (measured: about 45 MB kept otherwise).
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);

    if (argc > 1 && argv[1][0] != '-')
        return runCommandOnSavedHistory(argc, argv);

    // On a Wayland session, Qt's platform follows what the compositor offers Cliphaven.
    PlatformSession::chooseQtPlatform();

    QApplication app(argc, argv);
    // Qt Quick's renderer, chosen before any window exists: software on a software-only GPU.
    SceneGraphBackend::choose();
    QApplication::setApplicationName(QStringLiteral("Cliphaven"));
    QApplication::setOrganizationName(QStringLiteral("Cliphaven"));
    QApplication::setApplicationVersion(QStringLiteral(CLIPHAVEN_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("cliphaven"));

    QCommandLineParser arguments;
    arguments.setApplicationDescription(QStringLiteral("Clipboard history for the desktop."));
    arguments.addHelpOption();
    arguments.addVersionOption();
    const QCommandLineOption
        toggleOption(QStringLiteral("toggle"),
                     QStringLiteral(
                         "Open or close the overlay (starting Cliphaven when it is not running)."));
    arguments.addOption(toggleOption);
    arguments.process(app);

    // One Cliphaven per user: launching it again, plainly or with --toggle, asks the running
    // one to toggle its overlay, and this process ends.
    SingleInstance instance;
    switch (instance.start()) {
    case SingleInstance::Role::forwarded:
        return 0;
    case SingleInstance::Role::unreachable:
        qWarning("Cliphaven is already running but does not answer.");
        return 1;
    case SingleInstance::Role::primary:
        break;
    }

    // Logging out or Ctrl+C quits normally, so the store writes a pending save.
    quitApplicationOnTerminationSignals();

    AppDelegate delegate;
    delegate.applicationDidFinishLaunching(instance);
    // Before any window is shown, but after capturing has begun: the SVG icon loads a plugin.
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")));

    // Started with --toggle: the overlay opens as it would for a later launch.
    if (arguments.isSet(toggleOption))
        QTimer::singleShot(0, &delegate, &AppDelegate::toggleOverlay);

    return app.exec();
}
