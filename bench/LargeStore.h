#pragma once

#include "model/StoreCodec.h"

// The large store the benchmarks share: 200 history entries, every fifth a 1920x1080
// screenshot, the texts with an HTML flavor, and 5 categories of 20 saved copies. Drawing
// needs a QGuiApplication.
StoreCodec::Disk makeLargeStore();
