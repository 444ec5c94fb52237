#pragma once

#include "app/OpenWindows.h"

// Reads _NET_CLIENT_LIST and each window's WM_CLASS over a short-lived connection of its own,
// leaving out this process's own windows.
class X11OpenWindows final : public OpenWindows
{
public:
    QStringList windowClasses() const override;
};
