#!/usr/bin/env bash
# Installs the Debian packages listed in packages.txt that are not installed yet.
# Idempotent: when everything is present it only asks dpkg and exits.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(sed -e 's/#.*//' -e 's/[[:space:]]//g' "$here/packages.txt" | grep -v '^$')

missing=()
for pkg in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$pkg" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$pkg")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
# Wait for another package run to finish rather than failing on its lock.
lock=(-o DPkg::Lock::Timeout=900)
"${sudo[@]}" apt-get "${lock[@]}" update -q
"${sudo[@]}" apt-get "${lock[@]}" install -y -q --no-install-recommends "${missing[@]}"
