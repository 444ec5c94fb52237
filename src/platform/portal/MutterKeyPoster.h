#pragma once

#include "platform/KeyPoster.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <optional>

// Types the paste keystroke through GNOME's compositor directly, in a session of its
// org.gnome.Mutter.RemoteDesktop service (the service GNOME's portal backend wraps). That API is
// private to GNOME and asks the user nothing, so it is only a fallback for a GNOME session whose
// portal cannot open a session at all, never a way around a refusal. The session is opened on
// the first paste, asynchronously, and the compositor ends it when this process goes.
class MutterKeyPoster : public QObject, public KeyPoster
{
    Q_OBJECT

public:
    enum class State { probing, idle, opening, ready, unavailable };
    Q_ENUM(State)

    // next (may be null) takes the keystrokes when the compositor offers no session.
    MutterKeyPoster(const QDBusConnection &bus,
                    KeyPoster *next = nullptr,
                    int deadlineMs = 5000,
                    QObject *parent = nullptr);
    ~MutterKeyPoster() override;

    bool isTrusted() override;
    void postPasteKeystroke(PasteKeystroke keystroke) override;

    State state() const { return m_state; }

signals:
    void stateChanged(MutterKeyPoster::State state);
    // A keystroke was lost and no other poster could type it.
    void undelivered();

private slots:
    void onSessionClosed();

private:
    void setState(State state);
    void open();
    void send(PasteKeystroke keystroke);
    void giveUp();

    QDBusConnection m_bus;
    KeyPoster *m_next;
    int m_deadlineMs;
    State m_state = State::probing;
    QString m_session;
    std::optional<PasteKeystroke> m_pending;
};
