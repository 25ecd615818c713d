#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job:
# builds the timing model of the example family (examples/family.dmf, device
# KX40) with the build pipeline and shows its outline, then saves the model as
# a .ddb database and runs kestrel on it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

model=examples/family.dmf
device=KX40
bin=build/release/tools
database=build/release/example.ddb
targets=(dmf_build ddb_example kestrel)

build_tools() {
  local jobs
  jobs=$(nproc 2>/dev/null || echo 2)
  cmake --preset release >/dev/null
  cmake --build --preset release -j "$jobs" --target "${targets[@]}"
}

show_model() {
  echo "== model of $device, built from $model:"
  "$bin/dmf_build/dmf_build" "$model" "$device"
}

save_and_load() {
  "$bin/ddb_example/ddb_example" "$model" "$device" "$database"
  echo "== kestrel $database:"
  "$bin/kestrel/kestrel" "$database"
}

build_tools
show_model
save_and_load
