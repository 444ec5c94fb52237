#include "OverlayAlert.h"

OverlayAlert::OverlayAlert(QObject *parent)
    : QObject(parent)
{}

void OverlayAlert::show(const QString &title,
                        const QString &text,
                        const QStringList &buttons,
                        Answer answer,
                        bool busy,
                        bool destructive)
{
    // The one it replaces is answered first, as cancelled.
    Answer previous = std::exchange(m_answer, {});
    m_shown = true;
    m_title = title;
    m_text = text;
    m_buttons = buttons;
    m_busy = busy;
    m_destructive = destructive;
    m_answer = std::move(answer);
    emit changed();
    if (previous)
        previous(-1);
}

void OverlayAlert::dismiss()
{
    finish(-1);
}

void OverlayAlert::choose(int index)
{
    if (!m_shown || index < 0 || index >= m_buttons.size())
        return;
    finish(index);
}

void OverlayAlert::finish(int index)
{
    if (!m_shown)
        return;
    m_shown = false;
    Answer answer = std::exchange(m_answer, {});
    emit changed();
    // Last: the answer may show the next alert.
    if (answer)
        answer(index);
}
