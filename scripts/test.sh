#!/usr/bin/env bash
# Builds everything and runs the whole test suite (unit and integration tests).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DLAUNCHER_WERROR=ON -DLAUNCHER_BUILD_TESTS=ON >/dev/null
cmake --build "$build"

cd "$build"
ctest --output-on-failure -j2 --timeout 300
