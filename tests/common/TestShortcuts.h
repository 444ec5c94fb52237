#pragma once

#include "KeyboardShortcuts/Registry.h"
#include "fakes/FakeHotKeyBackend.h"

#include <QSettings>
#include <QTemporaryDir>

// A shortcut registry on a private settings file, over a fake hot-key backend.
struct TestShortcuts
{
    QTemporaryDir dir;
    QSettings settings{dir.filePath(QStringLiteral("shortcuts.conf")), QSettings::IniFormat};
    FakeHotKeyBackend backend;
    KeyboardShortcuts::Registry registry{settings, backend};
};
