#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job on
# the bundled example.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs" --target dmf_lines
for file in examples/*.dmf; do
  ./build/release/tools/dmf_lines/dmf_lines "$file"
done
