#!/usr/bin/env bash
# A clipboard owner that never answers must not freeze Cliphaven: the overlay opens promptly
# while it holds the clipboard, and typing in the search field still works. Qt's text fields
# used to re-read the clipboard synchronously on every change, for seconds per request.
# Run inside scripts/with-virtual-desktop.sh.
set -euo pipefail
app=$1
owner=$2
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
export QT_LOGGING_RULES="cliphaven.startup.debug=true" QT_MESSAGE_PATTERN="%{category}: %{message}"
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT

wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    echo "timed out waiting for: $1" >&2
    return 1
}
now_ms() { date +%s%3N; }

CLIPHAVEN_SEED=1 "$app" 2>"$work/app.log" &
app_pid=$!
pids+=($app_pid)
wait_for 'grep -q "overlay built" "$work/app.log"'

zenity --info --title "Front window" --text "front" >/dev/null 2>&1 &
pids+=($!)
front=$(xdotool search --sync --name "Front window" | head -n 1)
xdotool windowactivate --sync "$front"

# The silent owner takes the clipboard; give the change a moment to reach every listener.
"$owner" --silent -t UTF8_STRING -s "never served" >"$work/owner.out" &
pids+=($!)
wait_for 'grep -q ready "$work/owner.out"'
sleep 1

# A frozen interface takes 5 s or more per blocked request; a responsive one opens at once.
# The bound is generous for a busy machine and still far below one blocked request.
start=$(now_ms)
xdotool key shift+super+v
wait_for '[ "$(xdotool getactivewindow)" != "$front" ]'
opened=$(( $(now_ms) - start ))
echo "overlay opened in ${opened} ms with a silent clipboard owner"
[ "$opened" -lt 4000 ] || { echo "the overlay took ${opened} ms to open: frozen" >&2; exit 1; }

# Ctrl+V in the search field waits for the owner in the background; the interface does not.
overlay=$(xdotool getactivewindow)
xdotool key ctrl+v
start=$(now_ms)
xdotool key Escape
wait_for '[ "$(xdotool getactivewindow)" != "$overlay" ]'
closed=$(( $(now_ms) - start ))
echo "overlay closed in ${closed} ms after Ctrl+V with a silent owner"
[ "$closed" -lt 4000 ] || { echo "Ctrl+V froze the interface for ${closed} ms" >&2; exit 1; }
kill -0 "$app_pid"
echo "1 passed, 0 failed"
