#include "app/AppPrefs.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cliphaven"));
    QApplication::setOrganizationName(QStringLiteral("Cliphaven"));
    QApplication::setApplicationVersion(QStringLiteral(CLIPHAVEN_VERSION));
    // Closing a window (preferences, alerts) never ends a background utility.
    QApplication::setQuitOnLastWindowClosed(false);

    AppPrefs::shared();
    return app.exec();
}
