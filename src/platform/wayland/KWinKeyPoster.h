#pragma once

#include "platform/KeyPoster.h"

#include <QByteArray>
#include <QHash>

#include <memory>

class WaylandConnection;
struct org_kde_kwin_fake_input;

// Types the paste keystroke through KWin's fake input device (org_kde_kwin_fake_input), on a
// connection of its own. KWin offers the protocol only to a program whose installed desktop
// entry names it under X-KDE-Wayland-Interfaces, and honours its events only after the program
// has said who it is and why (authenticate). Keys are key codes that KWin reads with the seat's
// own keymap, so each key is looked up in that keymap by what it types.
class KWinKeyPoster final : public KeyPoster
{
public:
    // socket empty: WAYLAND_DISPLAY of the environment.
    explicit KWinKeyPoster(const QByteArray &socket = {});
    ~KWinKeyPoster() override;

    // Whether KWin offers fake keyboard input to this program and is still there.
    bool isTrusted() override;
    void postPasteKeystroke(PasteKeystroke keystroke) override;

    // The evdev key code that types keysym with the seat's keymap as it was when the poster
    // started (US positions when the seat had no keyboard then).
    quint32 keyCode(quint32 keysym) const;

private:
    void readSeatKeymap();
    void key(quint32 code, bool down);

    std::unique_ptr<WaylandConnection> m_connection;
    org_kde_kwin_fake_input *m_input = nullptr;
    // keysym -> evdev code, from the seat's keymap.
    QHash<quint32, quint32> m_codes;
};
