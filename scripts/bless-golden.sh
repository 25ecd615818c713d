#!/usr/bin/env bash
# Regenerates the golden files of tests/data/golden from the current code:
# the traces, path listings and messages of the example and focused DMF
# builds that tests/dtm/test_dtm_gen_golden.cpp compares byte for byte.
#   bash scripts/bless-golden.sh ddb   instead regenerates the golden databases
# of tests/data/ddb, the .ddb fuzz seeds of fuzz/corpus/ddb_load*/ and the
# crafted regression inputs of fuzz/regressions/ddb_load*/ (built by
# tests/dtm/test_ddb_golden_corruption.cpp and test_ddb_dtm_hostile.cpp).
# Run it on purpose only (after a deliberate change of a format, an example
# or a focused file), then review `git diff tests/data/golden` before
# committing: the tests never rewrite these files by themselves.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset debug >/dev/null
cmake --build --preset debug -j2 --target test_dtm
if [ "${1:-}" = ddb ]; then
  KESTREL_BLESS_DDB=1 ./build/debug/tests/test_dtm \
    --gtest_filter='GoldenDdb.*:DdbDtmHostile.EveryCraftedFileIsARegressionInputOfTheFuzzTargets'
  git status --short tests/data/ddb fuzz/corpus fuzz/regressions
  exit 0
fi
KESTREL_BLESS_GOLDEN=1 ./build/debug/tests/test_dtm --gtest_filter='GoldenFiles.*'
git status --short tests/data/golden
