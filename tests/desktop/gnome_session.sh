#!/usr/bin/env bash
# Cliphaven on a GNOME Wayland session (headless mutter, run inside
# scripts/with-gnome-desktop.sh), as it runs there: its X11 backends through Xwayland, which
# mutter keeps in step with the Wayland clipboard, and pasting through mutter's remote-desktop
# service because no portal answers on this bus. A copy made by a Wayland client is recorded;
# a clip picked in the overlay is read back by a Wayland client; and a pick is pasted into a
# Wayland-native GTK entry, which XTest could not reach.
# Arguments: the cliphaven executable, the mutter_keys helper.
set -euo pipefail
app=$1
keys=$2
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config
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
history_texts() {
    python3 -c "import json; print('\n'.join(i.get('text','') for i in json.load(open('$store'))['history']))" 2>/dev/null
}
first_history_text() { history_texts | head -n 1; }

# The seat has no keyboard until a remote-desktop session adds one (Wayland clients such as
# wl-copy need it); a session held for the whole test stands for the user's keyboard.
"$keys" --key Shift_L --wait 170000 &
pids+=($!)
sleep 1

# What the launch-time session detection chooses on GNOME: the X11 build through Xwayland.
QT_QPA_PLATFORM=xcb "$app" >"$work/cliphaven.log" 2>&1 &
pids+=($!)
sleep 1

# 1. Copies made by a Wayland client are recorded through Xwayland.
older="older copy — ünïcode ✓"
newer="newer copy from wl-copy"
printf '%s' "$older" | wl-copy
wait_for '[ "$(first_history_text)" = "$older" ]'
printf '%s' "$newer" | wl-copy
wait_for '[ "$(first_history_text)" = "$newer" ]'

# 2. The older clip picked in the overlay (typed search, Return) is what a Wayland client reads.
"$app" --toggle
sleep 1.5 # the overlay maps, takes the focus and zooms in
"$keys" --type "older" --wait 500 --key Return
wait_for '[ "$(timeout 5 wl-paste --no-newline 2>/dev/null)" = "$older" ]'

# 3. Picked while a Wayland-native GTK entry was in front, the clip is pasted into it.
GDK_BACKEND=wayland zenity --entry --title "Paste target" --text "Paste here" \
    >"$work/entered" 2>/dev/null &
zenity=$!
pids+=($zenity)
sleep 2 # mapped and focused; nothing on this seat can say when
"$app" --toggle
sleep 1.5
"$keys" --type "newer" --wait 500 --key Return
# The overlay hides, the entry has the focus back, and the keystroke arrives through mutter.
sleep 2
"$keys" --key Return
wait_for '! kill -0 "$zenity" 2>/dev/null'
entered=$(cat "$work/entered")
[ "$entered" = "$newer" ] || {
    echo "the GTK entry got [$entered], not [$newer]" >&2
    cat "$work/cliphaven.log" >&2
    exit 1
}
echo "3 passed, 0 failed"
