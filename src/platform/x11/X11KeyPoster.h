#pragma once

#include "platform/KeyPoster.h"

#include <QByteArray>

#include <optional>

struct xcb_connection_t;

// Types a paste keystroke through the XTest extension, after releasing every modifier key still
// held (a Shift or Super left down from the shortcut turns the keystroke into another one).
class X11KeyPoster : public KeyPoster
{
public:
    // displayName empty: the DISPLAY of the environment.
    explicit X11KeyPoster(const QByteArray &displayName = {});
    ~X11KeyPoster() override;

    // Needs an X11 session (not Wayland, where posted keys reach X clients only) whose server
    // has the XTest extension.
    bool isTrusted() override;
    void postPasteKeystroke(PasteKeystroke keystroke) override;

private:
    void fakeKey(quint8 type, quint8 keycode);

    xcb_connection_t *m_connection = nullptr;
    bool m_hasXTest = false;
};
