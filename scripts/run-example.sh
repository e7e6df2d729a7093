#!/usr/bin/env bash
# Builds the launcher and runs its main job.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja >/dev/null
cmake --build "$build" --target launcher
exec "$build/bin/launcher" help
