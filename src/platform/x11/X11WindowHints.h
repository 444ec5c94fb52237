#pragma once

class QWindow;

// Window manager hints that Qt offers no API for. Each does nothing off X11.
namespace X11WindowHints {

// Keeps the window out of taskbars and pagers (_NET_WM_STATE_SKIP_TASKBAR and _SKIP_PAGER).
// On an unmapped window the hint goes into its state property, which Qt merges with its own
// states when it maps the window; the window manager drops the property when the window is
// withdrawn, so call it before every show. On a mapped window it asks the window manager.
void skipTaskbar(QWindow &window);

} // namespace X11WindowHints
