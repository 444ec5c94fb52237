#!/usr/bin/env bash
# The whole loop on a Wayland compositor, as a user there does it: copy with wl-copy, run
# `cliphaven --toggle` (bound by hand, as the desktop offers no key grabs), type a query, press
# Return, and the text arrives in the terminal that was in front (foot running cat into a file),
# Unicode and line breaks intact. A copy made while an ignored application is in front is not
# recorded. When the compositor ends, Cliphaven ends too, with its history saved.
# Run inside scripts/with-headless-sway.sh.
set -euo pipefail
app=$1
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config
unset QT_QPA_PLATFORM
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
    python3 -c "import json; [print(repr(i.get('text',''))) for i in json.load(open('$store'))['history']]" 2>/dev/null
}
focused_app() {
    swaymsg -t get_tree | python3 -c "
import json, sys
def walk(n):
    if n.get('focused'): print(n.get('app_id') or ''); return True
    return any(walk(c) for c in n.get('nodes', []) + n.get('floating_nodes', []))
walk(json.load(sys.stdin))"
}

# The ignored application as the list stores it: its desktop entry's StartupWMClass, which its
# Wayland app_id (the entry's id) does not spell.
mkdir -p "$XDG_CONFIG_HOME/Cliphaven" "$XDG_DATA_HOME/applications"
printf '[General]\nCliphavenIgnoredApps=ExampleVault\n' >"$XDG_CONFIG_HOME/Cliphaven/Cliphaven.conf"
printf '[Desktop Entry]\nType=Application\nName=Vault\nExec=vault\nStartupWMClass=ExampleVault\n' \
    >"$XDG_DATA_HOME/applications/org.example.Vault.desktop"
# foot pastes the clipboard on Ctrl+Shift+V; Ctrl+V too here, whichever the paster sends.
printf '[key-bindings]\nclipboard-paste=Control+v Control+Shift+v\n' >"$work/foot.ini"

"$app" 2>"$work/cliphaven.log" &
pids+=($!)
wait_for 'grep -q "session: Wayland" "$work/cliphaven.log" || [ -s "$store" ]'

foot --config "$work/foot.ini" --app-id org.example.Vault sh -c 'cat >/dev/null' &
pids+=($!)
wait_for '[ "$(focused_app)" = org.example.Vault ]'
printf 'copied in the vault' | wl-copy
sleep 1

foot --config "$work/foot.ini" --app-id target sh -c "cat >'$work/pasted'" &
pids+=($!)
wait_for '[ "$(focused_app)" = target ]'
text=$'Grüße aus Wayland ✓ zebra\nsecond line'
printf '%s' "$text" | wl-copy
wait_for 'history_texts | grep -q zebra'
if history_texts | grep -q vault; then
    echo "a copy made while an ignored application was in front was recorded" >&2
    exit 1
fi

"$app" --toggle
wait_for '[ "$(focused_app)" = cliphaven ]'
sleep 0.5 # the zoom-in
wtype zebra
sleep 0.5
wtype -k Return
# The overlay hides, focus returns to the terminal, and the paste keystroke is typed into it.
wait_for '[ "$(focused_app)" = target ]'
wait_for '[ "$(wc -l <"$work/pasted" 2>/dev/null || echo 0)" -ge 1 ]'
# cat holds the last line until the line ends.
wtype -k Return
wait_for '[ "$(wc -l <"$work/pasted")" -ge 2 ]'
pasted=$(cat "$work/pasted")
[ "$pasted" = "$text" ] || { echo "the terminal got [$pasted], not [$text]" >&2; exit 1; }
# The pick is on the Wayland clipboard under its own type and the generic text ones.
for type in 'text/plain;charset=utf-8' text/plain UTF8_STRING; do
    [ "$(wl-paste --no-newline --type "$type")" = "$text" ] ||
        { echo "the clipboard's $type is not the picked clip" >&2; exit 1; }
done
if grep -q "Error registering hotkey" "$work/cliphaven.log"; then
    echo "a hot-key error was printed on a session without key grabs" >&2
    exit 1
fi
echo "pasted into foot: ok"

# Another window taking the focus hides the overlay, as on X11.
"$app" --toggle
wait_for '[ "$(focused_app)" = cliphaven ]'
swaymsg '[app_id=target] focus' >/dev/null
wait_for '! swaymsg -t get_tree | grep -q "\"app_id\": \"cliphaven\""'
echo "overlay hidden on focus loss: ok"

# The compositor goes away: Cliphaven ends with it, without a crash, and the history is on disk.
sleep 0.5 # the debounced save of the last change
swaymsg exit >/dev/null 2>&1 || true
status=0
wait_for '! kill -0 "${pids[0]}" 2>/dev/null'
wait "${pids[0]}" || status=$?
[ "$status" -lt 128 ] || { echo "Cliphaven crashed (status $status) when the compositor ended" >&2; exit 1; }
history_texts | grep -q zebra || { echo "the history was lost when the compositor ended" >&2; exit 1; }
echo "compositor gone: Cliphaven ended with status $status, history kept"
