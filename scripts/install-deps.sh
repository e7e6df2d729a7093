#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build and the tests need and the
# machine lacks. Safe to run again: it only calls apt-get when something is missing.
set -euo pipefail

# systemd-container: systemd-nspawn, in which the units of packaging/systemd and the
# Debian package are tested.
packages=(g++ cmake ninja-build googletest libgtest-dev libgmock-dev locales
          openjdk-17-jdk-headless clang python3 valgrind binutils
          dpkg-dev file lintian mandoc groff-base man-db bsdextrautils procps systemd-container)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
