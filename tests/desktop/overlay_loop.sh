#!/usr/bin/env bash
# The whole loop on a real X server, as a user does it: copy in one program, press the global
# shortcut, type a query, press Return, and the text arrives in the window that was in front.
# Then the history survives a restart. Run inside scripts/with-virtual-desktop.sh.
set -euo pipefail
app=$1
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
store=$XDG_DATA_HOME/Cliphaven/store.json
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT

# Polls a condition for up to 30 s; the machine may be slow, the test never races it.
wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    echo "timed out waiting for: $1" >&2
    return 1
}
first_history_text() {
    python3 -c "import json,sys; h=json.load(open('$store'))['history']; print(h[0].get('text','') if h else '')" 2>/dev/null
}

CLIPHAVEN_SEED=1 "$app" &
pids+=($!)
wait_for '[ -s "$store" ]'

text="pasted through the overlay 42"
printf '%s' "$text" | xclip -selection clipboard
wait_for '[ "$(first_history_text)" = "$text" ]'

zenity --entry --title "Paste target" --text "Paste here" >"$work/entered" 2>/dev/null &
zenity=$!
pids+=($zenity)
target=$(xdotool search --sync --name "Paste target" | head -n 1)
xdotool windowactivate --sync "$target"

xdotool key shift+super+v
wait_for '[ "$(xdotool getactivewindow)" != "$target" ]'
sleep 0.5 # the zoom-in
xdotool type --delay 50 "overlay 42"
sleep 0.5
xdotool key Return
# The overlay hides, focus returns to the entry, and Ctrl+V is posted into it.
wait_for '[ "$(xdotool getactivewindow)" = "$target" ]'
sleep 1.5
xdotool key Return
wait "$zenity" || true
entered=$(cat "$work/entered")
[ "$entered" = "$text" ] || { echo "the entry got [$entered], not [$text]" >&2; exit 1; }

# Quit and start again: the history is still there, the pasted text first.
kill -TERM "${pids[0]}"
wait "${pids[0]}" || true
count=$(python3 -c "import json; print(len(json.load(open('$store'))['history']))")
"$app" &
pids+=($!)
sleep 2
[ "$(first_history_text)" = "$text" ] || { echo "history lost across a restart" >&2; exit 1; }
[ "$(python3 -c "import json; print(len(json.load(open('$store'))['history']))")" = "$count" ]
echo "1 passed, 0 failed"
