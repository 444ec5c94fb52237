#!/usr/bin/env bash
# The Debian package as a user gets it: built by CPack from this build tree, unpacked into a
# scratch root with dpkg -x, its layout and metadata checked with the tools distributions use,
# lintian without errors, and the unpacked program started on a virtual desktop. Everything
# the running program loads from Qt's plugins and QML modules must come from a package the
# .deb depends on, or one of those packages' own dependencies.
# Usage: package_install.sh CPACK BUILD_DIR VERSION (run inside scripts/with-virtual-desktop.sh)
set -euo pipefail
cpack=$1 build=$2 version=$3
work=$(mktemp -d)
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

"$cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$work/out" >"$work/cpack.log" 2>&1 \
    || { cat "$work/cpack.log" >&2; fail "cpack did not build the package"; }
deb=$work/out/cliphaven_${version}_amd64.deb
[ -f "$deb" ] || fail "no $(basename "$deb"); cpack made: $(ls "$work/out")"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = cliphaven ] || fail "package name $(field Package)"
[ "$(field Version)" = "$version" ] || fail "version $(field Version)"
[ "$(field Architecture)" = amd64 ] || fail "architecture $(field Architecture)"
depends=$(field Depends)
# From dpkg-shlibdeps, and the run-time data no tool can see.
for needed in libqt6core6 libqt6quick6 libtesseract5 tesseract-ocr-eng qml6-module-qtquick-controls \
    libqt6svg6; do
    grep -Eq "(^|, )$needed( |,|$)" <<<"$depends" || fail "Depends lacks $needed: $depends"
done

root=$work/root
dpkg -x "$deb" "$root"
for path in usr/bin/cliphaven \
    usr/libexec/cliphaven/cliphaven-app \
    usr/share/applications/cliphaven.desktop \
    usr/share/icons/hicolor/scalable/apps/cliphaven.svg \
    usr/share/metainfo/app.cliphaven.Cliphaven.metainfo.xml \
    usr/share/man/man1/cliphaven.1.gz \
    usr/share/bash-completion/completions/cliphaven \
    usr/share/zsh/vendor-completions/_cliphaven \
    usr/share/doc/cliphaven/copyright \
    usr/share/doc/cliphaven/changelog.gz; do
    [ -f "$root/$path" ] || fail "missing /$path"
done
for program in usr/bin/cliphaven usr/libexec/cliphaven/cliphaven-app; do
    [ -x "$root/$program" ] || fail "/$program is not executable"
    # Read whole before grep, which stops at its first match (pipefail would count that).
    if grep -qF "$build" <<<"$(strings "$root/$program")"; then
        fail "/$program names the build folder"
    fi
done
# Nothing from the build tree: no tests, no benchmarks, no build paths.
unexpected=$(cd "$root" && find . -type f | grep -Ev '^\./usr/(bin/cliphaven|libexec/cliphaven/cliphaven-app|share/(applications|icons|metainfo|man|bash-completion|zsh|doc)/)' || true)
[ -z "$unexpected" ] || fail "unexpected files: $unexpected"

# Each PNG size, rendered at the size its folder says.
for size in 16 22 24 32 48 64 128 256 512; do
    png=$root/usr/share/icons/hicolor/${size}x${size}/apps/cliphaven.png
    [ -f "$png" ] || fail "missing ${size}x${size} icon"
    grep -q "PNG image data, $size x $size" <<<"$(file "$png")" || fail "$(file "$png")"
done

desktop-file-validate "$root/usr/share/applications/cliphaven.desktop" || fail "desktop entry"
# KWin grants what the entry asks for to the program named by full path in Exec=, which is the
# program the launcher becomes.
grep -qx 'Exec=/usr/libexec/cliphaven/cliphaven-app' "$root/usr/share/applications/cliphaven.desktop" ||
    fail "the desktop entry does not start the program by its full path"
grep -qx 'X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input,org_kde_plasma_window_management' \
    "$root/usr/share/applications/cliphaven.desktop" || fail "the desktop entry asks KWin for nothing"
appstreamcli validate --no-net "$root/usr/share/metainfo/app.cliphaven.Cliphaven.metainfo.xml" \
    >"$work/appstream.log" 2>&1 || { cat "$work/appstream.log" >&2; fail "metainfo"; }

