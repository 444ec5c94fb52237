#!/usr/bin/env bash
# A desktop that restores sessions must not start Cliphaven again: under a session manager, the
# running program asks never to be restarted (its autostart entry starts it at login instead).
# Usage: session_restore.sh CLIPHAVEN SESSION_MANAGER_PROGRAM (inside with-virtual-desktop.sh)
set -euo pipefail
app=$1 manager=$2
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT

"$manager" >"$work/manager.out" &
pids+=($!)
for _ in $(seq 1 200); do [ -s "$work/manager.out" ] && break; sleep 0.1; done
SESSION_MANAGER=$(head -1 "$work/manager.out")
[ -n "$SESSION_MANAGER" ] || { echo "the session manager did not start" >&2; exit 1; }
export SESSION_MANAGER

"$app" >"$work/app.log" 2>&1 &
pids+=($!)
for _ in $(seq 1 300); do grep -q '^restart-style' "$work/manager.out" && break; sleep 0.1; done
style=$(sed -n 's/^restart-style //p' "$work/manager.out")
[ "$style" = 3 ] || { echo "restart style '$style', not 3 (never)" >&2; cat "$work/app.log" >&2; exit 1; }
echo "Cliphaven asks the session manager never to restart it"
