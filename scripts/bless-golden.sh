#!/usr/bin/env bash
# Regenerates the golden files of tests/data/golden from the current code:
# the traces, path listings and messages of the example and focused DMF
# builds that tests/dtm/test_dtm_gen_golden.cpp compares byte for byte.
# Run it on purpose only (after a deliberate change of a format, an example
# or a focused file), then review `git diff tests/data/golden` before
# committing: the tests never rewrite these files by themselves.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset debug >/dev/null
cmake --build --preset debug -j2 --target test_dtm
KESTREL_BLESS_GOLDEN=1 ./build/debug/tests/test_dtm --gtest_filter='GoldenFiles.*'
git status --short tests/data/golden