# The manual renders without a warning and documents every command.
man_out=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/cliphaven.1.gz" 2>"$work/man.err")
[ ! -s "$work/man.err" ] || { cat "$work/man.err" >&2; fail "the manual page has warnings"; }
for command in list get copy paste add search delete clear pause resume categories --toggle; do
    grep -q -- "cliphaven $command\|$command" <<<"$man_out" || fail "the manual lacks $command"
done

# bash completes commands and a command's options.
complete_words() {
    bash -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _cliphaven; echo "${COMPREPLY[*]}"' \
        _ "$root/usr/share/bash-completion/completions/cliphaven" "$@"
}
[ "$(complete_words cliphaven se)" = search ] || fail "bash completion of 'se': $(complete_words cliphaven se)"
[ "$(complete_words cliphaven list --j)" = --json ] || fail "bash completion of 'list --j'"

# zsh: the same commands, and a command's options with their arguments.
zsh_file=$root/usr/share/zsh/vendor-completions/_cliphaven
zsh -n "$zsh_file" || fail "the zsh completion does not parse"
zsh_words() {
    zsh -f -c '_describe() { print -rl -- "${(@P)${@[-1]}}"; }; _arguments() { print -rl -- "$@"; }
        words=("${@:2}"); CURRENT=$#words; source "$1"' _ "$zsh_file" "$@"
}
# Read whole before grep, which may stop reading early (pipefail would count that).
grep -q '^search:' <<<"$(zsh_words cliphaven "")" || fail "zsh completion lacks search"
grep -q '^--category\[.*:_cliphaven_categories$' <<<"$(zsh_words cliphaven list "")" \
    || fail "zsh completion of list's options"

lintian --fail-on error --no-tag-display-limit "$deb" >"$work/lintian.log" 2>&1 \
    || { cat "$work/lintian.log" >&2; fail "lintian reports errors"; }

# The unpacked program runs: its version, then the whole program on the virtual desktop.
got=$(QT_QPA_PLATFORM=offscreen "$root/usr/bin/cliphaven" --version)
grep -q "$version" <<<"$got" || fail "--version said: $got"

export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
QT_LOGGING_RULES="cliphaven.startup.debug=true" CLIPHAVEN_SEED=1 \
    "$root/usr/bin/cliphaven" --toggle >"$work/run.log" 2>&1 &
app=$!
pids+=("$app")
for _ in $(seq 1 300); do
    grep -q "recognition backfill" "$work/run.log" && break
    kill -0 "$app" 2>/dev/null || { cat "$work/run.log" >&2; fail "the installed program ended"; }
    sleep 0.1
done
grep -q "overlay built" "$work/run.log" || { cat "$work/run.log" >&2; fail "no overlay"; }
# The overlay is open (--toggle); Ctrl+, opens Preferences, whose QML modules load only then.
for _ in $(seq 1 100); do
    xdotool search --name "Cliphaven Preferences" >/dev/null 2>&1 && break
    xdotool key ctrl+comma
    sleep 0.3
done
xdotool search --name "Cliphaven Preferences" >/dev/null 2>&1 \
    || { cat "$work/run.log" >&2; fail "Preferences did not open"; }
sleep 1
if grep -E "module .* is not installed|failed to load|Cannot load library" "$work/run.log" >&2; then
    fail "the program could not load a part of Qt"
fi

# What the running program mapped from Qt's plugins and QML modules, and the packages that
# own it: each must be a dependency or a dependency's dependency.
closure=$(sed -e 's/([^)]*)//g' -e 's/|/,/g' <<<"$depends" | tr ',' '\n' | sed 's/^ *//;s/[[:space:]:].*//;/^$/d')
for package in $closure; do
    closure+=$'\n'$(dpkg-query -W -f='${Depends},${Pre-Depends}' "$package" 2>/dev/null \
        | sed -e 's/([^)]*)//g' -e 's/|/,/g' | tr ',' '\n' | sed 's/^ *//;s/[[:space:]:].*//;/^$/d' || true)
done
loaded=$(grep -Eo '/usr/lib/[^ ]*/qt6/(plugins|qml)/[^ ]*\.so' "/proc/$app/maps" | sort -u)
[ -n "$loaded" ] || fail "no Qt plugin seen in the running program"
for file in $loaded; do
    owner=$(dpkg -S "$file" 2>/dev/null | head -1 | cut -d: -f1)
    grep -qx "$owner" <<<"$closure" || fail "$file comes from $owner, which the package does not depend on"
done
kill -TERM "$app"
wait "$app" || true
echo "package ok: $(basename "$deb"), $(wc -l <<<"$loaded") plugins and QML modules covered"
