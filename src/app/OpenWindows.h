#pragma once

#include <QStringList>

// The windows open on the desktop, as far as the ignore-list chooser needs them.
class OpenWindows
{
public:
    virtual ~OpenWindows() = default;

    // The class part of WM_CLASS of each application window the window manager lists, each
    // class once, in the manager's order; empty when that cannot be read.
    virtual QStringList windowClasses() const = 0;
};
