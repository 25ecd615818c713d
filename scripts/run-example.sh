#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job:
# dtmtool builds the timing model of the example family (examples/family.dmf,
# device KX40) and shows its outline, then saves the model as a .ddb database,
# and kestrel loads it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

model=examples/family.dmf
device=KX40
bin=build/release/tools
database=build/release/example.ddb
targets=(dtmtool kestrel)
dtmtool=$bin/dtmtool/dtmtool

build_tools() {
  local jobs
  jobs=$(nproc 2>/dev/null || echo 2)
  cmake --preset release >/dev/null
  cmake --build --preset release -j "$jobs" --target "${targets[@]}"
}

show_model() {
  echo "== model of $device, built from $model:"
  "$dtmtool" dump --device "$device" "$model"
}

save_and_load() {
  "$dtmtool" build --device "$device" "$model" -o "$database"
  echo "== kestrel $database:"
  "$bin/kestrel/kestrel" "$database"
}

build_tools
show_model
save_and_load
