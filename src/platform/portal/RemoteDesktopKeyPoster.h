#pragma once

#include "platform/KeyPoster.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <optional>

// Types the paste keystroke through the desktop portal's RemoteDesktop interface, in a
// keyboard-only session opened the first time a paste needs it. The session is asked to persist
// until revoked, and the restore token it returns is handed out for the settings, so the user
// approves once. Nothing waits: every step is an asynchronous request with a deadline.
//
// An advertised interface is not trusted (xdg-desktop-portal 1.16 falls back to any installed
// backend): where no session can be had, keystrokes go to the next poster, if any. A refusal
// at the desktop's prompt is remembered (refusedChanged), not asked again and not worked around
// through the next poster; a restore token the portal no longer accepts is dropped and the user
// is asked once more, never in a loop.
class RemoteDesktopKeyPoster : public QObject, public KeyPoster
{
    Q_OBJECT
    Q_PROPERTY(bool refused READ isRefused NOTIFY refusedChanged)

public:
    enum class State {
        probing,     // asking whether the portal offers a keyboard at all
        idle,        // a session will be opened for the next paste
        opening,     // a session is being set up, possibly waiting for the user
        ready,       // keystrokes go through the session
        refused,     // the user said no: nothing is asked again
        unavailable, // no session here in this run
    };
    Q_ENUM(State)

    // Why a keystroke could not be typed; each is announced once, when it happens.
    enum class Problem { refused, noAnswer, failed };
    Q_ENUM(Problem)

    struct Deadlines
    {
        int requestMs = 5000;   // steps that answer without asking the user
        int approvalMs = 30000; // starting, which may show the desktop's prompt
    };

    // next (may be null) takes the keystrokes this poster cannot type; it must outlive this.
    RemoteDesktopKeyPoster(const QDBusConnection &bus,
                           const QString &restoreToken,
                           bool refused,
                           KeyPoster *next,
                           Deadlines deadlines,
                           QObject *parent = nullptr);
    RemoteDesktopKeyPoster(const QDBusConnection &bus,
                           const QString &restoreToken,
                           bool refused,
                           KeyPoster *next = nullptr,
                           QObject *parent = nullptr);
    ~RemoteDesktopKeyPoster() override;

    bool isTrusted() override;
    void postPasteKeystroke(PasteKeystroke keystroke) override;

    State state() const { return m_state; }
    QString restoreToken() const { return m_restoreToken; }
    bool isRefused() const { return m_state == State::refused; }
    // After a refusal: the next paste asks the user again.
    Q_INVOKABLE void askAgain();

signals:
    void stateChanged(RemoteDesktopKeyPoster::State state);
    // For the settings; empty when the portal rejected the saved one.
    void restoreTokenChanged(const QString &token);
    void refusedChanged(bool refused);
    // A keystroke was lost and no other poster could type it.
    void problem(RemoteDesktopKeyPoster::Problem problem);

private slots:
    void onSessionClosed();

private:
    void setState(State state);
    void probe();
    void open();
    void selectDevices();
    void start();
    void send(PasteKeystroke keystroke);
    void giveUp(State state, Problem problem);
    void dropSession();
    void setRestoreToken(const QString &token);

    QDBusConnection m_bus;
    KeyPoster *m_next;
    Deadlines m_deadlines;
    State m_state = State::probing;
    QString m_restoreToken;
    QString m_session;
    // The portal rejected the saved token once this run; the next rejection is final.
    bool m_tokenRejected = false;
    std::optional<PasteKeystroke> m_pending;
};
