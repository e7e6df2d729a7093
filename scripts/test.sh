#!/usr/bin/env bash
# Builds everything and runs the whole test suite (unit and integration tests).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DLAUNCHER_WERROR=ON -DLAUNCHER_BUILD_TESTS=ON >/dev/null
cmake --build "$build"

# A Russian locale of our own, so the Russian tests run for real on any machine.
locale_dir="$build/locale"
if [ ! -d "$locale_dir/ru_RU.UTF-8" ]; then
    mkdir -p "$locale_dir"
    localedef -i ru_RU -f UTF-8 "$locale_dir/ru_RU.UTF-8" || true
    localedef -i de_DE -f UTF-8 "$locale_dir/de_DE.UTF-8" || true
fi

cd "$build"
ctest --output-on-failure -j2 --timeout 300
