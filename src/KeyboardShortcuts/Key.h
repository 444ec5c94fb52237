#pragma once

#include <QHashFunctions>
#include <QMetaType>
#include <QString>
#include <QtGlobal>

#include <optional>

namespace KeyboardShortcuts {

// A key by its Carbon virtual key code: the position of the key on an ANSI keyboard, not the
// character it types. Every integer is a valid key; the named ones are the keys the tables know.
struct Key
{
    qint64 rawValue = 0;

    constexpr Key() = default;
    constexpr explicit Key(qint64 value)
        : rawValue(value)
    {}

    friend constexpr bool operator==(Key a, Key b) { return a.rawValue == b.rawValue; }
    friend size_t qHash(Key key, size_t seed = 0) { return ::qHash(key.rawValue, seed); }

    static const Key a, s, d, f, h, g, z, x, c, v, b, q, w, e, r, y, t;
    static const Key one, two, three, four, six, five, equal, nine, seven, minus, eight, zero;
    static const Key rightBracket, o, u, leftBracket, i, p, return_, l, j, quote, k, semicolon;
    static const Key backslash, comma, slash, n, m, period, tab, space, backtick, delete_, escape;
    static const Key rightCommand, command, shift, capsLock, option, control, rightShift;
    static const Key rightOption, rightControl, function;
    static const Key f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17,
        f18, f19, f20;
    static const Key keypadDecimal, keypadMultiply, keypadPlus, keypadClear, keypadDivide,
        keypadEnter, keypadMinus, keypadEquals;
    static const Key keypad0, keypad1, keypad2, keypad3, keypad4, keypad5, keypad6, keypad7,
        keypad8, keypad9;
    static const Key volumeUp, volumeDown, mute;
    static const Key help, home, pageUp, deleteForward, end, pageDown;
    static const Key leftArrow, rightArrow, downArrow, upArrow;
    // Keys of PC keyboards that Apple's lack. Carbon has a code for Menu (the contextual-menu
    // key) only; the others take codes above the Carbon range, which no Apple key uses.
    static const Key insert, printScreen, scrollLock, pause, menu;
};

inline constexpr Key Key::a{0}, Key::s{1}, Key::d{2}, Key::f{3}, Key::h{4}, Key::g{5}, Key::z{6},
    Key::x{7}, Key::c{8}, Key::v{9}, Key::b{11}, Key::q{12}, Key::w{13}, Key::e{14}, Key::r{15},
    Key::y{16}, Key::t{17};
inline constexpr Key Key::one{18}, Key::two{19}, Key::three{20}, Key::four{21}, Key::six{22},
    Key::five{23}, Key::equal{24}, Key::nine{25}, Key::seven{26}, Key::minus{27}, Key::eight{28},
    Key::zero{29};
inline constexpr Key Key::rightBracket{30}, Key::o{31}, Key::u{32}, Key::leftBracket{33},
    Key::i{34}, Key::p{35}, Key::return_{36}, Key::l{37}, Key::j{38}, Key::quote{39}, Key::k{40},
    Key::semicolon{41};
inline constexpr Key Key::backslash{42}, Key::comma{43}, Key::slash{44}, Key::n{45}, Key::m{46},
    Key::period{47}, Key::tab{48}, Key::space{49}, Key::backtick{50}, Key::delete_{51},
    Key::escape{53};
inline constexpr Key Key::rightCommand{54}, Key::command{55}, Key::shift{56}, Key::capsLock{57},
    Key::option{58}, Key::control{59}, Key::rightShift{60};
inline constexpr Key Key::rightOption{61}, Key::rightControl{62}, Key::function{63};
inline constexpr Key Key::f1{122}, Key::f2{120}, Key::f3{99}, Key::f4{118}, Key::f5{96},
    Key::f6{97}, Key::f7{98}, Key::f8{100}, Key::f9{101}, Key::f10{109}, Key::f11{103},
    Key::f12{111}, Key::f13{105}, Key::f14{107}, Key::f15{113}, Key::f16{106}, Key::f17{64},
    Key::f18{79}, Key::f19{80}, Key::f20{90};
inline constexpr Key Key::keypadDecimal{65}, Key::keypadMultiply{67}, Key::keypadPlus{69},
    Key::keypadClear{71}, Key::keypadDivide{75}, Key::keypadEnter{76}, Key::keypadMinus{78},
    Key::keypadEquals{81};
inline constexpr Key Key::keypad0{82}, Key::keypad1{83}, Key::keypad2{84}, Key::keypad3{85},
    Key::keypad4{86}, Key::keypad5{87}, Key::keypad6{88}, Key::keypad7{89}, Key::keypad8{91},
    Key::keypad9{92};
inline constexpr Key Key::volumeUp{72}, Key::volumeDown{73}, Key::mute{74};
inline constexpr Key Key::help{114}, Key::home{115}, Key::pageUp{116}, Key::deleteForward{117},
    Key::end{119}, Key::pageDown{121};
inline constexpr Key Key::leftArrow{123}, Key::rightArrow{124}, Key::downArrow{125},
    Key::upArrow{126};
inline constexpr Key Key::insert{0x80}, Key::printScreen{0x81}, Key::scrollLock{0x82},
    Key::pause{0x83}, Key::menu{110};

// The name a PC key without a glyph of its own is shown by ("Insert", "Scroll Lock"); empty for
// every other key.
QString pcKeyName(Key key);

// The keys that are shown by a glyph of their own instead of the character they type.
enum class SpecialKey {
    return_,
    delete_,
    deleteForward,
    end,
    escape,
    help,
    home,
    space,
    tab,
    pageUp,
    pageDown,
    upArrow,
    rightArrow,
    downArrow,
    leftArrow,
    f1,
    f2,
    f3,
    f4,
    f5,
    f6,
    f7,
    f8,
    f9,
    f10,
    f11,
    f12,
    f13,
    f14,
    f15,
    f16,
    f17,
    f18,
    f19,
    f20,
    keypad0,
    keypad1,
    keypad2,
    keypad3,
    keypad4,
    keypad5,
    keypad6,
    keypad7,
    keypad8,
    keypad9,
    keypadClear,
    keypadDecimal,
    keypadDivide,
    keypadEnter,
    keypadEquals,
    keypadMinus,
    keypadMultiply,
    keypadPlus,
};

inline constexpr int kSpecialKeyCount = int(SpecialKey::keypadPlus) + 1;

// The special key at this position; none for character, modifier and media keys.
std::optional<SpecialKey> specialKey(Key key);
// The key a special key is reached from.
Key keyOf(SpecialKey special);
// The glyph shown for a special key.
QString presentableDescription(SpecialKey special);

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Key)
