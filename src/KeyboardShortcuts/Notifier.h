#pragma once

#include "Name.h"

#include <QObject>
#include <QString>

namespace KeyboardShortcuts {

// The name under which a stored change is announced.
inline const QString kShortcutByNameDidChange = QStringLiteral(
    "KeyboardShortcuts_shortcutByNameDidChange");

// Announces every stored change of a named shortcut, wherever it was made (the registry, the
// preferences' recorder), so that registrations and displays follow it. Process-wide, main
// thread only.
class Notifier : public QObject
{
    Q_OBJECT

public:
    static Notifier &shared();

signals:
    void shortcutByNameDidChange(const KeyboardShortcuts::Name &name);
};

} // namespace KeyboardShortcuts
