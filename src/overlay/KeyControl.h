#pragma once

#include "model/ClipItem.h"

#include <QString>

#include <functional>

class OverlayState;
class Store;

// Decides, for every key press in the overlay, whether the overlay consumes it (moves, picks,
// deletes, switches lists, starts a search) or lets it reach the focused control. Keys arrive
// as the physical key codes of the shortcut module (the same numbers on every platform).
class KeyControl
{
public:
    enum KeyCode : int {
        Return = 36,
        Space = 49,
        Delete = 51,
        Escape = 53,
        KeypadEnter = 76,
        F10 = 109,
        Home = 115,
        PageUp = 116,
        ForwardDelete = 117,
        End = 119,
        PageDown = 121,
        LeftArrow = 123,
        RightArrow = 124,
        DownArrow = 125,
        UpArrow = 126,
    };

    struct KeyPress
    {
        int keyCode = -1;
        bool command = false; // Ctrl on Linux
        bool option = false;  // Alt
        bool control = false; // the platform's own Control, never set on Linux
        bool shift = false;
        bool menuKey = false; // the keyboard's Menu key, which has no code in the key table
        QString characters;   // with modifiers applied
        QString charactersIgnoringModifiers;
    };

    // What the view tells about the moment of the press.
    struct Context
    {
        bool editingText = false;    // a text field is being typed into
        bool previewVisible = false; // the preview window is showing
        int pageRows = 1;            // rows of tiles the grid shows whole
    };

    KeyControl(OverlayState &state, Store &store);

    std::function<void(const ClipItem &)> onPick;
    std::function<void()> onClose;
    std::function<void(const ClipItem &)> onQuickLook;
    // The Menu key or Shift+F10: the context menu of the tile at this row.
    std::function<void(int)> onOpenMenu;
    std::function<void()> onBeep;
    // Takes keyboard focus away from the search field.
    std::function<void()> onClearFocus;

    // True when the overlay consumed the key.
    bool handle(const KeyPress &key, const Context &context);

private:
    bool handleCommand(const QString &characters);
    bool moveSelection(int keyCode, const QList<ClipItem> &items, int pageRows);
    void deleteSelection(const QList<ClipItem> &items);
    int currentIndex(const QList<ClipItem> &items) const;

    OverlayState &m_state;
    Store &m_store;
};
