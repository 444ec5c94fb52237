#pragma once

// Waiting on a Qt Quick window's frames, for the benchmarks that drive the overlay.

#include <QElapsedTimer>
#include <QEventLoop>
#include <QQuickWindow>
#include <QTimer>

namespace bench {

// Runs the event loop until the window has shown a frame or the timeout passes; returns the
// milliseconds from start to that frame, or -1.
inline double untilFrame(QQuickWindow *window, const QElapsedTimer &start, int timeoutMs = 5000)
{
    QEventLoop loop;
    double at = -1;
    const auto connection = QObject::connect(window, &QQuickWindow::frameSwapped, &loop, [&] {
        at = start.nsecsElapsed() / 1e6;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    QObject::disconnect(connection);
    return at;
}

// Runs the event loop for ms milliseconds.
inline void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace bench
