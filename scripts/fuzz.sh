#!/usr/bin/env bash
# Builds the libFuzzer targets (preset fuzz) and runs each for a while.
#   bash scripts/fuzz.sh [seconds per target] [target...]
# Defaults: 60 seconds, every target. The seed corpus of fuzz/corpus/<target>
# is copied, never written; new inputs stay in build/fuzz/corpus/<target>.
# A crash, leak, timeout or memory blow-up leaves its input in
# build/fuzz/artifacts/<target>/ and fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
shift || true
bash scripts/deps.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j 2
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(dmf_line dmf_build ddb_load ddb_load_save ddb_round_trip)
fi
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:halt_on_error=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
status=0
for target in "${targets[@]}"; do
  corpus="build/fuzz/corpus/$target"
  artifacts="build/fuzz/artifacts/$target"
  mkdir -p "$corpus" "$artifacts"
  cp -n fuzz/corpus/"$target"/* "$corpus"/ 2>/dev/null || true
  # The .ddb targets read databases; the others (and the round trip) DMF text.
  case "$target" in
    ddb_load | ddb_load_save) dict=fuzz/ddb.dict ;;
    *) dict=fuzz/dmf.dict ;;
  esac
  # First the kept findings, once each, under this build's sanitizers (clang
  # checks some undefined behaviour that the GCC test build does not).
  regressions=(fuzz/regressions/"$target"/*)
  if [ -e "${regressions[0]}" ]; then
    echo "replay $target: ${#regressions[@]} regression inputs" >&2
    if ! "build/fuzz/fuzz/fuzz_$target" "${regressions[@]}" -close_fd_mask=1 \
        -artifact_prefix="$artifacts/" 2>"build/fuzz/$target.replay.log"; then
      echo "replay $target FAILED; log in build/fuzz/$target.replay.log" >&2
      tail -40 "build/fuzz/$target.replay.log" >&2
      status=1
    fi
  fi
  echo "fuzz $target: ${seconds}s" >&2
  if ! "build/fuzz/fuzz/fuzz_$target" "$corpus" -dict="$dict" \
      -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
      -print_final_stats=1 -close_fd_mask=1 -artifact_prefix="$artifacts/" 2>"build/fuzz/$target.log"; then
    echo "fuzz $target FAILED; input kept in $artifacts, log in build/fuzz/$target.log" >&2
    tail -40 "build/fuzz/$target.log" >&2
    status=1
  fi
  grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "build/fuzz/$target.log" >&2 || true
done
exit $status
