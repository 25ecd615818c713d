#!/usr/bin/env bash
# Builds the project and runs every test.
#   bash scripts/test.sh          the debug build
#   bash scripts/test.sh asan     the same suite under Address + UndefinedBehavior sanitizers
#   bash scripts/test.sh release  the optimised build
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"
bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$jobs"
ctest --preset "$preset" -j "$jobs"
