#include "FieldPasteGuard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QQuickItem>

FieldPasteGuard::FieldPasteGuard(TextReader reader, QObject *parent)
    : QObject(parent)
    , m_reader(std::move(reader))
{
    QGuiApplication::clipboard()->blockSignals(true);
    qApp->installEventFilter(this);
}

FieldPasteGuard::~FieldPasteGuard()
{
    qApp->removeEventFilter(this);
}

bool FieldPasteGuard::isEditableTextItem(const QObject *object)
{
    if (!object || !(object->inherits("QQuickTextInput") || object->inherits("QQuickTextEdit")))
        return false;
    return !object->property("readOnly").toBool();
}

bool FieldPasteGuard::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        if (!static_cast<QKeyEvent *>(event)->matches(QKeySequence::Paste)
            || !isEditableTextItem(watched))
            return false;
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
        return static_cast<QMouseEvent *>(event)->button() == Qt::MiddleButton
               && isEditableTextItem(watched);
    default:
        return false;
    }
    if (m_reader) {
        m_reader([field = QPointer(static_cast<QQuickItem *>(watched))](const QString &text) {
            // The user may have moved on while the owner answered.
            if (!field || !field->hasActiveFocus() || text.isEmpty())
                return;
            QInputMethodEvent typed;
            typed.setCommitString(text);
            QCoreApplication::sendEvent(field, &typed);
        });
    }
    return true;
}
