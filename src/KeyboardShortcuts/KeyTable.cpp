#include "KeyTable.h"

#include <QKeyEvent>

#include <xkbcommon/xkbcommon-keysyms.h>

#include <array>
#include <cstring>

namespace KeyboardShortcuts {

namespace {

// XKB names are those of the evdev key codes, which every current X server and xkeyboard-config
// use.
constexpr KeyTableRow kRows[] = {
    {Key::a.rawValue, "AC01", XKB_KEY_a},
    {Key::s.rawValue, "AC02", XKB_KEY_s},
    {Key::d.rawValue, "AC03", XKB_KEY_d},
    {Key::f.rawValue, "AC04", XKB_KEY_f},
    {Key::h.rawValue, "AC06", XKB_KEY_h},
    {Key::g.rawValue, "AC05", XKB_KEY_g},
    {Key::z.rawValue, "AB01", XKB_KEY_z},
    {Key::x.rawValue, "AB02", XKB_KEY_x},
    {Key::c.rawValue, "AB03", XKB_KEY_c},
    {Key::v.rawValue, "AB04", XKB_KEY_v},
    {Key::b.rawValue, "AB05", XKB_KEY_b},
    {Key::q.rawValue, "AD01", XKB_KEY_q},
    {Key::w.rawValue, "AD02", XKB_KEY_w},
    {Key::e.rawValue, "AD03", XKB_KEY_e},
    {Key::r.rawValue, "AD04", XKB_KEY_r},
    {Key::y.rawValue, "AD06", XKB_KEY_y},
    {Key::t.rawValue, "AD05", XKB_KEY_t},
    {Key::one.rawValue, "AE01", XKB_KEY_1},
    {Key::two.rawValue, "AE02", XKB_KEY_2},
    {Key::three.rawValue, "AE03", XKB_KEY_3},
    {Key::four.rawValue, "AE04", XKB_KEY_4},
    {Key::six.rawValue, "AE06", XKB_KEY_6},
    {Key::five.rawValue, "AE05", XKB_KEY_5},
    {Key::equal.rawValue, "AE12", XKB_KEY_equal},
    {Key::nine.rawValue, "AE09", XKB_KEY_9},
    {Key::seven.rawValue, "AE07", XKB_KEY_7},
    {Key::minus.rawValue, "AE11", XKB_KEY_minus},
    {Key::eight.rawValue, "AE08", XKB_KEY_8},
    {Key::zero.rawValue, "AE10", XKB_KEY_0},
    {Key::rightBracket.rawValue, "AD12", XKB_KEY_bracketright},
    {Key::o.rawValue, "AD09", XKB_KEY_o},
    {Key::u.rawValue, "AD07", XKB_KEY_u},
    {Key::leftBracket.rawValue, "AD11", XKB_KEY_bracketleft},
    {Key::i.rawValue, "AD08", XKB_KEY_i},
    {Key::p.rawValue, "AD10", XKB_KEY_p},
    {Key::return_.rawValue, "RTRN", XKB_KEY_Return},
    {Key::l.rawValue, "AC09", XKB_KEY_l},
    {Key::j.rawValue, "AC07", XKB_KEY_j},
    {Key::quote.rawValue, "AC11", XKB_KEY_apostrophe},
    {Key::k.rawValue, "AC08", XKB_KEY_k},
    {Key::semicolon.rawValue, "AC10", XKB_KEY_semicolon},
    {Key::backslash.rawValue, "BKSL", XKB_KEY_backslash},
    {Key::comma.rawValue, "AB08", XKB_KEY_comma},
    {Key::slash.rawValue, "AB10", XKB_KEY_slash},
    {Key::n.rawValue, "AB06", XKB_KEY_n},
    {Key::m.rawValue, "AB07", XKB_KEY_m},
    {Key::period.rawValue, "AB09", XKB_KEY_period},
    {Key::tab.rawValue, "TAB", XKB_KEY_Tab},
    {Key::space.rawValue, "SPCE", XKB_KEY_space},
    {Key::backtick.rawValue, "TLDE", XKB_KEY_grave},
    {Key::delete_.rawValue, "BKSP", XKB_KEY_BackSpace},
    {Key::escape.rawValue, "ESC", XKB_KEY_Escape},
    {Key::rightCommand.rawValue, "RWIN", XKB_KEY_Super_R},
    {Key::command.rawValue, "LWIN", XKB_KEY_Super_L},
    {Key::shift.rawValue, "LFSH", XKB_KEY_Shift_L},
    {Key::capsLock.rawValue, "CAPS", XKB_KEY_Caps_Lock},
    {Key::option.rawValue, "LALT", XKB_KEY_Alt_L},
    {Key::control.rawValue, "LCTL", XKB_KEY_Control_L},
    {Key::rightShift.rawValue, "RTSH", XKB_KEY_Shift_R},
    {Key::rightOption.rawValue, "RALT", XKB_KEY_Alt_R},
    {Key::rightControl.rawValue, "RCTL", XKB_KEY_Control_R},
    // The function key is handled by the keyboard itself on PCs; X never sees it.
    {Key::function.rawValue, nullptr, 0},
    {Key::f17.rawValue, "FK17", XKB_KEY_F17},
    {Key::keypadDecimal.rawValue, "KPDL", XKB_KEY_KP_Decimal},
    {Key::keypadMultiply.rawValue, "KPMU", XKB_KEY_KP_Multiply},
    {Key::keypadPlus.rawValue, "KPAD", XKB_KEY_KP_Add},
    // Clear sits where PC keyboards have Num Lock; only a Clear keysym reaches it.
    {Key::keypadClear.rawValue, nullptr, XKB_KEY_Clear},
    {Key::volumeUp.rawValue, "VOL+", XKB_KEY_XF86AudioRaiseVolume},
    {Key::volumeDown.rawValue, "VOL-", XKB_KEY_XF86AudioLowerVolume},
    {Key::mute.rawValue, "MUTE", XKB_KEY_XF86AudioMute},
    {Key::keypadDivide.rawValue, "KPDV", XKB_KEY_KP_Divide},
    {Key::keypadEnter.rawValue, "KPEN", XKB_KEY_KP_Enter},
    {Key::keypadMinus.rawValue, "KPSU", XKB_KEY_KP_Subtract},
    {Key::f18.rawValue, "FK18", XKB_KEY_F18},
    {Key::f19.rawValue, "FK19", XKB_KEY_F19},
    {Key::keypadEquals.rawValue, "KPEQ", XKB_KEY_KP_Equal},
    {Key::keypad0.rawValue, "KP0", XKB_KEY_KP_0},
    {Key::keypad1.rawValue, "KP1", XKB_KEY_KP_1},
    {Key::keypad2.rawValue, "KP2", XKB_KEY_KP_2},
    {Key::keypad3.rawValue, "KP3", XKB_KEY_KP_3},
    {Key::keypad4.rawValue, "KP4", XKB_KEY_KP_4},
    {Key::keypad5.rawValue, "KP5", XKB_KEY_KP_5},
    {Key::keypad6.rawValue, "KP6", XKB_KEY_KP_6},
    {Key::keypad7.rawValue, "KP7", XKB_KEY_KP_7},
    {Key::f20.rawValue, "FK20", XKB_KEY_F20},
    {Key::keypad8.rawValue, "KP8", XKB_KEY_KP_8},
    {Key::keypad9.rawValue, "KP9", XKB_KEY_KP_9},
    {Key::f5.rawValue, "FK05", XKB_KEY_F5},
    {Key::f6.rawValue, "FK06", XKB_KEY_F6},
    {Key::f7.rawValue, "FK07", XKB_KEY_F7},
    {Key::f3.rawValue, "FK03", XKB_KEY_F3},
    {Key::f8.rawValue, "FK08", XKB_KEY_F8},
    {Key::f9.rawValue, "FK09", XKB_KEY_F9},
    {Key::f11.rawValue, "FK11", XKB_KEY_F11},
    {Key::f13.rawValue, "FK13", XKB_KEY_F13},
    {Key::f16.rawValue, "FK16", XKB_KEY_F16},
    {Key::f14.rawValue, "FK14", XKB_KEY_F14},
    {Key::f10.rawValue, "FK10", XKB_KEY_F10},
    {Key::f12.rawValue, "FK12", XKB_KEY_F12},
    {Key::f15.rawValue, "FK15", XKB_KEY_F15},
    {Key::help.rawValue, "HELP", XKB_KEY_Help},
    {Key::home.rawValue, "HOME", XKB_KEY_Home},
    {Key::pageUp.rawValue, "PGUP", XKB_KEY_Prior},
    {Key::deleteForward.rawValue, "DELE", XKB_KEY_Delete},
    {Key::f4.rawValue, "FK04", XKB_KEY_F4},
    {Key::end.rawValue, "END", XKB_KEY_End},
    {Key::f2.rawValue, "FK02", XKB_KEY_F2},
    {Key::pageDown.rawValue, "PGDN", XKB_KEY_Next},
    {Key::f1.rawValue, "FK01", XKB_KEY_F1},
    {Key::leftArrow.rawValue, "LEFT", XKB_KEY_Left},
    {Key::rightArrow.rawValue, "RGHT", XKB_KEY_Right},
    {Key::downArrow.rawValue, "DOWN", XKB_KEY_Down},
    {Key::upArrow.rawValue, "UP", XKB_KEY_Up},
    {Key::insert.rawValue, "INS", XKB_KEY_Insert},
    {Key::printScreen.rawValue, "PRSC", XKB_KEY_Print},
    {Key::scrollLock.rawValue, "SCLK", XKB_KEY_Scroll_Lock},
    {Key::pause.rawValue, "PAUS", XKB_KEY_Pause},
    {Key::menu.rawValue, "MENU", XKB_KEY_Menu},
};

struct QtKeyRow
{
    int qtKey;
    Key key;
};

// Keys of the main block, including what Shift makes of them on a US layout.
constexpr QtKeyRow kQtKeys[] = {
    {Qt::Key_Exclam, Key::one},
    {Qt::Key_At, Key::two},
    {Qt::Key_NumberSign, Key::three},
    {Qt::Key_Dollar, Key::four},
    {Qt::Key_Percent, Key::five},
    {Qt::Key_AsciiCircum, Key::six},
    {Qt::Key_Ampersand, Key::seven},
    {Qt::Key_Asterisk, Key::eight},
    {Qt::Key_ParenLeft, Key::nine},
    {Qt::Key_ParenRight, Key::zero},
    {Qt::Key_Minus, Key::minus},
    {Qt::Key_Underscore, Key::minus},
    {Qt::Key_Equal, Key::equal},
    {Qt::Key_Plus, Key::equal},
    {Qt::Key_BracketLeft, Key::leftBracket},
    {Qt::Key_BraceLeft, Key::leftBracket},
    {Qt::Key_BracketRight, Key::rightBracket},
    {Qt::Key_BraceRight, Key::rightBracket},
    {Qt::Key_Backslash, Key::backslash},
    {Qt::Key_Bar, Key::backslash},
    {Qt::Key_Semicolon, Key::semicolon},
    {Qt::Key_Colon, Key::semicolon},
    {Qt::Key_Apostrophe, Key::quote},
    {Qt::Key_QuoteDbl, Key::quote},
    {Qt::Key_QuoteLeft, Key::backtick},
    {Qt::Key_AsciiTilde, Key::backtick},
    {Qt::Key_Comma, Key::comma},
    {Qt::Key_Less, Key::comma},
    {Qt::Key_Period, Key::period},
    {Qt::Key_Greater, Key::period},
    {Qt::Key_Slash, Key::slash},
    {Qt::Key_Question, Key::slash},
    {Qt::Key_Return, Key::return_},
    {Qt::Key_Tab, Key::tab},
    {Qt::Key_Backtab, Key::tab},
    {Qt::Key_Space, Key::space},
    {Qt::Key_Backspace, Key::delete_},
    {Qt::Key_Escape, Key::escape},
    {Qt::Key_Super_R, Key::rightCommand},
    {Qt::Key_Super_L, Key::command},
    {Qt::Key_Meta, Key::command},
    {Qt::Key_Shift, Key::shift},
    {Qt::Key_CapsLock, Key::capsLock},
    {Qt::Key_Alt, Key::option},
    {Qt::Key_AltGr, Key::rightOption},
    {Qt::Key_Control, Key::control},
    {Qt::Key_VolumeUp, Key::volumeUp},
    {Qt::Key_VolumeDown, Key::volumeDown},
    {Qt::Key_VolumeMute, Key::mute},
    {Qt::Key_Help, Key::help},
    {Qt::Key_Home, Key::home},
    {Qt::Key_PageUp, Key::pageUp},
    {Qt::Key_Delete, Key::deleteForward},
    {Qt::Key_End, Key::end},
    {Qt::Key_PageDown, Key::pageDown},
    {Qt::Key_Left, Key::leftArrow},
    {Qt::Key_Right, Key::rightArrow},
    {Qt::Key_Down, Key::downArrow},
    {Qt::Key_Up, Key::upArrow},
    {Qt::Key_Enter, Key::keypadEnter},
    {Qt::Key_Insert, Key::insert},
    {Qt::Key_Print, Key::printScreen},
    {Qt::Key_SysReq, Key::printScreen},
    {Qt::Key_ScrollLock, Key::scrollLock},
    {Qt::Key_Pause, Key::pause},
    {Qt::Key_Menu, Key::menu},
};

// Keypad keys, with Num Lock on (digits) and off (the navigation keysyms).
constexpr QtKeyRow kQtKeypadKeys[] = {
    {Qt::Key_0, Key::keypad0},
    {Qt::Key_1, Key::keypad1},
    {Qt::Key_2, Key::keypad2},
    {Qt::Key_3, Key::keypad3},
    {Qt::Key_4, Key::keypad4},
    {Qt::Key_5, Key::keypad5},
    {Qt::Key_6, Key::keypad6},
    {Qt::Key_7, Key::keypad7},
    {Qt::Key_8, Key::keypad8},
    {Qt::Key_9, Key::keypad9},
    {Qt::Key_Period, Key::keypadDecimal},
    {Qt::Key_Comma, Key::keypadDecimal},
    {Qt::Key_Asterisk, Key::keypadMultiply},
    {Qt::Key_Plus, Key::keypadPlus},
    {Qt::Key_Minus, Key::keypadMinus},
    {Qt::Key_Slash, Key::keypadDivide},
    {Qt::Key_Equal, Key::keypadEquals},
    {Qt::Key_Enter, Key::keypadEnter},
    {Qt::Key_Insert, Key::keypad0},
    {Qt::Key_End, Key::keypad1},
    {Qt::Key_Down, Key::keypad2},
    {Qt::Key_PageDown, Key::keypad3},
    {Qt::Key_Left, Key::keypad4},
    {Qt::Key_Clear, Key::keypad5},
    {Qt::Key_Right, Key::keypad6},
    {Qt::Key_Home, Key::keypad7},
    {Qt::Key_Up, Key::keypad8},
    {Qt::Key_PageUp, Key::keypad9},
    {Qt::Key_Delete, Key::keypadDecimal},
};

std::optional<Key> lookUp(std::span<const QtKeyRow> rows, int qtKey)
{
    for (const QtKeyRow &row : rows) {
        if (row.qtKey == qtKey)
            return row.key;
    }
    return std::nullopt;
}

} // namespace

std::span<const KeyTableRow> keyTable()
{
    return kRows;
}

const KeyTableRow *keyTableRow(Key key)
{
    for (const KeyTableRow &row : kRows) {
        if (row.carbonKeyCode == key.rawValue)
            return &row;
    }
    return nullptr;
}

const KeyTableRow *keyTableRowForXkbName(const char *name)
{
    if (!name)
        return nullptr;
    for (const KeyTableRow &row : kRows) {
        if (row.xkbKeyName && std::strcmp(row.xkbKeyName, name) == 0)
            return &row;
    }
    return nullptr;
}

const KeyTableRow *keyTableRowForKeysym(quint32 keysym)
{
    if (keysym == 0)
        return nullptr;
    for (const KeyTableRow &row : kRows) {
        if (row.keysym == keysym)
            return &row;
    }
    return nullptr;
}

std::optional<Key> keyForQtKey(int qtKey, Qt::KeyboardModifiers modifiers)
{
    if (modifiers.testFlag(Qt::KeypadModifier)) {
        if (auto key = lookUp(kQtKeypadKeys, qtKey))
            return key;
    }
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) {
        const auto row = keyTableRowForKeysym(quint32(XKB_KEY_a + (qtKey - Qt::Key_A)));
        return Key(row->carbonKeyCode);
    }
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
        const auto row = keyTableRowForKeysym(quint32(XKB_KEY_0 + (qtKey - Qt::Key_0)));
        return Key(row->carbonKeyCode);
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F20) {
        const auto row = keyTableRowForKeysym(quint32(XKB_KEY_F1 + (qtKey - Qt::Key_F1)));
        return Key(row->carbonKeyCode);
    }
    return lookUp(kQtKeys, qtKey);
}

std::optional<Key> keyFromEvent(const QKeyEvent &event, const KeyboardLayout &layout)
{
    if (event.nativeScanCode() != 0) {
        if (auto key = layout.keyForScanCode(event.nativeScanCode()))
            return key;
    }
    return keyForQtKey(event.key(), event.modifiers());
}

std::optional<Key> keyFromEvent(const QKeyEvent &event)
{
    return keyFromEvent(event, currentKeyboardLayout());
}

} // namespace KeyboardShortcuts
