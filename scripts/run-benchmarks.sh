#!/usr/bin/env bash
# Runs every benchmark built under <build>/bench and prints their figures.
set -euo pipefail
build=${1:-build}
for bench in "$build"/bench_*; do
    [ -x "$bench" ] || continue
    echo "== $(basename "$bench")"
    "$bench"
done
