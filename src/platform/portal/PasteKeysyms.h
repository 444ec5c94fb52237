#pragma once

#include "platform/KeyPoster.h"

#include <QList>

// The keysyms of a paste keystroke, modifiers first: pressed in this order, released in the
// reverse one.
inline QList<quint32> pasteKeysyms(PasteKeystroke keystroke)
{
    constexpr quint32 controlL = 0xffe3;
    constexpr quint32 shiftL = 0xffe1;
    constexpr quint32 lowerV = 0x0076;
    constexpr quint32 insert = 0xff63;
    switch (keystroke) {
    case PasteKeystroke::controlV:
        return {controlL, lowerV};
    case PasteKeystroke::controlShiftV:
        return {controlL, shiftL, lowerV};
    case PasteKeystroke::shiftInsert:
        return {shiftL, insert};
    }
    return {};
}
