#include "OutsideClickMonitor.h"

#include <QMouseEvent>
#include <QQuickWindow>

OutsideClickMonitor::OutsideClickMonitor(QObject *parent)
    : QObject(parent)
{}

OutsideClickMonitor::~OutsideClickMonitor()
{
    watch(nullptr);
}

void OutsideClickMonitor::setTarget(QQuickItem *target)
{
    if (m_target == target)
        return;
    QObject::disconnect(m_windowChange);
    m_target = target;
    if (target)
        m_windowChange = connect(target, &QQuickItem::windowChanged, this, [this](QQuickWindow *w) {
            watch(w);
        });
    watch(target ? target->window() : nullptr);
    emit targetChanged();
}

void OutsideClickMonitor::watch(QQuickWindow *window)
{
    if (m_window == window)
        return;
    if (m_window)
        m_window->removeEventFilter(this);
    m_window = window;
    if (m_window)
        m_window->installEventFilter(this);
}

bool OutsideClickMonitor::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::MouseButtonPress || !m_target)
        return false;
    const auto *press = static_cast<QMouseEvent *>(event);
    if (press->button() != Qt::LeftButton && press->button() != Qt::RightButton)
        return false;
    const QPointF inTarget = m_target->mapFromScene(press->scenePosition());
    if (!m_target->contains(inTarget))
        emit pressedOutside();
    // Whoever handles pressedOutside may delete this monitor: nothing is touched after it.
    return false;
}
