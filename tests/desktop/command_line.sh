#!/usr/bin/env bash
# The `cliphaven` command line as scripts use it: against a running Cliphaven on a real X
# server (copies made with xclip, images compared byte for byte, JSON parsed), then against a
# stopped one (reads come from the saved history, writes refuse), with bad arguments that must
# fail clearly and leave the store as it was. Run inside scripts/with-virtual-desktop.sh.
set -euo pipefail
cli=$1
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
store=$XDG_DATA_HOME/Cliphaven/store.json
pids=()
# Waits for each program to end before removing its files: a quitting Cliphaven still writes.
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
    rm -rf "$work" || true
}
trap cleanup EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }
# Polls a condition for up to 30 s; the machine may be slow, the test never races it.
wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    fail "timed out waiting for: $1"
}
clipboard() { xclip -o -selection clipboard 2>/dev/null; }
lines() { "$cli" list | wc -l; }
# A command that must fail: non-zero status, a message on standard error, nothing on standard
# output.
refuses() {
    local status=0
    "$cli" "$@" >"$work/out" 2>"$work/err" </dev/null || status=$?
    [ "$status" -ne 0 ] || fail "cliphaven $* succeeded"
    [ -s "$work/err" ] || fail "cliphaven $* failed without saying why"
    [ ! -s "$work/out" ] || fail "cliphaven $* printed: $(cat "$work/out")"
}
# The store once its pending save is written (saves follow changes by 300 ms).
settled_store_sum() { sleep 1; sha1sum "$store" | cut -d' ' -f1; }

# Help and version need no display at all.
env -u DISPLAY -u WAYLAND_DISPLAY "$cli" --version | grep -q '^Cliphaven [0-9]' || fail "--version"
env -u DISPLAY -u WAYLAND_DISPLAY "$cli" --help | grep -q 'list \[--category NAME\]' || fail "--help"
"$cli" get --help | grep -q "^Usage: cliphaven" || fail "a command's --help"

"$cli" &
pids+=($!)
wait_for 'ls "$XDG_RUNTIME_DIR"/cliphaven-*.socket >/dev/null 2>&1'

text="copied with xclip"
printf '%s' "$text" | xclip -selection clipboard
wait_for '[ "$("$cli" get 0 2>/dev/null)" = "$text" ]'

convert -size 64x48 xc:orange -fill blue -draw 'point 3,2' "$work/in.png"
xclip -selection clipboard -t image/png -i "$work/in.png"
wait_for '"$cli" list --limit 1 | grep -q "^0	image	Image 64×48"'
"$cli" get 0 >"$work/out.png"
cmp -s "$work/in.png" "$work/out.png" || fail "get 0 is not the copied PNG"
"$cli" get 0 --type image/png | cmp -s "$work/in.png" - || fail "get --type image/png differs"

"$cli" list --json | python3 -c '
import json, sys
clips = json.load(sys.stdin)
assert [c["kind"] for c in clips] == ["image", "text"], clips
assert clips[0]["width"] == 64 and "image/png" in clips[0]["flavors"], clips[0]
assert clips[1]["text"] == sys.argv[1] and len(clips[1]["id"]) == 36, clips[1]
' "$text" || fail "list --json"

# add: on the clipboard and recorded like any copy.
printf 'added from a pipe' | "$cli" add
wait_for '[ "$(clipboard)" = "added from a pipe" ]'
wait_for '[ "$("$cli" get 0)" = "added from a pipe" ]'
"$cli" add --type image/png <"$work/in.png"
wait_for '[ "$(lines)" -eq 3 ]'

# copy: the clip back on the clipboard, not recorded a second time.
"$cli" copy 2
wait_for '[ "$(clipboard)" = "$text" ]'
sleep 1
[ "$(lines)" -eq 3 ] || fail "copy recorded the clip again"
"$cli" search 'XCLIP' | grep -q "^2	text	$text$" || fail "search"

# pause and resume.
"$cli" pause
printf 'copied while paused' | xclip -selection clipboard
sleep 1.5
[ "$(lines)" -eq 3 ] || fail "a copy was recorded while paused"
"$cli" resume
printf 'copied after resuming' | xclip -selection clipboard
wait_for '[ "$("$cli" get 0)" = "copied after resuming" ]'

# paste: into the program in front, a real zenity entry.
zenity --entry --title "Paste target" --text "Paste here" >"$work/entered" 2>/dev/null &
zenity=$!
pids+=($zenity)
target=$(xdotool search --sync --name "Paste target" | head -n 1)
xdotool windowactivate --sync "$target"
"$cli" paste 3
sleep 1.5
xdotool key Return
wait "$zenity" || true
[ "$(cat "$work/entered")" = "$text" ] || fail "paste put [$(cat "$work/entered")] into the entry"

"$cli" delete 0
wait_for '[ "$(lines)" -eq 3 ]'
"$cli" categories >"$work/categories"
[ ! -s "$work/categories" ] || fail "categories listed some with none made"

# Bad arguments: a clear error, the store unchanged.
before=$(settled_store_sum)
refuses get 99
refuses delete not-an-index
refuses copy 6F1D3C55-0000-4000-8000-000000000000
refuses list --category Nowhere
refuses list --limit many
refuses frobnicate
refuses get 0 --type image/jpeg
[ "$(settled_store_sum)" = "$before" ] || fail "a failing command changed the store"
listed=$("$cli" list)

# Stopped: reads come from the file, writes refuse, the file is left as it was.
kill -TERM "${pids[0]}"
wait "${pids[0]}" || true
[ "$("$cli" list)" = "$listed" ] || fail "list from the saved history differs"
"$cli" get 0 >"$work/got" || true
cmp -s "$work/in.png" "$work/got" \
    || fail "get from the saved history differs: $(wc -c <"$work/got") bytes, first $(head -c 24 "$work/got" | od -An -c | tr -s ' '); history: $("$cli" list | head -n 4 | tr '\n' '|')"
refuses copy 0
grep -q 'not running' "$work/err" || fail "copy did not say Cliphaven is not running"
refuses clear
refuses add </dev/null
[ "$(sha1sum "$store" | cut -d' ' -f1)" = "$before" ] || fail "the stopped store changed"

# Clear empties the history of a running Cliphaven.
"$cli" &
pids+=($!)
wait_for 'ls "$XDG_RUNTIME_DIR"/cliphaven-*.socket >/dev/null 2>&1 && "$cli" pause'
"$cli" clear
[ "$(lines)" -eq 0 ] || fail "clear left clips"
echo "command line: all checks passed"
