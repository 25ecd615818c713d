#!/usr/bin/env bash
# Regenerates the golden files of tests/data/golden/dtmtool from the current
# dtmtool: its help texts and the transcripts (exit status, standard output,
# standard error) of the runs that tests/dtmtool compares byte for byte.
# Run it on purpose only (after a deliberate change of a text, an output
# format or a test file), then review `git diff tests/data/golden/dtmtool`
# before committing: the tests never rewrite these files by themselves.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset debug >/dev/null
cmake --build --preset debug -j2 --target test_dtmtool
KESTREL_BLESS_GOLDEN=1 ./build/debug/tests/test_dtmtool \
  --gtest_filter='DtmtoolCli.HelpTexts:DtmtoolCommands.GoldenRuns'
git status --short tests/data/golden/dtmtool
