#!/usr/bin/env bash
# Run under xvfb-run, as root (the server takes port 21, the form's default). A freshly started
# tarvik gets, from the keyboard only: host, Tab, user, Tab, password, Enter; a session must
# open and log on. Usage: keyboard_logon.sh TARVIK FTPD_PY
set -euo pipefail
tarvik=$1
ftpd=$2

if [ "$(id -u)" -ne 0 ] || (exec 3<>/dev/tcp/127.0.0.1/21) 2>/dev/null; then
    echo "SKIP: needs root and a free port 21"
    exit 77
fi

work=$(mktemp -d)
pids=()
cleanup() {
    kill "${pids[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config QT_QPA_PLATFORM=xcb
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$work/root/pub"

fail() {
    echo "FAIL: $*" >&2
    [ -n "${FAIL_SHOT:-}" ] && import -window root "$FAIL_SHOT"
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

/usr/bin/python3 "$ftpd" --root "$work/root" --user demo:secret --port 21 \
    --log "$work/commands" >/dev/null &
pids+=($!)
wait_for 10 bash -c '(exec 3<>/dev/tcp/127.0.0.1/21) 2>/dev/null' || fail "no server"

"$tarvik" >"$work/tarvik.out" 2>&1 &
pids+=($!)
wait_for 20 xdotool search --onlyvisible --name "Marlowen Tarvik" >/dev/null ||
    fail "no main window"
# The splash, shown beside the main window for at most 1.5 s, would take the keys.
wait_for 20 bash -c '[ "$(xdotool search --onlyvisible --class tarvik | wc -l)" -eq 1 ]' ||
    fail "the splash stays"
# No window manager here to give the new window the keyboard, as a desktop would.
xdotool windowfocus --sync "$(xdotool search --onlyvisible --name "Marlowen Tarvik" | head -1)"

xdotool type --delay 30 127.0.0.1
xdotool key Tab
xdotool type --delay 30 demo
xdotool key Tab
xdotool type --delay 30 secret
xdotool key Return

wait_for 20 xdotool search --name "Host: 127.0.0.1 Login: demo" >/dev/null ||
    fail "no session window"
# The form's "Explicit TLS if available" meets a server without TLS: the first time, the user is
# asked before the password goes in clear. Cancel has the keyboard; the user goes on.
wait_for 20 grep -q "^AUTH TLS" "$work/commands" || fail "no AUTH TLS"
grep -q "^USER" "$work/commands" && fail "USER sent before the user was asked"
wait_for 20 bash -c '[ "$(xdotool search --onlyvisible --name "^Tarvik$" | wc -l)" -ge 1 ]' ||
    fail "no question about the server without TLS"
xdotool windowfocus --sync "$(xdotool search --onlyvisible --name "^Tarvik$" | head -1)"
xdotool key shift+Tab space
wait_for 20 grep -q "^LIST\|^MLSD" "$work/commands" || fail "the session did not list the host"
grep -q "^PASS secret$" "$work/commands" || fail "the password typed did not arrive"
echo "PASS: a session opened from the keyboard"
