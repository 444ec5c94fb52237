#!/usr/bin/env bash
# A guided first run for a machine without a desktop: Cliphaven on a virtual display with
# sample data, used as a person would use it, step by step, with screenshots saved in
# <build>/demo/. Your own history and settings are never touched: everything lives in a
# temporary home that is removed at the end. Run inside scripts/with-virtual-desktop.sh.
#   demo.sh <build>/cliphaven
set -euo pipefail
app=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
shots=$(dirname "$app")/demo
mkdir -p "$shots"
rm -f "$shots"/*.png

work=$(mktemp -d)
export HOME=$work/home
export XDG_DATA_HOME=$HOME/.local/share XDG_CONFIG_HOME=$HOME/.config
export XDG_CACHE_HOME=$HOME/.cache XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
# No sound server on a virtual display; none is started for the demo either.
export PULSE_SERVER=unix:$work/no-sound-server
store=$XDG_DATA_HOME/Cliphaven/store.json
log=$work/cliphaven.log

pids=()
step="starting"
finish() {
    status=$?
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    if [ "$status" != 0 ]; then
        echo >&2
        echo "The demo failed while $step." >&2
        if [ -s "$log" ]; then
            echo "Cliphaven's last messages:" >&2
            tail -n 20 "$log" >&2
        fi
    fi
    rm -rf "$work"
}
trap finish EXIT

say() { printf '\n%s\n' "$*"; }
doing() { step=$1; say "-> $1"; }
cliphaven=
# Polls a condition for up to 30 s, giving up at once if Cliphaven has ended.
wait_for() {
    for _ in $(seq 1 300); do
        eval "$1" && return 0
        if [ -n "$cliphaven" ] && ! kill -0 "$cliphaven" 2>/dev/null; then
            echo "Cliphaven has stopped running." >&2
            return 1
        fi
        sleep 0.1
    done
    echo "Gave up after 30 s waiting for: $1" >&2
    return 1
}
shoot() {
    import -window root "$shots/$1"
    echo "   saved $shots/$1"
}
first_clip() {
    python3 -c "import json; h=json.load(open('$store'))['history']; print(h[0]['kind'], h[0].get('text', ''))" 2>/dev/null
}
visible_window() { xdotool search --onlyvisible --name "$1" 2>/dev/null | head -n 1; }

say "No display found, so here is a guided demo of Cliphaven on a virtual one ($DISPLAY)."
say "It uses a temporary home folder; your own clipboard history and settings are not touched."

doing "starting a compositor (for the overlay's translucency) and a panel tray"
xcompmgr >/dev/null 2>&1 &
pids+=($!)
trayer --edge top --align right --widthtype request --height 28 --SetDockType true \
    --expand true --tint 0x2e3440 --transparent true --alpha 0 >/dev/null 2>&1 &
pids+=($!)

doing "starting Cliphaven with sample data (CLIPHAVEN_SEED=1)"
CLIPHAVEN_SEED=1 QT_LOGGING_RULES="cliphaven.startup.debug=true" \
    QT_MESSAGE_PATTERN="%{category}: %{message}" "$app" >"$log" 2>&1 &
cliphaven=$!
pids+=($cliphaven)
wait_for 'grep -q "cliphaven.startup: capturing" "$log"'
echo "   Cliphaven is watching the clipboard."
wait_for '[ -s "$store" ]'
echo "   Sample clips and five categories are in its history."

text="Meeting notes: the demo starts at 3 pm in room 42"
doing "copying a text with xclip"
printf '%s' "$text" | xclip -selection clipboard
wait_for '[ "$(first_clip)" = "text $text" ]'
echo "   Cliphaven recorded it: \"$text\""

doing "copying an image with xclip (a PNG drawn by ImageMagick)"
convert -size 480x300 "gradient:#3a7bd5-#00d2ff" -font DejaVu-Sans-Bold -pointsize 40 \
    -fill white -gravity center -annotate 0 'Invoice 2048\nTotal 1,250.00' -depth 8 \
    "$work/invoice.png"
xclip -selection clipboard -t image/png -i "$work/invoice.png"
wait_for '[ "$(first_clip)" = "image " ]'
echo "   Cliphaven recorded the image; it reads the text in it so that a search finds it."

doing "opening a text field to paste into (zenity --entry)"
zenity --entry --title "Paste target" --text "Cliphaven will paste here:" --width 420 \
    >"$work/entered" 2>/dev/null &
zenity=$!
pids+=($zenity)
target=$(xdotool search --sync --name "Paste target" | head -n 1)
xdotool windowactivate --sync "$target"

doing "pressing the shortcut Shift+Super+V to open the overlay"
xdotool key shift+super+v
wait_for '[ -n "$(visible_window "^Cliphaven$")" ]'
sleep 0.8 # the zoom-in
shoot overlay.png

doing "searching for \"invoice\": the image is found by the text in it"
xdotool type --delay 60 "invoice"
sleep 1
shoot overlay-search-image.png

doing "searching for \"meeting\" and pressing Return to paste the text"
for _ in 1 2 3 4 5 6 7; do xdotool key BackSpace; done
xdotool type --delay 60 "meeting"
sleep 1
shoot overlay-search.png
xdotool key Return
wait_for '[ "$(xdotool getactivewindow)" = "$target" ]'
sleep 1.5 # the paste follows the overlay's hiding
shoot pasted.png
xdotool key Return
wait "$zenity" || true
entered=$(cat "$work/entered")
if [ "$entered" != "$text" ]; then
    echo "   The text field received \"$entered\" instead of \"$text\"." >&2
    exit 1
fi
echo "   The text field received: \"$entered\""

doing "opening Preferences from the tray icon's menu"
tray_icon() {
    for w in $(xdotool search --onlyvisible --class '^Cliphaven$' 2>/dev/null); do
        eval "$(xdotool getwindowgeometry --shell "$w")"
        if [ "$WIDTH" -le 64 ] && [ "$HEIGHT" -le 64 ]; then
            echo "$((X + WIDTH / 2)) $((Y + HEIGHT / 2))"
            return 0
        fi
    done
    return 1
}
wait_for 'tray_icon >/dev/null'
read -r icon_x icon_y <<<"$(tray_icon)"
xdotool mousemove "$icon_x" "$icon_y"
sleep 0.3 # the pointer settles before the click
xdotool click 3
sleep 0.8
shoot tray-menu.png
xdotool key Down Down Return
wait_for '[ -n "$(visible_window "^Cliphaven Preferences$")" ]'
sleep 1
shoot preferences.png

doing "quitting Cliphaven"
kill -TERM "$cliphaven"
wait "$cliphaven" || true
cliphaven=
step="finishing"

say "Done. Screenshots of each step are in $shots:"
for shot in overlay overlay-search-image overlay-search pasted tray-menu preferences; do
    echo "   $shot.png"
done
say "On a machine with a desktop session, \`make run\` starts Cliphaven itself."
