#!/usr/bin/env bash
# The whole loop on KDE Plasma's compositor, as a user there does it, with Cliphaven's desktop
# entry installed as the package installs it (KWin lends its fake input and window list through
# it): copy with wl-copy, run `cliphaven --toggle`, type a query, press Return, and the text
# arrives in the terminal that was in front (lxterminal, a VTE terminal, running cat into a file;
# foot 1.13 cannot run on KWin's virtual output), Unicode and line breaks intact. A copy made
# while an ignored application is in front is not recorded. When KWin ends, Cliphaven ends too,
# with its history saved.
# Run inside scripts/with-kwin.sh. Usage: kwin_loop.sh LAUNCHER PROGRAM KWIN_KEYS
set -euo pipefail
app=$1
program=$2
keys=$3
here=$(cd "$(dirname "$0")" && pwd)
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
    python3 -c "import json; [print(repr(i.get('text',''))) for i in json.load(open('$store'))['history']]" 2>/dev/null
}
focused_app() { "$keys" active; }

# The entries KWin reads: Cliphaven's own, its Exec= the program's full path as installed, and
# one for the test's keyboard.
sed "s|^Exec=cliphaven\$|Exec=$program|" "$here/../../src/app/data/cliphaven.desktop" \
    >"$CLIPHAVEN_KWIN_APPLICATIONS/cliphaven.desktop"
grep -qx "Exec=$program" "$CLIPHAVEN_KWIN_APPLICATIONS/cliphaven.desktop"
printf '[Desktop Entry]\nType=Application\nName=Keys\nNoDisplay=true\nExec=%s\nX-KDE-Wayland-Interfaces=org_kde_kwin_fake_input,org_kde_plasma_window_management\n' \
    "$keys" >"$CLIPHAVEN_KWIN_APPLICATIONS/kwin-keys.desktop"
# KWin rereads the entries when a program connects after they changed.
wait_for '"$keys" active >/dev/null 2>&1'

# The ignored application as the list stores it: its desktop entry's StartupWMClass, which its
# Wayland app_id (the entry's id) does not spell.
mkdir -p "$XDG_CONFIG_HOME/Cliphaven" "$XDG_DATA_HOME/applications"
printf '[General]\nCliphavenIgnoredApps=ExampleVault\n' >"$XDG_CONFIG_HOME/Cliphaven/Cliphaven.conf"
printf '[Desktop Entry]\nType=Application\nName=Vault\nExec=vault\nStartupWMClass=ExampleVault\n' \
    >"$XDG_DATA_HOME/applications/org.example.Vault.desktop"

"$app" 2>"$work/cliphaven.log" &
pids+=($!)
wait_for 'grep -q "session: Wayland" "$work/cliphaven.log"'
grep -q "windows through org_kde_plasma_window_management" "$work/cliphaven.log" ||
    { echo "Cliphaven was not lent KWin's window list:" >&2; cat "$work/cliphaven.log" >&2; exit 1; }

"$keys" window org.example.Vault &
pids+=($!)
wait_for '[ "$(focused_app)" = org.example.Vault ]'
printf 'copied in the vault' | wl-copy
sleep 1

# A terminal: the paster's rules send it Ctrl+Shift+V, the only keys that paste there.
GDK_BACKEND=wayland lxterminal --no-remote -e sh -c "cat >'$work/pasted'" &
pids+=($!)
wait_for '[ "$(focused_app)" = lxterminal ]'
text=$'Grüße aus KDE ✓ zebra\nsecond line'
printf '%s' "$text" | wl-copy
wait_for 'history_texts | grep -q zebra'
if history_texts | grep -q vault; then
    echo "a copy made while an ignored application was in front was recorded" >&2
    exit 1
fi

"$app" --toggle
wait_for '[ "$(focused_app)" = cliphaven ]'
sleep 0.5 # the zoom-in
"$keys" type zebra
sleep 0.5
"$keys" key Return
# The overlay hides, the terminal is brought back to the front, and the paste keystroke is
# typed into it.
wait_for '[ "$(focused_app)" = lxterminal ]'
wait_for '[ "$(wc -l <"$work/pasted" 2>/dev/null || echo 0)" -ge 1 ]'
# cat holds the last line until the line ends.
"$keys" key Return
wait_for '[ "$(wc -l <"$work/pasted")" -ge 2 ]'
pasted=$(cat "$work/pasted")
[ "$pasted" = "$text" ] || { echo "the terminal got [$pasted], not [$text]" >&2; exit 1; }
if grep -q "could not paste" "$work/cliphaven.log"; then
    echo "Cliphaven explained a paste problem although KWin typed for it" >&2
    exit 1
fi
echo "pasted into a terminal through KWin: ok"

# KWin goes away: Cliphaven ends with it, without a crash, and the history is on disk.
sleep 0.5 # the debounced save of the last change
kill "$CLIPHAVEN_KWIN_PID"
status=0
wait_for '! kill -0 "${pids[0]}" 2>/dev/null'
wait "${pids[0]}" || status=$?
[ "$status" -lt 128 ] || { echo "Cliphaven crashed (status $status) when KWin ended" >&2; exit 1; }
history_texts | grep -q zebra || { echo "the history was lost when KWin ended" >&2; exit 1; }
echo "KWin gone: Cliphaven ended with status $status, history kept"
