#!/usr/bin/env bash
# Starts Cliphaven on the user's desktop; without a display, on a virtual one.
set -euo pipefail
exe=$1
if [ -n "${DISPLAY:-}" ]; then
    exec "$exe"
fi
here=$(cd "$(dirname "$0")" && pwd)
echo "No display found: starting Cliphaven on a virtual desktop (Xvfb with openbox)."
exec "$here/with-virtual-desktop.sh" "$exe"
