#!/usr/bin/env bash
# Cliphaven beside CopyQ on one private X server (see side_by_side.py for the figures).
#   bench/side-by-side.sh [BUILD] [side_by_side.py options]
# Installs the peer from Debian first; `make test` never needs it.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build}
shift || true
# copyq-plugins holds the image support: without it CopyQ records no image at all.
if ! command -v copyq >/dev/null || ! dpkg -s copyq-plugins >/dev/null 2>&1; then
    sudo=
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    # Waits for another package run's lock instead of failing.
    $sudo apt-get -o DPkg::Lock::Timeout=600 install -y --no-install-recommends copyq copyq-plugins
fi
exec python3 "$here/side_by_side.py" --cliphaven "$build/cliphaven" "$@"
