#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job:
# reads the bundled DMF examples, compiles the example model into a .ddb
# database and runs kestrel on it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs" --target dmf_lines ddb_example kestrel
for file in examples/*.dmf; do
  ./build/release/tools/dmf_lines/dmf_lines "$file"
done
# The example model is built in code (tools/ddb_example) until DMF files can
# be compiled into databases.
database=build/release/example.ddb
./build/release/tools/ddb_example/ddb_example "$database"
echo "kestrel $database:"
./build/release/tools/kestrel/kestrel "$database"
