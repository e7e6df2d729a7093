#!/usr/bin/env bash
# Builds the Debian package build/package/launcher_<version>_amd64.deb: the
# launcher, its inventory library, the manual page, the bash completion, the
# systemd units and the heartbeat example. Install it with
# `apt-get install ./build/package/launcher_<version>_amd64.deb`.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja >/dev/null
cmake --build "$build" --target launcher inventory heartbeat_instance package_docs
# CPack makes the package's directories with the umask it runs under.
umask 022
cpack --config "$build/CPackConfig.cmake" -B "$build/package"
