#!/usr/bin/env bash
# Unpacks Debian's pure-ftpd and proftpd into DEST for the tests, without installing them: Debian
# installs one FTP daemon at a time, and vsftpd is the one installed. Gives DEST/pure-ftpd/usr/sbin/
# pure-ftpd, DEST/pure-ftpd/usr/bin/pure-pw and DEST/proftpd/usr/sbin/proftpd. Does nothing for a
# server already there. Their shared libraries come from scripts/deps.sh.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 DEST" >&2
    exit 2
fi
dest=$1
declare -A packages=([pure-ftpd]=pure-ftpd [proftpd]=proftpd-core)

fail() {
    echo "ftp-servers.sh: $*" >&2
    exit 1
}

download() {
    # As root apt hands the download to its own user, which cannot write a private folder.
    apt-get download -qq -o APT::Sandbox::User="$(id -un)" "$1" >apt.log 2>&1
}

mkdir -p "$dest"
dest=$(cd "$dest" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

for server in pure-ftpd proftpd; do
    [ -x "$dest/$server/usr/sbin/$server" ] && continue
    package=${packages[$server]}
    if ! download "$package"; then
        # A machine whose package lists were never fetched knows no package at all.
        if [ "$(id -u)" -ne 0 ] || ! apt-get update -qq >/dev/null 2>&1 ||
            ! download "$package"; then
            cat apt.log >&2
            fail "cannot download the Debian package $package (network, or run 'apt-get update')"
        fi
    fi
    # Unpacked beside, then moved in: an interrupted run leaves no half server behind.
    rm -rf "$dest/$server.part"
    dpkg -x "$package"_*.deb "$dest/$server.part" || fail "cannot unpack $package"
    rm -f "$package"_*.deb
    rm -rf "${dest:?}/$server"
    mv "$dest/$server.part" "$dest/$server"
done

missing=$(ldd "$dest/pure-ftpd/usr/sbin/pure-ftpd" "$dest/pure-ftpd/usr/bin/pure-pw" \
    "$dest/proftpd/usr/sbin/proftpd" | awk '/not found/ {print $1}' | sort -u)
if [ -n "$missing" ]; then
    fail "libraries missing for pure-ftpd or proftpd, scripts/deps.sh installs them:" \
        "${missing//$'\n'/ }"
fi
