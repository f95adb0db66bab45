#!/usr/bin/env bash
# Installs what is missing, builds Tarvik, starts a local demo FTP server and then Tarvik.
# The demo server: host 127.0.0.1, port 2121, user "demo", password "demo". It stops when
# Tarvik ends.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"

scripts/demo-server.sh 2121 >/dev/null &
demo=$!
trap 'kill "$demo" 2>/dev/null || true' EXIT
sleep 1
if kill -0 "$demo" 2>/dev/null; then
    echo "Demo FTP server on 127.0.0.1: type host 127.0.0.1, user demo, password demo, FTP port 2121."
else
    echo "The demo FTP server could not start (is port 2121 taken?); Tarvik starts all the same."
fi
build/release/app/tarvik "$@"
