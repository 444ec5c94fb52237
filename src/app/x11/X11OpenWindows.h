#pragma once

#include "app/OpenWindows.h"

// Reads _NET_CLIENT_LIST and each window's WM_CLASS over a short-lived connection of its own.
class X11OpenWindows final : public OpenWindows
{
public:
    QStringList windowClasses() const override;
};
