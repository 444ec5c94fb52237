#pragma once

// Turns SIGINT, SIGTERM and SIGHUP (Ctrl+C, logout, a service manager stopping us) into a normal
// quit of the event loop, so destructors run and a pending save reaches the disk.
void quitApplicationOnTerminationSignals();
