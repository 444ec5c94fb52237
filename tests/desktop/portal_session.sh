#!/usr/bin/env bash
# The whole program on a Wayland-type session whose desktop portal is the stand-in: the global
# shortcut's Activated signal opens the overlay, a pick is typed through the portal's
# RemoteDesktop session after the user approved once, the restore token lands in the settings
# file, and the next run pastes with it without asking. Run inside
# scripts/with-virtual-desktop.sh (the X server stands in for Xwayland).
# Arguments: the cliphaven executable, the fake portal.
set -euo pipefail
app=$1
portal=$2
work=$(mktemp -d)
export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -m 700 "$XDG_RUNTIME_DIR"
store=$XDG_DATA_HOME/Cliphaven/store.json
settings=$XDG_CONFIG_HOME/Cliphaven/Cliphaven.conf
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT

overlay_active() { [ "$(xdotool getactivewindow getwindowname 2>/dev/null)" = Cliphaven ]; }
wait_for() {
    for _ in $(seq 1 300); do eval "$1" && return 0; sleep 0.1; done
    echo "timed out waiting for: $1" >&2
    return 1
}
first_history_text() {
    python3 -c "import json; h=json.load(open('$store'))['history']; print(h[0].get('text','') if h else '')" 2>/dev/null
}

# A session bus with nothing to activate, and the stand-in portal on it.
cat >"$work/bus.conf" <<CONF
<busconfig><type>session</type><listen>unix:dir=$work</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/><allow own="*"/></policy></busconfig>
CONF
exec 4< <(dbus-daemon --config-file="$work/bus.conf" --nofork --print-address=1 --print-pid=1 \
    2>/dev/null)
read -r -t 20 DBUS_SESSION_BUS_ADDRESS <&4
read -r -t 20 bus_pid <&4
pids+=("$bus_pid")
export DBUS_SESSION_BUS_ADDRESS
"$portal" &
pids+=($!)
control() {
    gdbus call --session --dest org.freedesktop.portal.Desktop --object-path /control \
        --method "org.cliphaven.FakePortal.$1" "${@:2}"
}
wait_for 'control Calls >/dev/null 2>&1'

# A Wayland session seen through Xwayland, as on GNOME: the X server stands in for Xwayland,
# and no compositor answers on the advertised socket.
export XDG_SESSION_TYPE=wayland QT_QPA_PLATFORM=xcb WAYLAND_DISPLAY=absent-compositor
"$app" >"$work/first.log" 2>&1 &
pids+=($!)
first=$!
wait_for 'control Calls | grep -q "BindShortcuts toggle-overlay SHIFT+LOGO+v"'

text="typed through the portal 7"
printf '%s' "$text" | xclip -selection clipboard
wait_for '[ "$(first_history_text)" = "$text" ]'

# The desktop's shortcut fires: the overlay opens and takes the keyboard.
control EmitActivated toggle-overlay >/dev/null
control EmitDeactivated toggle-overlay >/dev/null
wait_for overlay_active
sleep 0.5 # the zoom-in
xdotool type --delay 50 "portal 7"
sleep 0.5
xdotool key Return
wait_for 'control Keysyms | grep -q "\[.ffe3:1., .76:1., .76:0., .ffe3:0.\]"'
control Calls | grep -q "Start asked"
wait_for 'grep -q "^CliphavenRemoteDesktopRestoreToken=token-1" "$settings"'

# The next run restores the grant: were it to ask again, the user would now say no.
kill -TERM "$first"
wait "$first" || true
control SetStartAnswer cancel >/dev/null
"$app" >"$work/second.log" 2>&1 &
pids+=($!)
sleep 1
"$app" --toggle
wait_for overlay_active
sleep 0.5
xdotool type --delay 50 "portal 7"
sleep 0.5
xdotool key Return
wait_for '[ "$(control Keysyms | grep -o "ffe3:1" | wc -l)" = 2 ]'
control Calls | grep -q "Start restored"
! grep -q "CliphavenRemoteDesktopRefused=true" "$settings"
echo "1 passed, 0 failed"
