#!/usr/bin/env bash
# Starts a local demo FTP server (pyftpdlib) on 127.0.0.1 with a small sample tree, so that a
# newcomer can try Tarvik at once: host 127.0.0.1, port 2121, user "demo", password "demo".
#   scripts/demo-server.sh [PORT]      (runs in the foreground; Ctrl-C stops it)
set -euo pipefail
cd "$(dirname "$0")/.."

port=${1:-2121}
root=${TARVIK_DEMO_ROOT:-${TMPDIR:-/tmp}/tarvik-demo}
mkdir -p "$root"/{pub/releases,pub/docs,incoming,photos/2024}
[ -f "$root/README.txt" ] || cat >"$root/README.txt" <<'TEXT'
Welcome to the Tarvik demo server.

Browse the folders, fetch files with "<", send yours with ">" into /incoming.
TEXT
printf 'Release notes\n=============\n\n2.4: first release of the Linux port.\n' >"$root/pub/releases/NOTES.txt"
for version in 2.2 2.3 2.4; do
    [ -f "$root/pub/releases/tarvik-$version.tar.gz" ] ||
        head -c $((200000 + RANDOM)) /dev/urandom >"$root/pub/releases/tarvik-$version.tar.gz"
done
printf 'The quick brown fox\r\njumps over the lazy dog.\r\n' >"$root/pub/docs/dos-lines.txt"
printf 'Plain Unix lines\nfor the ASCII mode.\n' >"$root/pub/docs/unix-lines.txt"
for name in harbour lighthouse dunes; do
    [ -f "$root/photos/2024/$name.jpg" ] || head -c $((90000 + RANDOM)) /dev/urandom >"$root/photos/2024/$name.jpg"
done
ln -sfn pub/releases "$root/latest"

echo "Demo FTP server: host 127.0.0.1, port $port, user demo, password demo (folder $root)"
exec /usr/bin/python3 tests/support/ftpd.py --root "$root" --user demo:demo --port "$port"
