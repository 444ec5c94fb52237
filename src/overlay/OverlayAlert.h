#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <functional>

// A question or a message shown inside the overlay's card, in its own look, instead of a
// separate window that would take the focus and so hide the overlay. One at a time: a new one
// replaces an unanswered one, which counts as cancelled.
class OverlayAlert : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The overlay window owns its alert.")
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    // Left to right; the last is the default (Return), the first is what Escape chooses.
    Q_PROPERTY(QStringList buttons READ buttons NOTIFY changed)
    // The default button does something that cannot be taken back: drawn in red.
    Q_PROPERTY(bool destructive READ destructive NOTIFY changed)
    // A progress message: a spinner beside the text.
    Q_PROPERTY(bool busy READ busy NOTIFY changed)

public:
    // Called with the index of the button chosen, or -1 when the alert went away unanswered.
    using Answer = std::function<void(int)>;

    explicit OverlayAlert(QObject *parent = nullptr);

    void show(const QString &title,
              const QString &text,
              const QStringList &buttons,
              Answer answer = {},
              bool busy = false,
              bool destructive = false);
    // Takes it away unanswered.
    void dismiss();

    bool shown() const { return m_shown; }
    QString title() const { return m_title; }
    QString text() const { return m_text; }
    QStringList buttons() const { return m_buttons; }
    bool destructive() const { return m_destructive; }
    bool busy() const { return m_busy; }

    Q_INVOKABLE void choose(int index);
    // Escape: the first button.
    Q_INVOKABLE void cancel() { choose(0); }
    // Return: the last button.
    Q_INVOKABLE void accept() { choose(int(m_buttons.size()) - 1); }

signals:
    void changed();

private:
    void finish(int index);

    bool m_shown = false;
    QString m_title;
    QString m_text;
    QStringList m_buttons;
    bool m_destructive = false;
    bool m_busy = false;
    Answer m_answer;
};
