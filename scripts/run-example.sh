#!/usr/bin/env bash
# Builds the launcher, its inventory library and the heartbeat example, and runs
# the example in the foreground. Ctrl+C stops it gracefully (exit code 0).
# Further arguments go to `launcher start`, e.g. --clog /tmp/heartbeat.log.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja >/dev/null
cmake --build "$build" --target launcher inventory heartbeat_instance

# Absolute, because the instance's paths are built from it and must not depend
# on the directory the service ends up working in.
instance=$(cd "$build/example/instance" && pwd)
exec "$build/bin/launcher" start --instance "$instance" "$@"
