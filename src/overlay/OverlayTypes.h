#pragma once

#include "OverlayState.h"

#include <QtQml/qqml.h>

// The core library's state object, known to QML by name so views can declare it as a type.
struct OverlayStateForeign
{
    Q_GADGET
    QML_FOREIGN(OverlayState)
    QML_NAMED_ELEMENT(OverlayState)
    QML_UNCREATABLE("The application owns the one overlay state.")
};
