#pragma once

#include "Shortcut.h"

#include <QHashFunctions>
#include <QMetaType>
#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// A named shortcut of the application. Names are equal when their raw values are.
struct Name
{
    QString rawValue;
    // What the name stores until the user sets or clears it, and what reset stores again.
    std::optional<Shortcut> defaultShortcut;

    Name() = default;
    explicit Name(QString raw, std::optional<Shortcut> initial = std::nullopt)
        : rawValue(std::move(raw))
        , defaultShortcut(initial)
    {}

    friend bool operator==(const Name &a, const Name &b) { return a.rawValue == b.rawValue; }
    friend size_t qHash(const Name &name, size_t seed = 0) { return qHash(name.rawValue, seed); }
};

enum class EventType { keyDown, keyUp };

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Name)
