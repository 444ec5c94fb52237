#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each for the given number of seconds, starting from its seed corpus in fuzz/corpus.
# A crash, a leak or undefined behaviour fails the run; the input that did it is kept in the
# fuzz build folder (crash-*) and named in the output.
#
#   scripts/fuzz.sh BUILD_DIR SECONDS [TARGET...]     TARGET: store, pagehead, shortcut, flavors
#   scripts/fuzz.sh BUILD_DIR --build-only
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$1/fuzz
seconds=$2
shift 2
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(store pagehead shortcut flavors)

# One configure and build at a time, however many runs start together.
mkdir -p "$build"
(
    flock 9
    if [ ! -f "$build/build.ninja" ]; then
        CXX=clang++ cmake -S "$here/fuzz" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    fi
    cmake --build "$build" -j "${JOBS:-2}" >/dev/null
) 9>"$build/.lock"
[ "$seconds" != "--build-only" ] || exit 0

status=0
for target in "${targets[@]}"; do
    # The seeds stay as they are in the repository; what the run finds goes to a scratch copy.
    corpus=$(mktemp -d)
    cp "$here/fuzz/corpus/$target"/* "$corpus/"
    if (cd "$build" && ./fuzz_"$target" -max_total_time="$seconds" -max_len=65536 \
            -rss_limit_mb=2048 -print_final_stats=1 "$corpus" >"fuzz_$target.log" 2>&1); then
        echo "fuzz_$target: $(grep -o 'Done [0-9]* runs' "$build/fuzz_$target.log"), no faults"
    else
        echo "fuzz_$target FAILED; see $build/fuzz_$target.log:" >&2
        grep -E 'ERROR|SUMMARY|runtime error|Test unit written' "$build/fuzz_$target.log" >&2 || true
        status=1
    fi
    rm -rf "$corpus"
done
exit $status
