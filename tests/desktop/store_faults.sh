#!/usr/bin/env bash
# The history file under faults, against the real program: a full disk never empties it and
# what could not be saved is written once space returns (or at quit); a file rewritten in place
# while it loads never crashes the program; a file with one broken entry loads the rest.
# Run inside scripts/with-virtual-desktop.sh. The full-disk part needs the right to mount a
# tmpfs (root, as in CI) and says so when it is skipped.
set -euo pipefail
app=$1
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
export QT_LOGGING_RULES="cliphaven.startup.debug=true" QT_MESSAGE_PATTERN="%{category}: %{message}"
mkdir -p "$XDG_RUNTIME_DIR" "$XDG_DATA_HOME" && chmod 700 "$XDG_RUNTIME_DIR"
store=$XDG_DATA_HOME/Cliphaven/store.json
pids=()
mounted=
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
    [ -z "$mounted" ] || umount "$XDG_DATA_HOME" || true
    rm -rf "$work"
}
trap cleanup EXIT

wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    echo "timed out waiting for: $1" >&2
    return 1
}
history_texts() {
    python3 -c "import json; print('|'.join(i.get('text','') for i in json.load(open('$store'))['history']))" 2>/dev/null
}
copy() { printf '%s' "$1" | xclip -selection clipboard; }
start_app() { "$app" 2>"$1" & pids+=($!); }
stop_app() { kill -TERM "$1"; wait "$1"; }

# --- A full disk ---------------------------------------------------------------------------
if mount -t tmpfs -o size=4m tmpfs "$XDG_DATA_HOME" 2>/dev/null; then
    mounted=1
    start_app "$work/full.log"
    app_pid=$!
    wait_for 'grep -q "overlay built" "$work/full.log"'
    copy "saved before the disk filled"
    wait_for '[ "$(history_texts)" = "saved before the disk filled" ]'
    before=$(sha256sum <"$store")
    dd if=/dev/zero of="$XDG_DATA_HOME/filler" bs=64k 2>/dev/null || true
    copy "copied on a full disk"
    wait_for 'grep -q "could not write" "$work/full.log" || [ ! -s "$store" ]'
    [ "$(sha256sum <"$store")" = "$before" ] || { echo "a failed save changed store.json ($(stat -c %s "$store") bytes now)" >&2; exit 1; }
    grep -q "could not write.*the disk is full" "$work/full.log" || { echo "the failure does not say why" >&2; exit 1; }
    # Space returns: the retry writes what was kept in memory.
    rm "$XDG_DATA_HOME/filler"
    wait_for '[ "$(history_texts)" = "copied on a full disk|saved before the disk filled" ]'
    # Full again, and the program quits before any retry: quitting writes it.
    dd if=/dev/zero of="$XDG_DATA_HOME/filler" bs=64k 2>/dev/null || true
    copy "copied just before quitting"
    wait_for '[ "$(grep -c "could not write" "$work/full.log")" -ge 2 ]'
    rm "$XDG_DATA_HOME/filler"
    stop_app "$app_pid"
    [ "$(history_texts)" = "copied just before quitting|copied on a full disk|saved before the disk filled" ] \
        || { echo "quitting lost what could not be saved: $(history_texts)" >&2; exit 1; }
    [ "$(ls "$XDG_DATA_HOME/Cliphaven")" = "store.json" ] || { echo "left behind: $(ls "$XDG_DATA_HOME/Cliphaven")" >&2; exit 1; }
    umount "$XDG_DATA_HOME"
    mounted=
    echo "full disk: passed"
else
    echo "SKIPPED full disk: cannot mount a tmpfs here (needs root)"
fi

# --- Rewritten in place while loading ------------------------------------------------------
mkdir -p "$XDG_DATA_HOME/Cliphaven"
python3 - "$work" <<'PY'
import base64, json, os, sys, uuid
work = sys.argv[1]
def store(n, size, label):
    items = [{"id": str(uuid.uuid4()).upper(), "kind": "image", "createdAt": 700000000 + i,
              "imageData": base64.b64encode(os.urandom(size)).decode(), "ocrText": label}
             for i in range(n)]
    with open(os.path.join(work, label + ".json"), "w") as f:
        json.dump({"history": items, "categories": []}, f)
store(120, 450_000, "big")
store(60, 450_000, "other")
PY
for round in 1 2 3 4 5; do
    cp "$work/big.json" "$store"
    start_app "$work/load$round.log"
    app_pid=$!
    # cp writes into the same file (truncate, then write), as restoring a backup does.
    for _ in 1 2 3 4 5 6; do cp "$work/other.json" "$store"; cp "$work/big.json" "$store"; done
    wait_for 'grep -q "history loaded" "$work/load$round.log" || ! kill -0 "$app_pid"'
    kill -0 "$app_pid" || { wait "$app_pid" || echo "round $round: the program died while loading (status $?)" >&2; exit 1; }
    status=0
    stop_app "$app_pid" || status=$?
    [ "$status" -eq 0 ] || { echo "round $round: exit status $status" >&2; exit 1; }
    rm -f "$XDG_DATA_HOME"/Cliphaven/*
done
echo "rewritten while loading: passed"

# --- One broken entry among good ones ------------------------------------------------------
python3 - "$store" <<'PY'
import json, sys, uuid
items = [{"id": str(uuid.uuid4()).upper(), "kind": "text", "text": "good %d" % i,
          "createdAt": 700000000 - i} for i in range(200)]
del items[100]["createdAt"]
json.dump({"history": items, "categories": []}, open(sys.argv[1], "w"))
PY
original=$(sha256sum <"$store")
start_app "$work/salvage.log"
app_pid=$!
wait_for 'grep -q "history loaded" "$work/salvage.log"'
grep -q "history loaded: 199 entries" "$work/salvage.log" || { grep "history loaded" "$work/salvage.log" >&2; exit 1; }
kept=$(ls "$XDG_DATA_HOME"/Cliphaven/store.json.unreadable-*)
[ "$(sha256sum <"$kept")" = "$original" ] || { echo "the original was not kept aside whole" >&2; exit 1; }
wait_for '[ "$(history_texts | tr "|" "\n" | wc -l)" = 199 ]'
stop_app "$app_pid"
echo "one broken entry: passed"
echo "3 passed, 0 failed"
