#pragma once

#include <QByteArray>

// Picks Qt Quick's renderer before the first window exists. Where OpenGL is only a software
// rasterizer, the software scene graph draws the overlay several times faster and with far
// less memory, so it is used there. QT_QUICK_BACKEND, when set, still decides.
namespace SceneGraphBackend {

enum class Choice { Environment, Software, Hardware };

// Call once the application object exists and before any Qt Quick window is made.
Choice choose();

// Whether an OpenGL renderer string names a software rasterizer.
bool isSoftwareRenderer(const QByteArray &renderer);

} // namespace SceneGraphBackend
