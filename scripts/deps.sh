#!/usr/bin/env bash
# Installs the Debian 12 packages that Tarvik needs to build, test and run, only those missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config git
    qt6-base-dev libgl-dev qt6-qpa-plugins adwaita-icon-theme fonts-dejavu-core
    googletest libgtest-dev
    clang libclang-rt-14-dev
    vsftpd python3 python3-pyftpdlib lftp curl wget
    # TLS: the library, the tests' certificates, pyftpdlib's TLS handler
    libssl-dev openssl python3-openssl
    # tar and gzip come with every system; unzip unpacks zip archives
    unzip
    # libraries of pure-ftpd and proftpd, which ftp-servers.sh unpacks without installing
    libsodium23 libssl3 libcap2 libhiredis0.14 libmemcached11 libmemcachedutil2 libpcre2-posix3
    xvfb xauth imagemagick xdotool
    # one program per desktop session: a session bus for the tests and gdbus to call it
    dbus-daemon libglib2.0-bin
    # the desktop integration test and the Debian package: xdg-mime asks mimetype (from
    # libfile-mimeinfo-perl) for a file's type outside a desktop environment
    xdg-utils shared-mime-info desktop-file-utils libfile-mimeinfo-perl dpkg-dev
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done

if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "Run as root (or with sudo) to install the missing packages." >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
fi
