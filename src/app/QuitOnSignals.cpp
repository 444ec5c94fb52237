#include "QuitOnSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int)
{
    // Only async-signal-safe work here: wake the event loop through the pipe.
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_signalPipe[0], &byte, 1);
}

} // namespace

void quitApplicationOnTerminationSignals()
{
    Q_ASSERT(QCoreApplication::instance());
    if (g_signalPipe[0] >= 0)
        return;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0)
        qFatal("socketpair failed");

    auto *notifier = new QSocketNotifier(g_signalPipe[1],
                                         QSocketNotifier::Read,
                                         QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        char byte;
        [[maybe_unused]] const ssize_t got = ::read(g_signalPipe[1], &byte, 1);
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}
