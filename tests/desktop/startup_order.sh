#!/usr/bin/env bash
# Start-up as the program logs it (category cliphaven.startup): every step in its order,
# capturing before the overlay is built, the backfill last (sample data waits for the history). Then on an X server without XTest:
# the pasting alert at launch, once, and an unknown CLIPHAVEN_SEED value adds nothing.
# Run inside scripts/with-virtual-desktop.sh.
set -euo pipefail
app=$1
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
# The steps logged so far, without their timings.
steps() { sed -n 's/^cliphaven\.startup: \(.*\) + [0-9]* ms$/\1/p' "$1"; }
stop() { kill -TERM "$1"; wait "$1" || true; }

CLIPHAVEN_SEED=1 "$app" 2>"$work/first.log" &
pids+=($!)
wait_for 'steps "$work/first.log" | grep -q "recognition backfill"'
stop "${pids[-1]}"
expected="background utility
updater
history loaded: 0 entries
sample data
capturing
tray icon: on
global shortcut: Shift+Super+V
settings observed
reopen handled
paste check: keys can be posted
overlay built
recognition backfill"
if [ "$(steps "$work/first.log")" != "$expected" ]; then
    echo "start-up steps differ; expected:" >&2
    echo "$expected" >&2
    echo "logged:" >&2
    cat "$work/first.log" >&2
    exit 1
fi

# A server without XTest: keys cannot be posted, and the user is told at launch, once ever.
mkfifo "$work/display"
Xvfb -displayfd 3 -extension XTEST -nolisten tcp 3>"$work/display" >/dev/null 2>&1 &
pids+=($!)
read -r -t 20 number <"$work/display"
export DISPLAY=":$number" XDG_DATA_HOME=$work/data2
alert_shown() { xdotool search --onlyvisible --name '^Cliphaven$' >/dev/null 2>&1; }
for run in 1 2; do
    CLIPHAVEN_SEED=true "$app" 2>"$work/untrusted$run.log" &
    pids+=($!)
    wait_for 'steps "$work/untrusted$run.log" | grep -q "recognition backfill"'
    grep -q "paste check: keys cannot be posted" "$work/untrusted$run.log"
    if [ "$run" = 1 ]; then
        wait_for alert_shown
    elif alert_shown; then
        echo "the pasting alert came back on the second launch" >&2
        exit 1
    fi
    stop "${pids[-1]}"
done
if grep -q "sample data" "$work/untrusted1.log"; then
    echo "CLIPHAVEN_SEED=true added sample data" >&2
    exit 1
fi
echo "1 passed, 0 failed"
