#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job:
# builds the timing model of the example family (examples/family.dmf, device
# KX40) with the build pipeline and shows its outline.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

model=examples/family.dmf
device=KX40
bin=build/release/tools
targets=(dmf_build)

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

build_tools
show_model
