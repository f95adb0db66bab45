#!/usr/bin/env bash
# Run inside dbus-run-session. A first tarvik takes the bus name; a later one hands its
# Quick-Launch files and links over and ends; the first opens their sessions. 'open' over D-Bus
# starts a session too. Usage: single_instance.sh TARVIK FTPD_PY WRITEQUICKLAUNCH
set -euo pipefail
tarvik=$1 ftpd=$2 writer=$3

work=$(mktemp -d)
pids=()
cleanup() {
    kill "${pids[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR" "$work/root/pub"
chmod 700 "$XDG_RUNTIME_DIR"

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# wait_for SECONDS COMMAND...: runs COMMAND until it succeeds.
wait_for() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 0.2
    done
}

bus() {
    gdbus call --session --dest org.marlowen.Tarvik --object-path /org/marlowen/Tarvik \
        --method "org.marlowen.Tarvik.$1" "${@:2}"
}

owned() {
    gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner org.marlowen.Tarvik | grep -q true
}

# sessions_hold TEXT...: every TEXT is in the titles of the open sessions.
sessions_hold() {
    local titles
    titles=$(bus Sessions) || return 1
    for text in "$@"; do
        [[ $titles == *"$text"* ]] || return 1
    done
}

/usr/bin/python3 "$ftpd" --root "$work/root" --user tester:s3cret --user other:pw2 \
    >"$work/port" 2>"$work/ftpd.log" &
pids+=($!)
wait_for 10 test -s "$work/port" || fail "the FTP server did not start"
port=$(head -n 1 "$work/port")

"$tarvik" >"$work/first.log" 2>&1 &
first=$!
pids+=($first)
wait_for 20 owned || fail "the first tarvik did not take the bus name"

# Two files at once, to two hosts, one named relative to the later tarvik's folder: two
# sessions, each to its own.
"$writer" "$work/a.tarvik" localhost tester s3cret "" "" "$port"
"$writer" "$work/b.tarvik" 127.0.0.1 other pw2 "" "" "$port"
(cd "$work" && timeout 20 "$tarvik" --desktop a.tarvik file://"$work"/b.tarvik) >/dev/null 2>&1 ||
    fail "the later tarvik did not end by itself"
kill -0 "$first" || fail "the first tarvik ended"
wait_for 20 sessions_hold "Host: localhost Login: tester" "Host: 127.0.0.1 Login: other" ||
    fail "the two files did not give their own sessions: $(bus Sessions)"

bus open "{'Server': <'localhost'>, 'Login': <'other'>, 'Password': <'pw2'>, 'FTPPort': <'$port'>}" \
    >/dev/null
wait_for 20 sessions_hold "Host: localhost Login: other" ||
    fail "no session from the 'open' request: $(bus Sessions)"
[[ $(bus Sessions | grep -o "Host:" | wc -l) == 3 ]] || fail "not three sessions: $(bus Sessions)"

# A FIFO named as a Quick-Launch file, handed over and over D-Bus, holds nothing up: the program
# still answers at once.
mkfifo "$work/fifo.tarvik"
timeout 20 "$tarvik" "$work/fifo.tarvik" >/dev/null 2>&1 || fail "the later tarvik did not end"
bus OpenArguments "['$work/fifo.tarvik']" false >/dev/null
sleep 1
timeout 2 gdbus call --session --dest org.marlowen.Tarvik --object-path /org/marlowen/Tarvik \
    --method org.marlowen.Tarvik.Sessions >/dev/null || fail "no answer after a FIFO was opened"
echo "ok: $(bus Sessions)"
