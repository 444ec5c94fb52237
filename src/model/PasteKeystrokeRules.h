#pragma once

#include "platform/KeyPoster.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Which keystroke pastes into a program, chosen by the program's identifiers (on X11 the class
// and the instance part of WM_CLASS, on Wayland the app_id): the user's choice for the program,
// else the built-in table of terminal emulators, else Ctrl+V. Identifiers match without regard
// to case. Terminals must never get Ctrl+V: it reaches the shell as the control byte 0x16.
namespace PasteKeystrokeRules {

// One choice of the user: the program as it was picked, and its keystroke.
struct Override
{
    QString identifier;
    PasteKeystroke keystroke = PasteKeystroke::controlV;

    friend bool operator==(const Override &, const Override &) = default;
};

// The table's keystroke for a well-known terminal; none for other programs.
std::optional<PasteKeystroke> builtIn(const QString &identifier);

// The first identifier the user has a choice for decides; else the first one the table knows.
PasteKeystroke keystrokeFor(const QStringList &identifiers, const QList<Override> &overrides);

// Whether the keystroke pastes the PRIMARY selection, which must then hold the text first.
constexpr bool pastesPrimary(PasteKeystroke keystroke)
{
    return keystroke == PasteKeystroke::shiftInsert;
}

// "Ctrl+V", "Ctrl+Shift+V", "Shift+Insert".
QString displayName(PasteKeystroke keystroke);

// The settings form, one entry per program: "ctrl+shift+v kitty". Unreadable entries are
// dropped; a later entry for the same program replaces an earlier one.
QStringList encode(const QList<Override> &overrides);
QList<Override> decode(const QStringList &entries);
QString keystrokeName(PasteKeystroke keystroke);
std::optional<PasteKeystroke> keystrokeFromName(const QString &name);

} // namespace PasteKeystrokeRules
