#!/usr/bin/env bash
# Starts Cliphaven on the user's desktop. Without a display (a server, a fresh container) it
# runs the guided demo on a virtual one instead.
set -euo pipefail
exe=$1
if [ -n "${DISPLAY:-}" ]; then
    exec "$exe"
fi
here=$(cd "$(dirname "$0")" && pwd)
exec "$here/with-virtual-desktop.sh" "$here/demo.sh" "$exe"
