#!/usr/bin/env bash
# Runs a command inside a private headless GNOME compositor: mutter on a virtual monitor, on a
# session bus of its own (with no services to activate, so nothing of the machine's desktop
# answers), starting Xwayland. The command sees WAYLAND_DISPLAY, DISPLAY (the Xwayland server)
# and DBUS_SESSION_BUS_ADDRESS; XDG_RUNTIME_DIR is private to the run. Everything started here
# is stopped when the command ends, and its exit status is this script's.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 command [args...]" >&2; exit 2; }

work=$(mktemp -d)
bus_pid=
cleanup() {
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT INT TERM

export XDG_RUNTIME_DIR=$work/run
mkdir -m 700 "$XDG_RUNTIME_DIR"
cat >"$work/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=$work</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONF
exec 4< <(dbus-daemon --config-file="$work/bus.conf" --nofork --print-address=1 --print-pid=1 \
    2>/dev/null)
read -r -t 20 address <&4 || { echo "dbus-daemon did not start" >&2; exit 1; }
read -r -t 20 bus_pid <&4 || { echo "dbus-daemon did not start" >&2; exit 1; }
export DBUS_SESSION_BUS_ADDRESS=$address
unset DISPLAY WAYLAND_DISPLAY
export XDG_SESSION_TYPE=wayland XDG_CURRENT_DESKTOP=GNOME

# mutter ends when its child does; the child's status goes through a file, its output to this
# script's own (mutter's chatter goes to a log, shown when it fails).
echo 125 >"$work/status"
# (mutter closes inherited descriptors: the child opens this script's through /proc.)
mutter --wayland --headless --virtual-monitor "${CLIPHAVEN_SCREEN:-1280x800}" -- \
    bash -c '"$@" >/proc/'$$'/fd/1 2>/proc/'$$'/fd/2; echo $? >"'"$work"'/status"' child "$@" \
    >"$work/mutter.log" 2>&1 || true
status=$(cat "$work/status")
if [ "$status" = 125 ]; then
    echo "mutter did not run the command:" >&2
    tail -n 20 "$work/mutter.log" >&2
fi
exit "$status"
