#!/usr/bin/env bash
# Installs what is missing, builds Tarvik and starts it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"

program=build/release/app/tarvik
if [ ! -x "$program" ]; then
    echo "The windows are not built yet: only the engine and its tests exist so far."
    echo "Run scripts/test.sh to see them work."
    exit 0
fi
exec "$program" "$@"
