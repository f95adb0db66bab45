#!/usr/bin/env bash
# Runs ftpxfer, curl, wget and lftp in turn on the same files of one local vsftpd and prints the
# median wall time of each tool per case, with its ratio to the fastest peer (curl, wget, lftp).
#   bench/compare.sh [ROUNDS]        (default 5 rounds; build the release preset first)
# Cases: 1 GiB binary download and upload, 100 MB text file in ASCII both ways, LIST of a
# directory of 100,000 files. wget has no FTP upload; it is left out of those cases. The listing
# is compared with curl's raw LIST output (the same bytes from the server, not parsed) and lftp's cls.
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/vsftpd.sh

rounds=${1:-5}
ftpxfer=${FTPXFER:-$PWD/build/release/bench/ftpxfer}
[ -x "$ftpxfer" ] || { echo "build the release preset first: $ftpxfer is missing" >&2; exit 1; }

# BENCH_DIR may name another folder (a tmpfs, to take the disk out of the figures).
work=$(mktemp -d "${BENCH_DIR:-/var/tmp}/tarvik-bench-XXXXXX")
server_pid=
cleanup() {
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

root=$work/root
mkdir -p "$root/pub/up" "$root/list" "$work/out"
chmod 755 "$work" "$root" "$root/list"
chmod 777 "$root/pub" "$root/pub/up"
echo "Preparing files in $work ..."
head -c 1073741824 /dev/urandom >"$root/pub/big.bin"
/usr/bin/python3 - "$root/pub/text.txt" "$root/list" <<'PY'
import os, sys
line = b"The quick brown fox jumps over the lazy dog; 0123456789 abcdefghij\n"
with open(sys.argv[1], "wb") as out:
    out.write(line * (100_000_000 // len(line)))
for i in range(100_000):
    os.close(os.open(os.path.join(sys.argv[2], "file-%06d.dat" % i), os.O_CREAT | os.O_WRONLY, 0o644))
PY
cp "$root/pub/big.bin" "$work/big.bin"
cp "$root/pub/text.txt" "$work/text.txt"

start_vsftpd "$work" "$root"

url=ftp://127.0.0.1:$server_port
out=$work/out
results=$work/results
: >"$results"

# time_it CASE TOOL COMMAND...: one timed run, appended to the results.
time_it() {
    local case=$1 tool=$2
    shift 2
    local start end
    start=$(date +%s.%N)
    if ! "$@" >/dev/null 2>"$work/err"; then
        echo "$tool failed in $case:" >&2
        cat "$work/err" >&2
        return
    fi
    end=$(date +%s.%N)
    echo "$case $tool $start $end" >>"$results"
}

lftp_do() { lftp -p "$server_port" -u anonymous, -e "set xfer:clobber on; set cmd:fail-exit yes; $1; quit" 127.0.0.1; }
# Between runs: no output left, everything on disk, and a pause for the system to settle (this
# machine hands freed memory back to its host, and the next run would pay for getting it back).
fresh() {
    rm -f "$out"/* "$root/pub/up"/*
    sync
    sleep 2
}

# Each case runs its tools in an order that rotates from round to round, so that no tool always
# follows the same neighbour.
run_case() {
    local round=$1 case=$2
    shift 2
    local count=$# i
    local commands=("$@")
    for ((i = 0; i < count; i++)); do
        fresh
        eval "${commands[$(((i + round) % count))]}"
    done
}

for round in $(seq "$rounds"); do
    echo "Round $round of $rounds"
    run_case "$round" get-binary \
        'time_it get-binary-1GiB ftpxfer "$ftpxfer" get "$url/pub/big.bin" "$out/big.bin"' \
        'time_it get-binary-1GiB curl curl -sS -o "$out/big.bin" "$url/pub/big.bin"' \
        'time_it get-binary-1GiB wget wget -q -O "$out/big.bin" "$url/pub/big.bin"' \
        'time_it get-binary-1GiB lftp lftp_do "get pub/big.bin -o $out/big.bin"'
    run_case "$round" put-binary \
        'time_it put-binary-1GiB ftpxfer "$ftpxfer" put "$url/pub/up/big.bin" "$work/big.bin"' \
        'time_it put-binary-1GiB curl curl -sS -T "$work/big.bin" "$url/pub/up/big.bin"' \
        'time_it put-binary-1GiB lftp lftp_do "put $work/big.bin -o pub/up/big.bin"'
    run_case "$round" get-ascii \
        'time_it get-ascii-100MB ftpxfer "$ftpxfer" --ascii get "$url/pub/text.txt" "$out/text.txt"' \
        'time_it get-ascii-100MB curl curl -sS -B -o "$out/text.txt" "$url/pub/text.txt"' \
        'time_it get-ascii-100MB wget wget -q -O "$out/text.txt" "$url/pub/text.txt;type=a"' \
        'time_it get-ascii-100MB lftp lftp_do "get -a pub/text.txt -o $out/text.txt"'
    run_case "$round" put-ascii \
        'time_it put-ascii-100MB ftpxfer "$ftpxfer" --ascii put "$url/pub/up/text.txt" "$work/text.txt"' \
        'time_it put-ascii-100MB curl curl -sS -B -T "$work/text.txt" "$url/pub/up/text.txt"' \
        'time_it put-ascii-100MB lftp lftp_do "put -a $work/text.txt -o pub/up/text.txt"'
    run_case "$round" list \
        'time_it list-100000 ftpxfer "$ftpxfer" ls "$url/list/"' \
        'time_it list-100000 curl curl -sS "$url/list/"' \
        'time_it list-100000 lftp lftp_do "cls -1 list/"'
done

echo
"$ftpxfer" --stats ls "$url/list/" 2>&1 >/dev/null | sed 's/^/engine time for the listing: /'
echo
/usr/bin/python3 bench/medians.py "$results"
