#!/usr/bin/env bash
# Builds and runs the unit tests under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build-asan}
bash scripts/install-deps.sh
cmake -S . -B "$BUILD_DIR" -G Ninja -DLAUNCHER_SANITIZE=ON -DLAUNCHER_WERROR=ON >/dev/null
cmake --build "$BUILD_DIR"
mkdir -p "$BUILD_DIR/locale"
[ -d "$BUILD_DIR/locale/ru_RU.UTF-8" ] || localedef -i ru_RU -f UTF-8 "$BUILD_DIR/locale/ru_RU.UTF-8" || true
[ -d "$BUILD_DIR/locale/de_DE.UTF-8" ] || localedef -i de_DE -f UTF-8 "$BUILD_DIR/locale/de_DE.UTF-8" || true
cd "$BUILD_DIR"
ctest --output-on-failure -j2 --timeout 600
