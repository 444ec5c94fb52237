#pragma once

#include "capture/ClipboardMonitor.h"
#include "fakes/TestSounds.h"
#include "paste/Paster.h"

#include <QSignalSpy>

// A monitor and a paster on the given clipboard, workspace and key poster (the clipboard made
// with the constructor's arguments), with preferences on a private file, sounds that count
// their plays, and a record of the delivered items and shown alerts.
template<class Clipboard, class Desktop, class Keys>
struct CaptureRig
{
    template<class... Arguments>
    explicit CaptureRig(Arguments &&...arguments)
        : pasteboard(std::forward<Arguments>(arguments)...)
    {
        paster.setAlertPresenter([this] { ++alerts; });
    }

    TestPrefs testPrefs;
    AppPrefs &prefs = testPrefs.prefs;
    Clipboard pasteboard;
    Desktop workspace;
    Keys keys;
    int copyPlays = 0;
    int pastePlays = 0;
    int alerts = 0;
    Sounds sounds{prefs, countingVoices(&copyPlays, &pastePlays)};
    ClipboardMonitor monitor{pasteboard, workspace, prefs, sounds};
    Paster paster{pasteboard, workspace, keys, sounds, prefs};
    QSignalSpy delivered{&monitor, &ClipboardMonitor::onNew};
};
