#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the whole suite in a debug build with
# warnings as errors, then the engine under AddressSanitizer and ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh

export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)

run_preset() {
    local preset=$1
    shift
    echo "== $preset build"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    echo "== $preset tests"
    ctest --preset "$preset" -j "$jobs" "$@"
}

run_preset debug
run_preset asan -L 'unit|server'
run_preset tsan -L 'unit|server|threads'

# The parsers of outside bytes under libFuzzer, 30 seconds each.
scripts/fuzz.sh 30
