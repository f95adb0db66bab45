#!/usr/bin/env bash
# desktop_install.sh CMAKE BUILD_DIR SOURCE_DIR WRITEQUICKLAUNCH
# Installs the build into a temporary prefix, builds the caches a user of that prefix would, and
# checks that the desktop knows Quick-Launch files (by extension and by content) and ftp:// links
# as Tarvik's, that the desktop entry is valid, and that the manual came along.
set -uo pipefail
cmake=$1 build=$2 source=$3 writer=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

expect() {  # expect WHAT ACTUAL EXPECTED
    if [ "$2" != "$3" ]; then
        fail "$1: got '$2', expected '$3'"
    fi
}

if ! "$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1; then
    cat "$work/install.log" >&2
    echo "FAIL: cmake --install" >&2
    exit 1
fi

entry=$prefix/share/applications/org.marlowen.Tarvik.desktop
[ -x "$prefix/bin/tarvik" ] || fail "bin/tarvik is not installed"
grep -q '<svg' "$prefix/share/icons/hicolor/scalable/apps/org.marlowen.Tarvik.svg" 2>/dev/null ||
    fail "the icon is not installed"

# Only the prefix and the system's own data; no desktop environment's own query tools.
mkdir -p "$work/config" "$work/config-dirs" "$work/files"
export XDG_DATA_HOME=$prefix/share XDG_DATA_DIRS=$prefix/share:/usr/share
export XDG_CONFIG_HOME=$work/config XDG_CONFIG_DIRS=$work/config-dirs XDG_CURRENT_DESKTOP=X-Generic
unset KDE_FULL_SESSION GNOME_DESKTOP_SESSION_ID MATE_DESKTOP_SESSION_ID DESKTOP_SESSION

update-mime-database "$prefix/share/mime" || fail "update-mime-database"
update-desktop-database "$prefix/share/applications" || fail "update-desktop-database"

# Saved as the program saves them; the one without the extension is known by its content alone.
"$writer" "$work/files/server.tarvik" || fail "writing a Quick-Launch file"
"$writer" "$work/files/server" || fail "writing a Quick-Launch file"
# A damaged one is still Tarvik's to open (and to complain about), by its name.
head -c 4 "$work/files/server" >"$work/files/damaged.tarvik"

expect "type of server.tarvik" "$(xdg-mime query filetype "$work/files/server.tarvik")" \
    application/x-tarvik-quick-launch
expect "type of server" "$(xdg-mime query filetype "$work/files/server")" \
    application/x-tarvik-quick-launch
expect "type of damaged.tarvik" "$(xdg-mime query filetype "$work/files/damaged.tarvik")" \
    application/x-tarvik-quick-launch
expect "opener of Quick-Launch files" \
    "$(xdg-mime query default application/x-tarvik-quick-launch)" org.marlowen.Tarvik.desktop
expect "opener of ftp links" "$(xdg-mime query default x-scheme-handler/ftp)" \
    org.marlowen.Tarvik.desktop

# Its hints count too: without a main category the menus file it under "Other".
report=$(desktop-file-validate "$entry" 2>&1) && [ -z "$report" ] ||
    fail "desktop-file-validate: ${report:-exit status}"

if [ -f "$source/docs/manual/index.html" ] && [ ! -f "$prefix/share/tarvik/manual/index.html" ]; then
    fail "the manual is not installed"
fi

if ((failures)); then
    exit 1
fi
echo "desktop installation: all checks passed"
