#pragma once

#include "app/AppPrefs.h"

#include <QSettings>
#include <QTemporaryDir>

// Preferences on a private settings file.
struct TestPrefs
{
    QTemporaryDir dir;
    AppPrefs prefs{std::make_unique<QSettings>(dir.filePath(QStringLiteral("prefs.conf")),
                                               QSettings::IniFormat)};
};
