#!/usr/bin/env bash
# Runs a command inside a private headless Wayland session: sway with the headless backend and
# the pixman renderer, on a socket of its own (so parallel runs never collide). sway refuses to
# run as root, so as root it runs as the unprivileged user "cliphaven-test" (created when
# missing) and the command reaches it through an absolute WAYLAND_DISPLAY path. Everything
# started here is stopped when the command ends. CLIPHAVEN_SCREEN sets the output's size (WxH).
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 command [args...]" >&2; exit 2; }

session_user=cliphaven-test
sway_pid=
keyboard_pid=
command_pid=
dir=$(mktemp -d)
cleanup() {
    [ -n "$command_pid" ] && kill "$command_pid" 2>/dev/null || true
    [ -n "$keyboard_pid" ] && kill "$keyboard_pid" 2>/dev/null || true
    [ -n "$sway_pid" ] && kill "$sway_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT INT TERM

# sway's runtime folder; the command gets a private one of its own.
runtime="$dir/sway"
mkdir -m 700 "$runtime" "$dir/client"
cat >"$dir/config" <<CONFIG
output * resolution ${CLIPHAVEN_SCREEN:-1280x800} position 0 0 bg #3b4252 solid_color
xwayland disable
default_border pixel 1
CONFIG

run_as=()
if [ "$(id -u)" -eq 0 ]; then
    if ! id "$session_user" >/dev/null 2>&1; then
        useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin \
            "$session_user" 2>/dev/null || id "$session_user" >/dev/null
    fi
    chown "$session_user" "$runtime"
    chmod 755 "$dir"
    chmod 644 "$dir/config"
    run_as=(setpriv --reuid="$session_user" --regid="$session_user" --init-groups --)
fi

env -i PATH="$PATH" HOME="$runtime" XDG_RUNTIME_DIR="$runtime" \
    WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
    "${run_as[@]}" sway --config "$dir/config" >"$dir/sway.log" 2>&1 &
sway_pid=$!

socket=
for _ in $(seq 200); do
    socket=$(find "$runtime" -maxdepth 1 -name 'wayland-*' -type s -print -quit 2>/dev/null || true)
    [ -n "$socket" ] && break
    kill -0 "$sway_pid" 2>/dev/null || break
    sleep 0.1
done
if [ -z "$socket" ]; then
    echo "sway did not start:" >&2
    cat "$dir/sway.log" >&2
    exit 1
fi
# The socket is there before sway answers on it.
export WAYLAND_DISPLAY="$socket"
export XDG_RUNTIME_DIR="$dir/client"
export XDG_SESSION_TYPE=wayland
for _ in $(seq 100); do
    swaysock=$(find "$runtime" -maxdepth 1 -name 'sway-ipc.*.sock' -type s -print -quit || true)
    [ -n "$swaysock" ] && SWAYSOCK="$swaysock" swaymsg -t get_version >/dev/null 2>&1 && break
    sleep 0.1
done
export SWAYSOCK="$swaysock"
unset DISPLAY
# A keyboard on the seat for the whole session, as a desktop has: a virtual one that types
# nothing. Without it the seat gains and loses its keyboard with each program that types.
wtype -s 86400000 &
keyboard_pid=$!
# In the background, so that a signal to this script ends the session at once.
"$@" &
command_pid=$!
status=0
wait "$command_pid" || status=$?
command_pid=
exit "$status"
