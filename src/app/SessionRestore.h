#pragma once

class QGuiApplication;

// Cliphaven starts at login from its autostart entry (when the user wants it to), never from a
// restored session: a desktop that restores sessions would otherwise start a second copy beside
// it, or bring the overlay back up at login. The session manager is told not to restart it;
// the connection stays, so logging out still quits it cleanly.
void optOutOfSessionRestore(QGuiApplication &application);
