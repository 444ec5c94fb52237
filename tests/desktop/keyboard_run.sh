#!/usr/bin/env bash
# The overlay from the keyboard alone, on a real X server, as a user without a mouse uses it:
# open it, move to a category and back through the sidebar, file a clip with the tile's menu,
# preview a clip, open Preferences and change a setting there, close it with Escape, then
# search and paste into the window that was in front. Run inside scripts/with-virtual-desktop.sh.
set -euo pipefail
app=$1
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
store=$XDG_DATA_HOME/Cliphaven/store.json
conf=$XDG_CONFIG_HOME/Cliphaven/Cliphaven.conf
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT

# Polls a condition for up to 30 s; the machine may be slow, the test never races it.
wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    echo "timed out waiting for: $1" >&2
    return 1
}
json() { python3 -c "import json; s=json.load(open('$store')); print($1)" 2>/dev/null; }
visible() { xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1; }
key() { xdotool key --delay 120 "$@"; sleep 0.3; }

CLIPHAVEN_SEED=1 "$app" &
pids+=($!)
wait_for '[ -s "$store" ]'

text="typed without a mouse 7"
printf '%s' "$text" | xclip -selection clipboard
wait_for '[ "$(json "s[\"history\"][0].get(\"text\",\"\")")" = "$text" ]'

zenity --entry --title "Paste target" --text "Paste here" >"$work/entered" 2>/dev/null &
zenity=$!
pids+=($zenity)
target=$(xdotool search --sync --name "Paste target" | head -n 1)
xdotool windowactivate --sync "$target"

# Open the overlay.
xdotool key shift+super+v
wait_for '[ "$(xdotool getactivewindow)" != "$target" ]'
wait_for 'visible Cliphaven'
sleep 0.6 # the zoom-in

# The sidebar by Tab: "+", then History, then the first category ("Snippets"), shown with
# Return; Right enters the grid on its first tile, whose menu the Menu key opens; the first
# entry is "Add to Category", whose
# submenu opens with Right: file the clip into the second category ("Links").
snippets_before=$(json 'len(s["categories"][0]["items"])')
links_before=$(json 'len(s["categories"][1]["items"])')
key Tab Tab Tab Return Right
key Menu
key Right Down Return
wait_for '[ "$(json "len(s[\"categories\"][1][\"items\"])")" = "$((links_before + 1))" ]'
[ "$(json 'len(s["categories"][0]["items"])')" = "$snippets_before" ]

# Back to History with Ctrl+1; Home, End and Space preview the last clip; Escape closes the
# preview and leaves the overlay up.
key ctrl+1
key End space
wait_for 'visible "Cliphaven Preview"'
key Escape
wait_for '! visible "Cliphaven Preview"'
visible Cliphaven

# Preferences with Ctrl+,: Tab to the sounds switch, Space turns sounds off; Escape closes.
key ctrl+comma
wait_for 'visible "Cliphaven Preferences"'
sleep 0.5
key Tab Tab Tab Tab space
wait_for 'grep -q "CliphavenPlaySounds=false" "$conf"'
key Escape
wait_for '! visible "Cliphaven Preferences"'

# Search and paste: the overlay again, a query, Return; the text arrives in the entry.
xdotool windowactivate --sync "$target"
xdotool key shift+super+v
wait_for '[ "$(xdotool getactivewindow)" != "$target" ]'
sleep 0.6
xdotool type --delay 60 "without a mouse"
sleep 0.4
xdotool key Return
wait_for '[ "$(xdotool getactivewindow)" = "$target" ]'
sleep 1.5
xdotool key Return
wait "$zenity" || true
entered=$(cat "$work/entered")
[ "$entered" = "$text" ] || { echo "the entry got [$entered], not [$text]" >&2; exit 1; }
echo "1 passed, 0 failed"
