#!/usr/bin/env bash
# Runs a command inside a private virtual desktop: Xvfb on a display it picks itself (so
# parallel runs never collide), with openbox as the window manager. Everything started here
# is stopped when the command ends. CLIPHAVEN_SCREEN sets the screen size (WxHxDepth).
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 command [args...]" >&2; exit 2; }

pids=()
fifo_dir=$(mktemp -d)
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$fifo_dir"
}
trap cleanup EXIT INT TERM

mkfifo "$fifo_dir/display"
Xvfb -displayfd 3 -screen 0 "${CLIPHAVEN_SCREEN:-1920x1080x24}" -nolisten tcp \
    3>"$fifo_dir/display" >/dev/null 2>&1 &
pids+=($!)
read -r -t 20 number <"$fifo_dir/display" || { echo "Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$number"
openbox >/dev/null 2>&1 &
pids+=($!)
"$@"
