#!/usr/bin/env bash
# Runs a command inside a private headless KDE Plasma compositor: KWin with its virtual backend
# (software rendering), on a socket of its own, with its own home, so that parallel runs never
# collide and nothing of the user's KDE settings is read. KWin lends its fake input and window
# management only to programs whose desktop entry names them (X-KDE-Wayland-Interfaces, Exec= the
# program's full path); it reads entries from the folder the command finds in
# CLIPHAVEN_KWIN_APPLICATIONS, including ones written after it started; CLIPHAVEN_KWIN_PID lets
# it end KWin early. Everything started here is stopped when the command ends.
# CLIPHAVEN_SCREEN sets the output's size (WxH),
# CLIPHAVEN_KWIN_OUTPUTS how many such outputs stand side by side (1 otherwise),
# CLIPHAVEN_KWIN_KEYBOARD_LAYOUT the keyboard layout as LAYOUT or LAYOUT(VARIANT) (US otherwise).
# CLIPHAVEN_KWIN_SESSION_BUS=1 gives KWin and the command a private session bus, on which KWin
# serves org.kde.KWin.ScreenShot2 to programs whose entry lists it under
# X-KDE-DBUS-Restricted-Interfaces (`kwin_keys screenshot FILE` of the tests uses it).
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 command [args...]" >&2; exit 2; }

kwin_pid=
command_pid=
bus_pid=
dir=$(mktemp -d)
cleanup() {
    [ -n "$command_pid" ] && kill "$command_pid" 2>/dev/null || true
    [ -n "$kwin_pid" ] && kill "$kwin_pid" 2>/dev/null || true
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT INT TERM

runtime="$dir/kwin"
mkdir -m 700 "$runtime" "$dir/client"
mkdir -p "$dir/home" "$dir/share/applications"
# Debian's kwin_wayland carries a file capability (CAP_SYS_RESOURCE) that a container's
# bounding set may refuse, and then it cannot be run at all ("Operation not permitted"). A copy
# has no capability and runs anywhere; KWin only uses it to raise a resource limit.
kwin=$(command -v kwin_wayland)
if ! "$kwin" --version >/dev/null 2>&1; then
    cp "$kwin" "$dir/kwin_wayland"
    kwin="$dir/kwin_wayland"
fi
size=${CLIPHAVEN_SCREEN:-1280x800}
layout=${CLIPHAVEN_KWIN_KEYBOARD_LAYOUT:-}
if [ -n "$layout" ]; then
    mkdir -p "$dir/home/.config"
    variant=
    [[ "$layout" == *"("*")" ]] && { variant=${layout#*(}; variant=${variant%)}; layout=${layout%%(*}; }
    printf '[Layout]\nUse=true\nLayoutList=%s\nVariantList=%s\n' "$layout" "$variant" \
        >"$dir/home/.config/kxkbrc"
fi

bus=()
if [ "${CLIPHAVEN_KWIN_SESSION_BUS:-}" = 1 ]; then
    exec 4< <(dbus-daemon --session --address="unix:dir=$dir" --nofork --print-address=1 \
        --print-pid=1 2>/dev/null)
    read -r -t 20 address <&4 || { echo "dbus-daemon did not start" >&2; exit 1; }
    read -r -t 20 bus_pid <&4 || { echo "dbus-daemon did not start" >&2; exit 1; }
    bus=(DBUS_SESSION_BUS_ADDRESS="$address")
fi

env -i PATH="$PATH" HOME="$dir/home" XDG_RUNTIME_DIR="$runtime" "${bus[@]}" \
    XDG_DATA_DIRS="$dir/share:/usr/local/share:/usr/share" XDG_CONFIG_HOME="$dir/home/.config" \
    "$kwin" --virtual --no-lockscreen --no-global-shortcuts --no-kactivities \
    --output-count "${CLIPHAVEN_KWIN_OUTPUTS:-1}" --socket cliphaven-kwin \
    --width "${size%x*}" --height "${size#*x}" >"$dir/kwin.log" 2>&1 &
kwin_pid=$!

for _ in $(seq 300); do
    [ -S "$runtime/cliphaven-kwin" ] && break
    kill -0 "$kwin_pid" 2>/dev/null || break
    sleep 0.1
done
if [ ! -S "$runtime/cliphaven-kwin" ]; then
    echo "KWin did not start:" >&2
    cat "$dir/kwin.log" >&2
    exit 1
fi
export WAYLAND_DISPLAY="$runtime/cliphaven-kwin"
export XDG_RUNTIME_DIR="$dir/client"
export XDG_SESSION_TYPE=wayland XDG_CURRENT_DESKTOP=KDE
export CLIPHAVEN_KWIN_APPLICATIONS="$dir/share/applications"
export CLIPHAVEN_KWIN_LOG="$dir/kwin.log" CLIPHAVEN_KWIN_PID="$kwin_pid"
unset DISPLAY QT_QPA_PLATFORM DBUS_SESSION_BUS_ADDRESS
[ ${#bus[@]} -eq 0 ] || export "${bus[@]}"
# In the background, so that a signal to this script ends the session at once.
"$@" &
command_pid=$!
status=0
wait "$command_pid" || status=$?
command_pid=
exit "$status"
