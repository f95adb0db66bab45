#!/usr/bin/env bash
# Binary get and put of 512 MiB over explicit TLS (AUTH TLS, PROT P) on one local vsftpd with a
# certificate made here: ftpxfer --tls against curl --ssl-reqd and lftp, each trusting only that
# certificate. Prints the median wall time per tool and case, with its ratio to the fastest peer.
#   bench/tls.sh [ROUNDS]        (default 5 rounds; build the release preset first)
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/vsftpd.sh

rounds=${1:-5}
ftpxfer=${FTPXFER:-$PWD/build/release/bench/ftpxfer}
[ -x "$ftpxfer" ] || { echo "build the release preset first: $ftpxfer is missing" >&2; exit 1; }

work=$(mktemp -d "${BENCH_DIR:-/var/tmp}/tarvik-tls-XXXXXX")
server_pid=
cleanup() {
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

root=$work/root
mkdir -p "$root/pub/up" "$work/out"
chmod 755 "$work" "$root"
chmod 777 "$root/pub" "$root/pub/up"
cert=$work/cert.pem
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
    -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 \
    -keyout "$work/key.pem" -out "$cert" 2>/dev/null
echo "Preparing files in $work ..."
head -c $((512 * 1024 * 1024)) /dev/urandom >"$root/pub/big.bin"
cp "$root/pub/big.bin" "$work/big.bin"

start_vsftpd "$work" "$root" "ssl_enable=YES
allow_anon_ssl=YES
force_anon_logins_ssl=YES
force_anon_data_ssl=YES
rsa_cert_file=$cert
rsa_private_key_file=$work/key.pem"

url=ftp://127.0.0.1:$server_port
out=$work/out
results=$work/results
: >"$results"

# time_it CASE TOOL COMMAND...: one timed run; the copy is checked against the original.
time_it() {
    local case=$1 tool=$2 copy=$3 original=$4
    shift 4
    local start end
    start=$(date +%s.%N)
    if ! "$@" >/dev/null 2>"$work/err"; then
        echo "$tool failed in $case:" >&2
        cat "$work/err" >&2
        return
    fi
    end=$(date +%s.%N)
    if ! cmp -s "$copy" "$original"; then
        echo "$tool: the copy in $case differs from the original" >&2
        return
    fi
    echo "$case $tool $start $end" >>"$results"
}

lftp_do() {
    local settings="set ftp:ssl-force true; set ftp:ssl-protect-data true; set ssl:ca-file $cert"
    lftp -p "$server_port" -u anonymous, \
        -e "$settings; set xfer:clobber on; set cmd:fail-exit yes; $1; quit" 127.0.0.1
}
fresh() {
    rm -f "$out"/* "$root/pub/up"/*
    sync
    sleep 2
}
get=(
    'time_it get-tls-512MiB ftpxfer "$out/big.bin" "$work/big.bin" "$ftpxfer" --tls --cacert "$cert" get "$url/pub/big.bin" "$out/big.bin"'
    'time_it get-tls-512MiB curl "$out/big.bin" "$work/big.bin" curl -sS --ssl-reqd --cacert "$cert" -o "$out/big.bin" "$url/pub/big.bin"'
    'time_it get-tls-512MiB lftp "$out/big.bin" "$work/big.bin" lftp_do "get pub/big.bin -o $out/big.bin"'
)
put=(
    'time_it put-tls-512MiB ftpxfer "$root/pub/up/big.bin" "$work/big.bin" "$ftpxfer" --tls --cacert "$cert" put "$url/pub/up/big.bin" "$work/big.bin"'
    'time_it put-tls-512MiB curl "$root/pub/up/big.bin" "$work/big.bin" curl -sS --ssl-reqd --cacert "$cert" -T "$work/big.bin" "$url/pub/up/big.bin"'
    'time_it put-tls-512MiB lftp "$root/pub/up/big.bin" "$work/big.bin" lftp_do "put $work/big.bin -o pub/up/big.bin"'
)
for round in $(seq "$rounds"); do
    echo "Round $round of $rounds"
    for i in 0 1 2; do
        fresh
        eval "${get[$(((i + round) % 3))]}"
    done
    for i in 0 1 2; do
        fresh
        eval "${put[$(((i + round) % 3))]}"
    done
done

echo
/usr/bin/python3 bench/medians.py "$results"
