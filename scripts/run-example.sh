#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job:
# reads the bundled DMF examples, compiles the example model
# (examples/device.dmf) into a .ddb database and runs kestrel on it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs" --target dmf_lines ddb_example kestrel
for file in examples/*.dmf; do
  ./build/release/tools/dmf_lines/dmf_lines "$file"
done
database=build/release/example.ddb
./build/release/tools/ddb_example/ddb_example examples/device.dmf "$database"
echo "kestrel $database:"
./build/release/tools/kestrel/kestrel "$database"
