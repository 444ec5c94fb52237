#include "SessionRestore.h"

#include <QGuiApplication>
#include <QSessionManager>

void optOutOfSessionRestore(QGuiApplication &application)
{
    // Qt answers the session manager's first "save yourself" (sent when a client registers)
    // with what these handlers set, and again at every later save.
    const auto never = [](QSessionManager &manager) {
        manager.setRestartHint(QSessionManager::RestartNever);
    };
    QObject::connect(&application, &QGuiApplication::saveStateRequest, never);
    QObject::connect(&application, &QGuiApplication::commitDataRequest, never);
}
