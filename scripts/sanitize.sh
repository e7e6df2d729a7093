#!/usr/bin/env bash
# Builds and runs the unit tests under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build-asan}
bash scripts/install-deps.sh
cmake -S . -B "$BUILD_DIR" -G Ninja -DLAUNCHER_SANITIZE=ON -DLAUNCHER_WERROR=ON >/dev/null
cmake --build "$BUILD_DIR"
cd "$BUILD_DIR"
ctest --output-on-failure -j2 --timeout 600
