#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

class QQuickWindow;

// Reports a left or right mouse press anywhere in the target's window outside the target. The
// press itself goes on unchanged, so whatever it was aimed at still happens: a text field uses
// this to end editing when the user clicks elsewhere.
class OutsideClickMonitor : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickItem *target READ target WRITE setTarget NOTIFY targetChanged)

public:
    explicit OutsideClickMonitor(QObject *parent = nullptr);
    ~OutsideClickMonitor() override;

    QQuickItem *target() const { return m_target; }
    void setTarget(QQuickItem *target);

signals:
    void targetChanged();
    void pressedOutside();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void watch(QQuickWindow *window);

    QPointer<QQuickItem> m_target;
    QPointer<QQuickWindow> m_window;
    QMetaObject::Connection m_windowChange;
};
